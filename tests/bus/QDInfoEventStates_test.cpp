// SPDX-License-Identifier: Apache-2.0
//
// The callback functions and the services in an unusual order: refused for two reasons, without a start, twice, without
// a bus, and in other threads.
#include "ReceiverTest.h"

#include <memory>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr char kIsNull[] = "[srcwatch_register_event_callback] input function address is NULL";
constexpr char kIsRegistered[] =
    "E srcwatch_register_event_callback: [srcwatch_register_event_callback] already registered";
constexpr char kIsNotRegistered[] =
    "E srcwatch_unregister_event_callback: [srcwatch_register_event_callback] not registered";
const std::string kRefusedToRegister = std::string("E srcwatch_register_event_callback: ") + kIsNull;
const std::string kRefusedToUnregister = std::string("E srcwatch_unregister_event_callback: ") + kIsNull;

class Registration : public Receiver {
protected:
    void TearDown() override { srcwatch_unregister_event_callback(&Deliveries::Callback); }

    int Register() { return srcwatch_register_event_callback(&Deliveries::Callback, &deliveries); }
    static int Unregister() { return srcwatch_unregister_event_callback(&Deliveries::Callback); }

    // All lines since the last call, those of the exported functions too.
    std::vector<std::string> TakeWholeLog()
    {
        std::vector<std::string> lines;
        for (const LogLine& line : platform.log) {
            lines.push_back((line.priority == DLOG_ERROR ? "E " : "D ") + line.function + ": " + line.message);
        }
        platform.log.clear();
        return lines;
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// The callback functions

TEST_F(Registration, IsLookedForAfterTheCallbackIsTested)
{
    EXPECT_EQ(srcwatch_unregister_event_callback(nullptr), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kRefusedToUnregister));

    ASSERT_EQ(Register(), 1);
    TakeWholeLog();
    EXPECT_EQ(srcwatch_register_event_callback(nullptr, nullptr), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kRefusedToRegister));
}

TEST_F(Registration, IsNotMadeByARefusedOne)
{
    EXPECT_EQ(srcwatch_register_event_callback(nullptr, &deliveries), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kRefusedToRegister));

    EXPECT_EQ(Unregister(), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kIsNotRegistered));
    EXPECT_EQ(Register(), 1);
}

TEST_F(Registration, WithoutABusIsRefusedAndEndedAsAnyOther)
{
    EndBus();

    EXPECT_EQ(Register(), 1);
    EXPECT_THAT(TakeWholeLog(),
                ElementsAre(MatchesRegex("E m_RegisterQDInfoClientEvent: Couldn't connect to DBus bus: '.+'"),
                            "E RegisterEventCallback: register eventtype: 4097",
                            "E RegisterEventCallback: register eventtype: 4098",
                            "E RegisterEventCallback: register eventtype: 4099",
                            "E RegisterEventCallback: register eventtype: 10"));
    EXPECT_EQ(Register(), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kIsRegistered));
    EXPECT_EQ(srcwatch_unregister_event_callback(nullptr), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kRefusedToUnregister));
    EXPECT_EQ(Unregister(), 1);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kEmptyTable, kEnd));
    EXPECT_EQ(Unregister(), 0);
    EXPECT_THAT(TakeWholeLog(), ElementsAre(kIsNotRegistered));
}

TEST_F(Registration, WithoutABusStaysSilentUntilItIsMadeAgain)
{
    EndBus();
    ASSERT_EQ(Register(), 1);
    TheBus().Restart();
    BusPeer later;
    later.Listen(kChannelName);
    EXPECT_EQ(Register(), 0);

    CQDEventSender(kChannel).SendEvent(10);

    ASSERT_EQ(later.WaitForSignals(1).size(), 1U);
    SyncSharedConnection();
    RunPending();
    EXPECT_EQ(deliveries.Count(), 0U);

    EXPECT_EQ(Unregister(), 1);
    EXPECT_EQ(Register(), 1);
    SyncSharedConnection();
    CQDEventSender(kChannel).SendEvent(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
}

TEST_F(Registration, IsThatOfTheProcessAndNotOfAThread)
{
    int registered = 0;
    std::thread([&] { registered = Register(); }).join();
    SyncSharedConnection();
    EXPECT_EQ(registered, 1);
    EXPECT_EQ(Register(), 0);

    Emit(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));  // the thread had no main context of its own

    int unregistered = 0;
    std::thread([&] { unregistered = Unregister(); }).join();
    EXPECT_EQ(unregistered, 1);
    EXPECT_EQ(Unregister(), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Services

TEST_F(Receiver, OfAServiceIsKnownToSendersEachTime)
{
    CQDEventSender sender(kChannel);
    EXPECT_EQ(sender.IsServiceAvailable(), 0);
    for (int round = 0; round < 3; ++round) {
        MakeService();
        EXPECT_EQ(sender.IsServiceAvailable(), 1);
        receiver.reset();
        EXPECT_EQ(sender.IsServiceAvailable(), 0);
    }
}

TEST_F(Receiver, OfASecondServiceOfTheChannelReceivesNothing)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    TakeLog();
    Deliveries ofSecond;
    {
        CQDEventReciever second(kChannel, true);
        second.RegisterEventCallback(5, &Deliveries::Callback, &ofSecond);
        ASSERT_TRUE(RunUntil([this] { return Logged("E m_BusAcquiredHandler: Assertion failed"); }));
        EXPECT_FALSE(Logged("E m_BusAcquiredHandler: Subscribing for signal failed"));
        EXPECT_EQ(Call(5).signature, "s");
        Emit(5);
        EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 2; }));
        TakeLog();
    }
    EXPECT_THAT(TakeLog(), ElementsAre(kEmptyTable, kEnd));

    EXPECT_EQ(ofSecond.Count(), 0U);
}

TEST_F(Receiver, OfAServiceWithoutABusEndsWithItsTable)
{
    EndBus();
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    TakeLog();

    receiver.reset();

    EXPECT_THAT(TakeLog(), ElementsAre(kEmptyTable, kEnd));
}

TEST_F(Receiver, OfAServiceAnnouncesEachLossAndReturnOfItsName)
{
    constexpr std::uint32_t kReplaceExisting = 2;
    MakeService();
    receiver->RegisterEventCallback(4100, &Deliveries::Callback, &deliveries);
    receiver->RegisterEventCallback(4101, &Deliveries::Callback, &deliveries);

    for (std::size_t round = 1; round <= 3; ++round) {
        peer.RequestName(kChannelName, kReplaceExisting);
        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 2 * round - 1; }));
        EXPECT_EQ(deliveries.Last().event.type, 4101);
        peer.ReleaseName(kChannelName);
        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 2 * round; }));
        EXPECT_EQ(deliveries.Last().event.type, 4100);
    }

    EXPECT_EQ(TimesLogged(kNameLost), 3U);
    EXPECT_EQ(TimesLogged("E m_NameAcquiredHandler: Registered on DBus"), 3U);
    EXPECT_EQ(TimesLogged(std::string("E m_BusAcquiredHandler: ") + kChannelLine), 0U);  // the bus was there
}

}  // namespace
