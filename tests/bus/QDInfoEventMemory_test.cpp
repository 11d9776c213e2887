// SPDX-License-Identifier: Apache-2.0
//
// Messages and registrations without enough memory for them. The stream that a message is built in does not report that
// it could not grow. This program's operator new refuses on demand what is too large, or once in the thread that asks
// for it; GLib allocates otherwise.
#include "BusTest.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

thread_local std::size_t t_largest = SIZE_MAX;
thread_local int t_left = -1;  // allocations until one fails; negative: none does

void* Allocate(std::size_t size)
{
    const bool fails = size > t_largest || (t_left >= 0 && t_left-- == 0);
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
using qdinfo::CQDEventReciever;
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
        t_largest = 800000;
        const int result = send();
        t_largest = SIZE_MAX;
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

// A registration through the C interface, which knows no exceptions, while the allocation after granted ones fails.
int TryToRegister(int granted)
{
    t_left = granted;
    const int result = srcwatch_register_event_callback([](void*, srcwatch_event_s*) {}, nullptr);
    t_left = -1;
    return result;
}

int Unregister()
{
    return srcwatch_unregister_event_callback([](void*, srcwatch_event_s*) {});
}

TEST_F(BusTest, ARegistrationWithoutMemoryFailsAndLogsIt)
{
    int granted = 0;
    for (; TryToRegister(granted) == 0; ++granted) {
        EXPECT_EQ(platform.LogOf(DLOG_ERROR).back(), "srcwatch_register_event_callback: new error") << granted;
        EXPECT_EQ(Unregister(), 0) << granted;

        EXPECT_EQ(TryToRegister(-1), 1) << granted;
        EXPECT_EQ(Unregister(), 1) << granted;
    }

    EXPECT_EQ(Unregister(), 1);
    EXPECT_GT(granted, 8);
}

// ---------------------------------------------------------------------------------------------------------------------
// Receivers whose construction fails half-way

class HalfAReceiver : public BusTest, public testing::WithParamInterface<bool> {
protected:
    static bool IsService() { return GetParam(); }

    // Constructs a receiver in the same place each time. Returns null if the allocation after granted ones failed.
    CQDEventReciever* TryToConstruct(int granted)
    {
        t_left = granted;
        CQDEventReciever* receiver = nullptr;
        try {
            receiver = new (m_place) CQDEventReciever(kChannel, IsService());
        } catch (const std::bad_alloc&) {
            receiver = nullptr;
        }
        t_left = -1;
        return receiver;
    }

    // Calls test after each construction that fails, and counts them.
    template <typename Test>
    int ForEachThatFails(Test test)
    {
        int granted = 0;
        CQDEventReciever* receiver = TryToConstruct(granted);
        for (; receiver == nullptr; receiver = TryToConstruct(granted)) {
            test(granted);
            ++granted;
        }
        std::destroy_at(receiver);
        return granted;
    }

    // A receiver in that place gets each event once.
    void ExpectNextOneWorks(int granted)
    {
        CQDEventReciever* receiver = TryToConstruct(-1);
        Deliveries deliveries;
        receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
        if (IsService()) {
            EXPECT_TRUE(RunUntilNameAcquired()) << granted;
        }
        SyncSharedConnection();
        BusPeer peer;
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, kEmptyMessage));
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 6, kEmptyMessage));
        EXPECT_TRUE(RunUntil([this] { return Logged("E m_ProcessHandleEvent: type:6 not found"); })) << granted;
        EXPECT_EQ(deliveries.Count(), 1U) << granted;
        EXPECT_EQ(TimesLogged("E m_ProcessHandleEvent: type:6 not found"), 1U) << granted;
        if (IsService()) {
            EXPECT_EQ(TimesLogged("E m_NameAcquiredHandler: Registered on DBus"), 1U) << granted;
        }
        std::destroy_at(receiver);
    }

private:
    alignas(CQDEventReciever) unsigned char m_place[sizeof(CQDEventReciever)]{};
};

TEST_P(HalfAReceiver, HoldsNoConnection)
{
    const int failed = ForEachThatFails([](int granted) {
        SharedConnectionWatch connection;
        EXPECT_TRUE(connection.RunUntilGone()) << granted;
    });

    EXPECT_GT(failed, 3);
}

TEST_P(HalfAReceiver, LeavesNothingOnTheBusAndNoHandlerThatActs)
{
    ForEachThatFails([this](int granted) {
        TakeLog();
        const srcwatch::Handle<GDBusConnection, g_object_unref> connection(
            g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));  // the one that it had stays open
        SyncSharedConnection();
        BusPeer peer;
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, kEmptyMessage));
        peer.Sync();
        SyncSharedConnection();
        RunPending();

        EXPECT_THAT(TakeLog(), testing::IsEmpty()) << granted;
        EXPECT_EQ(peer.OwnerOf(kChannelName), "") << granted;
        EXPECT_THAT(TakeGlibMessages(), testing::IsEmpty()) << granted;
    });
}

TEST_P(HalfAReceiver, IsNotInTheWayOfTheNextOneInItsPlace)
{
    ForEachThatFails([this](int granted) {
        TakeLog();
        ExpectNextOneWorks(granted);
    });
}

INSTANTIATE_TEST_SUITE_P(Sides, HalfAReceiver, testing::Bool(),
                         [](const auto& side) { return std::string(side.param ? "Service" : "Client"); });

TEST_F(BusTest, ARegistrationWithoutMemoryHoldsNoConnection)
{
    for (int granted = 0; TryToRegister(granted) == 0; ++granted) {
        SharedConnectionWatch connection;
        EXPECT_TRUE(connection.RunUntilGone()) << granted;
    }

    EXPECT_EQ(Unregister(), 1);
}

}  // namespace
