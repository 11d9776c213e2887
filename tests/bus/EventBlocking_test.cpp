// SPDX-License-Identifier: Apache-2.0
//
// How long each operation blocks if a service or the bus hangs. Slow, because the time limits are long.
#include "BusTest.h"

#include <algorithm>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;
using Seconds = std::chrono::duration<double>;

template <typename Body>
double SecondsOf(Body body)
{
    const auto begin = std::chrono::steady_clock::now();
    body();
    return Seconds(std::chrono::steady_clock::now() - begin).count();
}

#define EXPECT_TAKES(seconds, low)         \
    do {                                   \
        EXPECT_GE((seconds), (low));       \
        EXPECT_LT((seconds), (low) + 2.0); \
    } while (false)

// A service that takes the calls and never answers those of the channel's method.
std::unique_ptr<BusPeer> HangingService(bool answersForItsProperties)
{
    auto service = std::make_unique<BusPeer>();
    service->AnswerWith([answersForItsProperties](const BusMessage& call) {
        return answersForItsProperties && call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : nullptr;
    });
    EXPECT_EQ(service->RequestName(kChannelName), 1U);
    return service;
}

// All in one, so that the waits run side by side.
TEST_F(BusTest, ServicesAndABusThatHangBlockForTheStatedTimes)
{
    const auto service = HangingService(true);
    CQDEventSender caller(kChannel);
    CQDEventSender sender(kChannel);
    CQDEventSender asker(kChannel);
    ASSERT_EQ(sender.SendSignal(1), 1);
    ASSERT_EQ(asker.IsServiceAvailable(), 1);
    std::stringstream reply("kept");
    int callResult = -1;
    double callSeconds = 0;
    double sendSeconds = 0;
    double askSeconds = 0;

    std::thread call([&] { callSeconds = SecondsOf([&] { callResult = caller.Call(1, reply); }); });
    ASSERT_TRUE(WaitUntil([&] { return service->Calls().size() >= 2; }));  // GetAll, and the call itself
    std::thread send([&] { sendSeconds = SecondsOf([&] { sender.SendEvent(2); }); });
    askSeconds = SecondsOf([&] { EXPECT_EQ(asker.IsServiceAvailable(), 1); });
    call.join();
    send.join();

    EXPECT_EQ(callResult, 0);
    EXPECT_EQ(reply.str(), "kept");
    EXPECT_TRUE(Logged("E m_Call:  proxy call failed (Timeout was reached)"));
    EXPECT_TAKES(callSeconds, 5.0);
    EXPECT_GT(sendSeconds, 3.0);  // waits for the call of the other sender
    EXPECT_LT(askSeconds, 1.0);   // does not wait

    TheBus().Pause();
    askSeconds = SecondsOf([&] { EXPECT_EQ(asker.IsServiceAvailable(), 0); });
    sendSeconds = SecondsOf([&] { EXPECT_EQ(sender.SendSignal(3), 1); });
    double endSeconds = SecondsOf([] { CQDEventSender(kChannel).SendEvent(4); });
    TheBus().Continue();

    EXPECT_TAKES(askSeconds, 5.0);
    EXPECT_TRUE(Logged("E IsServiceAvailable: sync call fail (Timeout was reached, " +
                       std::to_string(G_IO_ERROR_TIMED_OUT) + ")"));
    EXPECT_LT(sendSeconds, 1.0);  // a signal is only queued
    EXPECT_LT(endSeconds, 1.0);   // the socket takes it
}

// More announcements than the socket takes from the process.
TEST_F(BusTest, ABusThatHangsDelaysOneSenderAndLosesNothing)
{
    constexpr std::size_t kEvents = 600;
    BusPeer peer;
    peer.Listen(kChannelName);
    CQDEventSender connected(kChannel);
    ASSERT_EQ(connected.SendSignal(0), 1);
    ASSERT_EQ(peer.WaitForSignals(1).size(), 1U);

    TheBus().Pause();
    double longest = 0;
    const double seconds = SecondsOf([&] {
        for (std::size_t i = 1; i < kEvents; ++i) {
            longest = std::max(longest, SecondsOf([] { CQDEventSender(kChannel).SendEvent(1); }));
        }
    });
    TheBus().Continue();

    EXPECT_TAKES(longest, 2.0);
    EXPECT_LT(seconds, longest + 2.0);  // the others do not wait
    EXPECT_EQ(peer.WaitForSignals(kEvents).size(), kEvents);
    EXPECT_LT(SecondsOf([] { CQDEventSender(kChannel).SendEvent(2); }), 1.0);
}

TEST_F(BusTest, FirstCallOfASenderAlsoWaitsForTheProperties)
{
    const auto service = HangingService(false);
    CQDEventSender caller(kChannel);
    int result = -1;

    const double first = SecondsOf([&] { result = caller.Call(1); });

    EXPECT_EQ(result, 0);
    EXPECT_TAKES(first, 30.0);
    EXPECT_TRUE(Logged("E m_Call:  proxy call failed (Timeout was reached)"));
}

}  // namespace
