// SPDX-License-Identifier: Apache-2.0
//
// The callback functions for applications.
#include "BusTest.h"

#include <functional>
#include <new>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

class EventCallback : public BusTest {
protected:
    void TearDown() override { srcwatch_unregister_event_callback(&Deliveries::Callback); }

    int Register() { return Register(deliveries); }

    static int Register(Deliveries& target)
    {
        const int result = srcwatch_register_event_callback(&Deliveries::Callback, &target);
        SyncSharedConnection();
        return result;
    }

    static int Unregister() { return srcwatch_unregister_event_callback(&Deliveries::Callback); }

    void Emit(int type, const std::string& message = kEmptyMessage)
    {
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, message.c_str()));
    }

    // The log lines of the two functions since the last call.
    std::vector<std::string> TakeOwnLog()
    {
        std::vector<std::string> lines;
        for (const LogLine& line : platform.log) {
            if (line.file != "QDInfo.cpp") continue;
            EXPECT_EQ(line.priority, DLOG_ERROR);
            lines.push_back(line.function + ": " + line.message);
        }
        platform.log.clear();
        return lines;
    }

    BusPeer peer;
    Deliveries deliveries;
};

TEST_F(EventCallback, IsRefusedWhenItIsNull)
{
    EXPECT_EQ(srcwatch_register_event_callback(nullptr, this), 0);
    EXPECT_THAT(TakeOwnLog(), ElementsAre("srcwatch_register_event_callback: [srcwatch_register_event_callback] input "
                                          "function address is NULL"));

    ASSERT_EQ(Register(), 1);
    EXPECT_EQ(srcwatch_unregister_event_callback(nullptr), 0);
    EXPECT_THAT(TakeOwnLog(),
                ElementsAre("srcwatch_unregister_event_callback: [srcwatch_register_event_callback] input "
                            "function address is NULL"));
    Emit(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));  // it stayed registered
}

TEST_F(EventCallback, IsRegisteredForFourTypesInOrder)
{
    EXPECT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 1);

    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_RegisterQDInfoClientEvent: ") + kChannelLine,
                                       StartsWith("E m_RegisterQDInfoClientEvent: xxxxx2 "),
                                       "E RegisterEventCallback: register eventtype: 4097",
                                       "E RegisterEventCallback: register eventtype: 4098",
                                       "E RegisterEventCallback: register eventtype: 4099",
                                       "E RegisterEventCallback: register eventtype: 10"));
}

TEST_F(EventCallback, LogsNothingOfItsOwnOnSuccess)
{
    EXPECT_EQ(Register(), 1);
    EXPECT_EQ(Unregister(), 1);

    EXPECT_THAT(TakeOwnLog(), IsEmpty());
}

TEST_F(EventCallback, GetsTheFourTypesAndNoOther)
{
    ASSERT_EQ(Register(), 1);

    for (const int type : {4100, 4101, 4104, 4097, 0, 4098, 4099, -1, 11, 10}) Emit(type);

    ASSERT_TRUE(RunUntil([this] { return deliveries.Last().event.type == 10; }));
    std::vector<int> types;
    for (const Delivery& delivery : deliveries.All()) types.push_back(delivery.event.type);
    EXPECT_THAT(types, ElementsAre(4097, 4098, 4099, 10));
    for (const int type : {4100, 4101, 4104, 0, 11}) {
        EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:" + std::to_string(type) + " not found"));
    }
}

TEST_F(EventCallback, GetsTheUserDataAndTheWholeEvent)
{
    ASSERT_EQ(Register(), 1);

    Emit(4097, MessageOf({1, 3, 1}, {"Blu ray Player", "Brand", ""}));

    ASSERT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
    const srcwatch_event_s event = deliveries.Last().event;
    EXPECT_EQ(event.args[0], 1);
    EXPECT_EQ(event.args[1], 3);
    EXPECT_EQ(event.args[2], 1);
    EXPECT_STREQ(event.str_args[0], "Blu ray Player");
    EXPECT_STREQ(event.str_args[1], "Brand");
    EXPECT_STREQ(event.str_args[2], "");
    EXPECT_TRUE(deliveries.Last().hasStreams);
}

TEST_F(EventCallback, MayHaveNoUserData)
{
    static int calls = 0;
    ASSERT_EQ(srcwatch_register_event_callback(
                  [](void* userData, srcwatch_event_s*) { calls += userData == nullptr ? 1 : 100; }, nullptr),
              1);
    SyncSharedConnection();

    Emit(10);

    EXPECT_TRUE(RunUntil([] { return calls == 1; }));
}

TEST_F(EventCallback, StaysWhenAnotherIsRegistered)
{
    Deliveries second;
    ASSERT_EQ(Register(), 1);
    TakeOwnLog();

    EXPECT_EQ(Register(second), 0);

    EXPECT_THAT(TakeOwnLog(), ElementsAre("srcwatch_register_event_callback: [srcwatch_register_event_callback] "
                                          "already registered"));
    Emit(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
    EXPECT_EQ(second.Count(), 0U);
}

TEST_F(EventCallback, CannotBeUnregisteredWithoutBeingRegistered)
{
    EXPECT_EQ(Unregister(), 0);

    EXPECT_THAT(TakeOwnLog(), ElementsAre("srcwatch_unregister_event_callback: [srcwatch_register_event_callback] not "
                                          "registered"));
}

TEST_F(EventCallback, IsUnregisteredByAnyFunction)
{
    ASSERT_EQ(Register(), 1);

    EXPECT_EQ(srcwatch_unregister_event_callback([](void*, srcwatch_event_s*) {}), 1);

    Emit(10);
    peer.Sync();
    RunPending();
    EXPECT_EQ(deliveries.Count(), 0U);
    EXPECT_EQ(Unregister(), 0);
}

TEST_F(EventCallback, EndsItsReceiverWhenUnregistered)
{
    ASSERT_EQ(Register(), 1);
    TakeLog();

    EXPECT_EQ(Unregister(), 1);

    EXPECT_THAT(TakeLog(), ElementsAre(StartsWith("E m_UnRegisterQDInfoClientEvent: xxxxx3 "),
                                       "E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"));
}

TEST_F(EventCallback, MayBeRegisteredAgainAndAgain)
{
    for (std::size_t round = 1; round <= 50; ++round) {
        ASSERT_EQ(Register(), 1);
        Emit(10);
        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == round; }));
        ASSERT_EQ(Unregister(), 1);
    }
}

TEST_F(EventCallback, IsRegisteredButSilentWithoutABus)
{
    EndBus();

    EXPECT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 1);
    EXPECT_THAT(TakeLog(), testing::Contains(MatchesRegex("E m_RegisterQDInfoClientEvent: Couldn't connect to DBus "
                                                          "bus: '.+'")));
    EXPECT_EQ(Unregister(), 1);
}

TEST_F(EventCallback, HearsTheNewBusWhenItIsRegisteredAgain)
{
    ASSERT_EQ(Register(), 1);
    SharedConnectionWatch connection;
    TheBus().Restart();
    ASSERT_EQ(Unregister(), 1);
    ASSERT_TRUE(connection.RunUntilGone());
    ASSERT_EQ(Register(), 1);

    CQDEventSender(kChannel).SendEvent(10);

    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
}

// ---------------------------------------------------------------------------------------------------------------------
// The functions from inside the callback

struct Actions {
    std::function<void()> inside;
    int calls = 0;

    static void Callback(void* actions, srcwatch_event_s* event)
    {
        auto* self = static_cast<Actions*>(actions);
        ++self->calls;
        self->inside();
        ReplyOf(event) << "the streams are still there";
        RequestOf(event).clear();
        event->args[0] = 1;
    }
};

class CallbackInside : public EventCallback {
protected:
    void RunOnce(const std::function<void()>& inside)
    {
        actions.inside = inside;
        ASSERT_EQ(srcwatch_register_event_callback(&Actions::Callback, &actions), 1);
        SyncSharedConnection();
        Emit(10);
        ASSERT_TRUE(RunUntil([this] { return actions.calls == 1; }));
    }

    Actions actions;
};

TEST_F(CallbackInside, MayUnregisterItself)
{
    int result = 0;
    std::vector<std::string> logOfEnd;
    RunOnce([&] {
        TakeLog();
        result = Unregister();
        logOfEnd = TakeLog();
    });

    EXPECT_EQ(result, 1);
    EXPECT_EQ(Unregister(), 0);
    EXPECT_THAT(logOfEnd, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoClientEvent: xxxxx3 "
                                                   "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                      "E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"));
    EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: signal end"));
    Emit(10);
    peer.Sync();
    RunPending();
    EXPECT_EQ(actions.calls, 1);
}

TEST_F(CallbackInside, IsNotCalledInItsMainLoopOnceUnregistered)
{
    qdinfo::CQDEventReciever other(kChannel, false);
    other.RegisterEventCallback(10, &Deliveries::Callback, &deliveries);
    RunOnce([&] {
        EXPECT_EQ(Unregister(), 1);
        const std::size_t before = deliveries.Count();
        Emit(10);
        EXPECT_TRUE(RunUntil([&] { return deliveries.Count() > before; }));
    });

    EXPECT_EQ(actions.calls, 1);
}

TEST_F(CallbackInside, MayUnregisterItselfAndRegisterAnother)
{
    int result = 0;
    std::vector<std::string> log;
    RunOnce([&] {
        TakeLog();
        result = 10 * Unregister() + srcwatch_register_event_callback(&Deliveries::Callback, &deliveries);
        log = TakeLog();
    });
    SyncSharedConnection();

    EXPECT_EQ(result, 11);
    EXPECT_THAT(log, ElementsAre(StartsWith("E m_UnRegisterQDInfoClientEvent: xxxxx3 "),
                                 "E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end",
                                 std::string("E m_RegisterQDInfoClientEvent: ") + kChannelLine,
                                 StartsWith("E m_RegisterQDInfoClientEvent: xxxxx2 "),
                                 "E RegisterEventCallback: register eventtype: 4097",
                                 "E RegisterEventCallback: register eventtype: 4098",
                                 "E RegisterEventCallback: register eventtype: 4099",
                                 "E RegisterEventCallback: register eventtype: 10"));
    EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: signal end"));
    Emit(10);
    ASSERT_TRUE(RunUntil([this] { return deliveries.Count() >= 1; }));
    EXPECT_EQ(actions.calls, 1);
    EXPECT_EQ(Unregister(), 1);
}

TEST_F(CallbackInside, MayUnregisterAndRegisterManyTimes)
{
    RunOnce([&] {
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(Unregister(), 1);
            EXPECT_EQ(Unregister(), 0);
            EXPECT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 1);
            EXPECT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 0);
        }
    });
    SyncSharedConnection();

    Emit(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() >= 1; }));
}

TEST_F(CallbackInside, MayUnregisterInAMainLoopThatItRuns)
{
    ASSERT_EQ(srcwatch_register_event_callback(
                  [](void* count, srcwatch_event_s* event) {
                      if (++*static_cast<int*>(count) == 1) {
                          EXPECT_TRUE(RunUntil([count] { return *static_cast<int*>(count) == 2; }));
                      } else {
                          EXPECT_EQ(srcwatch_unregister_event_callback(&Deliveries::Callback), 1);
                      }
                      ReplyOf(event) << "still there";
                  },
                  &actions.calls),
              1);
    SyncSharedConnection();
    TakeLog();
    Emit(10);
    Emit(10);

    ASSERT_TRUE(RunUntil([this] { return actions.calls == 2; }));

    const std::vector<std::string> log = TakeLog();
    ASSERT_GE(log.size(), 3U);  // the inner signal and the outer one end after the receiver
    EXPECT_THAT(
        std::vector<std::string>(log.end() - 3, log.end()),
        ElementsAre("E ~CQDEventReciever: end", "D m_SignalHandler: signal end", "D m_SignalHandler: signal end"));
}

TEST_F(CallbackInside, MaySendAndQuery)
{
    RunOnce([&] {
        CQDEventSender(kChannel).SendEvent(4104);
        char name[100];
        EXPECT_EQ(srcwatch_get_cec_name(name, 0), 0);
        EXPECT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, nullptr), 0);
    });
}

TEST_F(CallbackInside, MayThrowAfterItUnregistered)
{
    actions.inside = [&] {
        Unregister();
        throw std::bad_alloc();
    };
    ASSERT_EQ(srcwatch_register_event_callback(&Actions::Callback, &actions), 1);
    SyncSharedConnection();
    Emit(10);
    ASSERT_TRUE(RunUntil([this] { return actions.calls == 1; }));

    EXPECT_EQ(Register(), 1);
    Emit(10);
    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
}

}  // namespace
