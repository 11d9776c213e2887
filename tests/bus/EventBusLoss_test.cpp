// SPDX-License-Identifier: Apache-2.0
//
// A bus that dies and comes back, again and again, under a service, an application and senders of one process.
#include "BusTest.h"
#include "Sanitizers.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;

// SRCWATCH_TEST_BUS_RESTARTS: 1000 for the long run.
int Restarts()
{
    const char* number = std::getenv("SRCWATCH_TEST_BUS_RESTARTS");
    return number != nullptr ? static_cast<int>(std::strtol(number, nullptr, 10)) : 100;
}

std::size_t Descriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t Threads()
{
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t ResidentKilobytes()
{
    std::ifstream statm("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    statm >> size >> resident;
    return resident * 4;
}

// One bus: a service and an application connect, exchange events, and see its end.
class BusLoss : public BusTest {
protected:
    void LiveThroughOneBus()
    {
        Deliveries deliveries;
        CQDEventReciever service(kChannel, true);
        service.RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
        ASSERT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 1);
        ASSERT_TRUE(RunUntilNameAcquired());
        SyncSharedConnection();
        CQDEventSender sender(kChannel);
        ASSERT_EQ(sender.SendSignal(10), 1);
        ASSERT_EQ(sender.IsServiceAvailable(), 1);
        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));

        connection = std::make_unique<SharedConnectionWatch>();
        TheBus().Kill();
        ASSERT_TRUE(RunUntil([this] { return Logged("E m_NameLostHandler: HANDLER: name_lost_handler"); }));
        ASSERT_EQ(sender.SendSignal(10), 0);
        ASSERT_EQ(srcwatch_unregister_event_callback(&Deliveries::Callback), 1);
    }

    void LetGoOfTheBus()
    {
        ASSERT_TRUE(connection->RunUntilGone());
        ThePlatform() = Platform();
        static_cast<void>(TakeGlibMessages());
        TheBus().Restart();
    }

    std::unique_ptr<SharedConnectionWatch> connection;
};

TEST_F(BusLoss, AgainAndAgainCostsNoDescriptorsThreadsOrMemory)
{
    // The first rounds fill caches.
    for (int round = 0; round < 20; ++round) {
        ASSERT_NO_FATAL_FAILURE(LiveThroughOneBus());
        LetGoOfTheBus();
    }
    const std::size_t descriptors = Descriptors();
    const std::size_t threads = Threads();
    const std::size_t memory = ResidentKilobytes();

    for (int round = 0; round < Restarts(); ++round) {
        ASSERT_NO_FATAL_FAILURE(LiveThroughOneBus()) << "round " << round;
        LetGoOfTheBus();
    }

    // GDBus's thread closes what the last round had a little later.
    EXPECT_TRUE(WaitUntil([=] { return Descriptors() <= descriptors; })) << Descriptors();
    EXPECT_LE(Threads(), threads + 2);  // idle threads of GLib's pool come and go
    RecordProperty("kilobytes_before", std::to_string(memory));
    RecordProperty("kilobytes_after", std::to_string(ResidentKilobytes()));
#if !SRCWATCH_THREAD_SANITIZER && !SRCWATCH_ADDRESS_SANITIZER
    EXPECT_LE(ResidentKilobytes(), memory + 512);  // a leaked connection per round would be tens of kilobytes each
#endif
}

TEST_F(BusLoss, LeavesAReceiverSilentUntilItIsMadeAgain)
{
    Deliveries deliveries;
    auto receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    SyncSharedConnection();
    connection = std::make_unique<SharedConnectionWatch>();
    TheBus().Restart();
    BusPeer peer;
    peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, ""));
    peer.Sync();
    RunPending();
    EXPECT_EQ(deliveries.Count(), 0U);

    receiver.reset();
    ASSERT_TRUE(connection->RunUntilGone());
    receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    SyncSharedConnection();
    peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, ""));

    EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));
}

TEST_F(BusLoss, DuringManySendsLosesOnlyWhatFollowsIt)
{
    BusPeer peer;
    peer.Listen(kChannelName);
    CQDEventSender sender(kChannel);
    for (int i = 0; i < 100; ++i) ASSERT_EQ(sender.SendSignal(i), 1);
    ASSERT_EQ(peer.WaitForSignals(100).size(), 100U);

    TheBus().Kill();
    int sent = 0;
    while (sender.SendSignal(5) == 1 && sent < 1000000) ++sent;  // until the end of the bus is noticed

    EXPECT_LT(sent, 1000000);
    EXPECT_EQ(TakeLog().back(), "E m_SendSignal: Error while sending signal: 'The connection is closed'");
}

}  // namespace
