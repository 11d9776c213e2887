// SPDX-License-Identifier: Apache-2.0
//
// Messages and registrations that there is no memory for. The stream that a message is built in keeps to itself that it
// could not grow. This program's operator new refuses on demand what is too large, or once; GLib allocates otherwise.
#include "BusTest.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> g_largest{SIZE_MAX};
std::atomic<int> g_left{-1};  // the allocation after so many fails; negative: none

void* Allocate(std::size_t size)
{
    const bool fails = size > g_largest || (g_left >= 0 && g_left-- == 0);
    void* const memory = fails ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;

class MessageWithoutMemory : public BusTest {
protected:
    MessageWithoutMemory() : extra(std::string(700000, 'x'))
    {
        peer.Listen(kChannelName);
        peer.AnswerWith([](const BusMessage&) { return g_variant_new("(s)", "reply"); });
        EXPECT_EQ(peer.RequestName(kChannelName), 1U);
    }

    // Enough for a copy of the extra text, too little for the stream, which doubles its size.
    template <typename Send>
    int WithLittleMemory(Send send)
    {
        g_largest = 800000;
        const int result = send();
        g_largest = SIZE_MAX;
        return result;
    }

    CQDEventSender sender{kChannel};
    std::stringstream extra;
    BusPeer peer;
};

TEST_F(MessageWithoutMemory, IsNotSentInPart)
{
    EXPECT_EQ(WithLittleMemory([this] { return sender.SendSignal(10, extra); }), 0);
    EXPECT_EQ(TakeLog().back(), "E m_SendSignal: Error while sending signal: 'no memory for the message'");

    EXPECT_EQ(sender.SendSignal(10), 1);
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].text, kEmptyMessage);
}

TEST_F(MessageWithoutMemory, IsNotCalledWithInPart)
{
    std::stringstream reply("before");

    EXPECT_EQ(WithLittleMemory([&] { return sender.Call(10, extra, reply); }), 0);
    EXPECT_EQ(TakeLog().back(), "E m_Call:  proxy call failed (no memory for the message)");
    EXPECT_EQ(reply.str(), "before");

    EXPECT_EQ(sender.Call(10, reply), 1);
    EXPECT_EQ(reply.str(), "reply");
}

TEST_F(BusTest, ARegistrationThatThereIsNoMemoryForCanBeTriedAgain)
{
    const srcwatch_event_cb callback = [](void*, srcwatch_event_s*) {};
    bool registered = false;
    for (int granted = 0; !registered; ++granted) {
        g_left = granted;
        try {
            registered = srcwatch_register_event_callback(callback, nullptr) == 1;
        } catch (const std::bad_alloc&) {
            registered = false;
        }
        g_left = -1;

        if (!registered) {
            EXPECT_EQ(srcwatch_register_event_callback(callback, nullptr), 1) << granted;
        }
        EXPECT_EQ(srcwatch_unregister_event_callback(callback), 1) << granted;
    }
}

}  // namespace
