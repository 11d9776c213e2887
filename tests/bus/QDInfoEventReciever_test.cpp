// SPDX-License-Identifier: Apache-2.0
//
// The receiver in both modes: names, description, dispatch, streams, what callbacks may do, and its end in every state.
#include "BusTest.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::uint32_t kAllowReplacement = 1;
constexpr std::uint32_t kReplaceExisting = 2;
constexpr std::uint32_t kPrimaryOwner = 1;

constexpr char kEmptyTable[] = "E ~CQDEventReciever: m_EventCallbackTable";
constexpr char kEnd[] = "E ~CQDEventReciever: end";
constexpr char kNameLost[] = "E m_NameLostHandler: HANDLER: name_lost_handler";

class Receiver : public BusTest {
protected:
    void MakeClient()
    {
        receiver = std::make_unique<CQDEventReciever>(kChannel, false);
        SyncSharedConnection();
        TakeLog();
    }

    // Leaves nothing in the queue: the service has also seen its own first announcement.
    void MakeService()
    {
        receiver = std::make_unique<CQDEventReciever>(kChannel, true);
        ASSERT_TRUE(RunUntilNameAcquired());
        ASSERT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
        TakeLog();
    }

    void Emit(int type, const std::string& message = kEmptyMessage)
    {
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, message.c_str()));
    }

    // Emits, and runs the main loop until the receiver has handled it.
    void EmitAndHandle(int type, const std::string& message = kEmptyMessage)
    {
        const std::size_t handled = TimesLogged("D m_SignalHandler: signal end");
        Emit(type, message);
        ASSERT_TRUE(RunUntil([&] { return TimesLogged("D m_SignalHandler: signal end") > handled; }));
    }

    BusMessage Call(int type, const std::string& message = kEmptyMessage)
    {
        const std::uint32_t serial =
            peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, message.c_str()));
        BusMessage reply;
        EXPECT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
        return reply;
    }

    BusPeer peer;
    std::unique_ptr<CQDEventReciever> receiver;
    Deliveries deliveries;
};

// ---------------------------------------------------------------------------------------------------------------------
// The client side

TEST_F(Receiver, OfAClientSubscribesAndLogsIt)
{
    receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    const std::vector<std::string> begin = TakeLog();
    receiver.reset();
    const std::vector<std::string> end = TakeLog();

    EXPECT_THAT(begin, ElementsAre(std::string("E m_RegisterQDInfoClientEvent: ") + kChannelLine,
                                   MatchesRegex("E m_RegisterQDInfoClientEvent: xxxxx2 "
                                                "g_dbus_connection_signal_subscribe :[1-9][0-9]*")));
    EXPECT_THAT(end, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoClientEvent: xxxxx3 "
                                              "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                 kEmptyTable, kEnd));
    EXPECT_EQ(begin[1].substr(begin[1].find(':', 60)), end[0].substr(end[0].find(':', 60)));  // the same id
}

TEST_F(Receiver, OfAClientWithoutABusLogsItAndReceivesNothing)
{
    TheBus().Kill();

    receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex("E m_RegisterQDInfoClientEvent: "
                                                    "Couldn't connect to DBus bus: '.+'")));
    receiver.reset();
    EXPECT_THAT(TakeLog(), ElementsAre(kEmptyTable, kEnd));
}

TEST_F(Receiver, OfAClientOwnsNoName)
{
    MakeClient();

    EXPECT_EQ(peer.OwnerOf(kChannelName), "");
}

TEST_F(Receiver, OfAnEmptyNameListensToQdinfo)
{
    receiver = std::make_unique<CQDEventReciever>("", false);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    SyncSharedConnection();

    Emit(5);

    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
}

TEST_F(Receiver, ListensOnlyToItsOwnChannel)
{
    MakeClient();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    GVariant* body = g_variant_ref_sink(g_variant_new("(is)", 5, ""));

    peer.Emit("/org/nalto/tv/other", kChannelName, kChannel, body);
    peer.Emit(kChannelPath, "org.nalto.tv.other", kChannel, body);
    peer.Emit(kChannelPath, kChannelName, "other", body);
    peer.Emit(kChannelPath, kChannelName, kChannel, body);
    g_variant_unref(body);

    ASSERT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
    EXPECT_EQ(TimesLogged("D m_SignalHandler: Received signal"), 1U);
}

// ---------------------------------------------------------------------------------------------------------------------
// The service side

TEST_F(Receiver, OfAServiceLogsItsWayToItsNameAndAnnouncesIt)
{
    peer.Listen(kChannelName);
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    const std::vector<std::string> begin = TakeLog();
    ASSERT_TRUE(RunUntilNameAcquired());
    ASSERT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
    const std::vector<std::string> acquired = TakeLog();
    receiver.reset();
    const std::vector<std::string> end = TakeLog();

    EXPECT_THAT(begin,
                ElementsAre(std::string("E m_RegisterQDInfoServiceEvent: ") + kChannelLine,
                            "E m_RegisterQDInfoServiceEvent: interface xml : "
                            "<node name='/org/nalto/tv/qdinfo'>\t <interface name='org.nalto.tv.qdinfo'>\t     <method "
                            "name='qdinfo'>\t         <arg type='i' name='type' direction='in'/>\t         <arg "
                            "type='s' name='messagein' direction='in'/>\t         <arg type='s' name='messageout' "
                            "direction='out'/>\t     </method>\t </interface></node>"));
    EXPECT_THAT(acquired,
                ElementsAre(std::string("E m_BusAcquiredHandler: ") + kChannelLine,
                            MatchesRegex("E m_BusAcquiredHandler: xxxxx g_dbus_connection_signal_subscribe : "
                                         "org.nalto.tv.qdinfo, [1-9][0-9]*"),
                            "E m_NameAcquiredHandler: Registered on DBus",
                            std::string("D m_SendExternalEvent: ") + kChannelLine,
                            "D m_ConvertEventToStream: UNKNOWN UNKNOWN UNKNOWN",
                            "D m_SendExternalEvent: Send external event success", "D m_SignalHandler: Received signal",
                            "D m_ConvertStreamToEvent: param:UNKNOWN UNKNOWN UNKNOWN",
                            "E m_ProcessHandleEvent: type:4100 not found", "D m_SignalHandler: signal end"));
    EXPECT_THAT(end, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoServiceEvent: xxxxx4 "
                                              "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                 kEmptyTable, kEnd));
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 4100);
    EXPECT_EQ(signals[0].text, kEmptyMessage);
}

TEST_F(Receiver, OfAServiceDescribesItsOneMethod)
{
    MakeService();
    const std::uint32_t serial =
        peer.Send(kChannelName, kChannelPath, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr);
    BusMessage reply;
    ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));

    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(reply.text.c_str(), nullptr);
    ASSERT_NE(node, nullptr) << reply.text;
    GDBusInterfaceInfo* interface = g_dbus_node_info_lookup_interface(node, kChannelName);
    ASSERT_NE(interface, nullptr) << reply.text;
    GString* xml = g_string_new(nullptr);
    g_dbus_interface_info_generate_xml(interface, 0, xml);
    EXPECT_STREQ(xml->str,
                 "<interface name=\"org.nalto.tv.qdinfo\">\n"
                 "  <method name=\"qdinfo\">\n"
                 "    <arg type=\"i\" name=\"type\" direction=\"in\">\n"
                 "    </arg>\n"
                 "    <arg type=\"s\" name=\"messagein\" direction=\"in\">\n"
                 "    </arg>\n"
                 "    <arg type=\"s\" name=\"messageout\" direction=\"out\">\n"
                 "    </arg>\n"
                 "  </method>\n"
                 "</interface>\n");
    g_string_free(xml, TRUE);
    g_dbus_node_info_unref(node);
}

TEST_F(Receiver, OfAServiceYieldsToALaterOneAndAnnouncesItsLoss)
{
    MakeService();
    peer.Listen(kChannelName);

    EXPECT_EQ(peer.RequestName(kChannelName, kReplaceExisting), kPrimaryOwner);

    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 4101);
    EXPECT_EQ(signals[0].text, kEmptyMessage);
    EXPECT_NE(signals[0].sender, peer.UniqueName());
}

TEST_F(Receiver, OfAServiceStillReceivesSignalsAfterItLostItsName)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    peer.RequestName(kChannelName, kReplaceExisting);
    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));

    Emit(5);

    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
}

TEST_F(Receiver, OfAServiceGetsItsNameBackWhenTheOtherGivesItUp)
{
    MakeService();
    peer.RequestName(kChannelName, kReplaceExisting);
    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    peer.Listen(kChannelName);

    peer.ReleaseName(kChannelName);

    ASSERT_TRUE(RunUntilNameAcquired());
    EXPECT_TRUE(WaitUntil([this] {
        const std::vector<BusMessage> signals = peer.Signals();
        return !signals.empty() && signals.back().type == 4100;
    }));
}

TEST_F(Receiver, OfAServiceReplacesAnOwnerThatAllowsIt)
{
    EXPECT_EQ(peer.RequestName(kChannelName, kAllowReplacement), kPrimaryOwner);

    MakeService();

    EXPECT_NE(peer.OwnerOf(kChannelName), peer.UniqueName());
}

TEST_F(Receiver, OfAServiceWaitsBehindAnOwnerThatDoesNotAllowIt)
{
    EXPECT_EQ(peer.RequestName(kChannelName), kPrimaryOwner);
    peer.Listen(kChannelName);
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);

    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 4101);
    EXPECT_EQ(peer.OwnerOf(kChannelName), peer.UniqueName());
}

TEST_F(Receiver, OfAServiceWithoutABusLosesTheName)
{
    TheBus().Kill();
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);

    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));

    EXPECT_THAT(TakeLog().back(), MatchesRegex("E m_Connect: Couldn't connect to DBus bus: '.+'"));
}

TEST_F(Receiver, OfAServiceLeavesNothingExportedAndASecondOneWorks)
{
    MakeService();
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);  // lives on
    const std::string uniqueName = g_dbus_connection_get_unique_name(connection);
    receiver.reset();

    const std::uint32_t serial =
        peer.Send(uniqueName, kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, ""));
    BusMessage reply;
    ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
    EXPECT_EQ(reply.error, "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(peer.OwnerOf(kChannelName), "");

    MakeService();
    EXPECT_EQ(Call(5).signature, "s");
    receiver.reset();
    g_object_unref(connection);
}

TEST_F(Receiver, OfAServiceMayLiveBesideClientsOfTheSameProcess)
{
    MakeService();
    Deliveries ofClient;
    CQDEventReciever client(kChannel, false);
    client.RegisterEventCallback(5, &Deliveries::Callback, &ofClient);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    SyncSharedConnection();

    Emit(5);

    EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == 1 && ofClient.Count() == 1; }));
}

// ---------------------------------------------------------------------------------------------------------------------
// The table

TEST_F(Receiver, KeepsTheFirstCallbackOfAType)
{
    MakeClient();
    Deliveries second;
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    EXPECT_THAT(TakeLog(), ElementsAre("E RegisterEventCallback: register eventtype: 5"));
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &second);
    EXPECT_THAT(TakeLog(), ElementsAre("E RegisterEventCallback: register eventtype: 5",
                                       "E RegisterEventCallback: register eventtype: 5 existed"));

    EmitAndHandle(5);

    EXPECT_EQ(deliveries.Count(), 1U);
    EXPECT_EQ(second.Count(), 0U);
}

TEST_F(Receiver, DispatchesByType)
{
    MakeClient();
    for (const int type : {-2, 0, 10, INT32_MIN, INT32_MAX}) {
        receiver->RegisterEventCallback(type, &Deliveries::Callback, &deliveries);
    }

    for (const int type : {INT32_MAX, 10, 0, -2, INT32_MIN}) {
        EmitAndHandle(type);
        EXPECT_EQ(deliveries.Last().event.type, type);
    }

    EXPECT_EQ(deliveries.Count(), 5U);
}

TEST_F(Receiver, LogsATypeThatNobodyRegisteredAsUnsignedNumber)
{
    MakeClient();

    EmitAndHandle(-1);
    EmitAndHandle(5);
    EmitAndHandle(INT32_MIN);

    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:4294967295 not found"));
    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:5 not found"));
    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:2147483648 not found"));
}

TEST_F(Receiver, LogsASignalThatIsHandledAtDebug)
{
    MakeClient();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    TakeLog();

    EmitAndHandle(5, "1 2 3 4 5 6 7 8 9 10 a#b c");

    EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: Received signal", "D m_ConvertStreamToEvent: param:a#b c ",
                                       "D m_SignalHandler: signal end"));
}

TEST_F(Receiver, LogsAnEntryThatHoldsNoCallable)
{
    MakeClient();
    receiver->RegisterEventCallback(5, nullptr, nullptr);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    EXPECT_TRUE(Logged("E RegisterEventCallback: register eventtype: 5 existed"));
    TakeLog();

    EmitAndHandle(5, "1 2 3 4 5 6 7 8 9 10 a#b c");

    EXPECT_THAT(TakeLog(),
                ElementsAre("D m_SignalHandler: Received signal", "D m_ConvertStreamToEvent: param:a#b c ",
                            "E m_ProcessHandleEvent: Function is no callable", "D m_SignalHandler: signal end"));
    EXPECT_EQ(deliveries.Count(), 0U);
}

TEST_F(Receiver, UnregistersOneTypeOrAllAndLogsNothing)
{
    MakeClient();
    for (const int type : {1, 2, 3}) receiver->RegisterEventCallback(type, &Deliveries::Callback, &deliveries);
    TakeLog();

    receiver->UnregisterEventCallback(2);
    receiver->UnregisterEventCallback(99);
    EXPECT_THAT(TakeLog(), IsEmpty());
    for (const int type : {1, 2, 3}) EmitAndHandle(type);
    EXPECT_EQ(deliveries.Count(), 2U);
    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:2 not found"));

    TakeLog();
    receiver->UnregisterEventCallback(-1);
    receiver->UnregisterEventCallback(-1);
    EXPECT_THAT(TakeLog(), IsEmpty());
    for (const int type : {1, 2, 3}) EmitAndHandle(type);
    EXPECT_EQ(deliveries.Count(), 2U);
}

TEST_F(Receiver, UnregistersTheTypeMinusOneOnlyTogetherWithAllOthers)
{
    MakeClient();
    receiver->RegisterEventCallback(-1, &Deliveries::Callback, &deliveries);
    receiver->RegisterEventCallback(1, &Deliveries::Callback, &deliveries);

    receiver->UnregisterEventCallback(-1);
    EmitAndHandle(1);

    EXPECT_EQ(deliveries.Count(), 0U);
}

TEST_F(Receiver, TakesANewCallbackAfterTheOldOneWasUnregistered)
{
    MakeClient();
    Deliveries second;
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    receiver->UnregisterEventCallback(5);
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &second);

    EmitAndHandle(5);

    EXPECT_EQ(second.Count(), 1U);
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls and streams

TEST_F(Receiver, AnswersACallThatNobodyHandlesWithTheEmptyText)
{
    MakeService();

    const BusMessage reply = Call(5);

    EXPECT_EQ(reply.signature, "s");
    EXPECT_EQ(reply.text, "");
    EXPECT_THAT(TakeLog(), ElementsAre("E m_MethodCallHandler: Received method call",
                                       std::string("E m_MethodCallHandler: type:5 in str: ") + kEmptyMessage,
                                       "D m_ConvertStreamToEvent: param:UNKNOWN UNKNOWN UNKNOWN",
                                       "E m_ProcessHandleEvent: type:5 not found", "E m_MethodCallHandler: Replying"));
}

TEST_F(Receiver, LogsTheTypeOfACallAsSignedNumber)
{
    MakeService();

    Call(-1, "text");

    EXPECT_TRUE(Logged("E m_MethodCallHandler: type:-1 in str: text"));
    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: type:4294967295 not found"));
}

// Replies with the words that the caller appended.
void Echo(void* prefix, srcwatch_event_s* event)
{
    ReplyOf(event) << static_cast<const char*>(prefix) << event->args[0];
    for (std::string word; RequestOf(event) >> word;) ReplyOf(event) << "," << word;
}

char g_prefix[] = "echo ";

TEST_F(Receiver, AnswersWithWhatTheCallbackWrote)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Echo, g_prefix);

    EXPECT_EQ(Call(5, MessageOf({7}, {}) + "two words\t").text, "echo 7,two,words");
    EXPECT_EQ(Call(5, MessageOf({8}, {})).text, "echo 8");
    EXPECT_EQ(Call(6).text, "");
}

TEST_F(Receiver, AnswersASenderOfTheLibraryInAnotherThread)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Echo, g_prefix);
    std::atomic<bool> isDone{false};
    int result = 0;
    std::stringstream reply;
    std::thread caller([&] {
        CQDEventSender sender(kChannel);
        sender.AppendArgs(7L, 0L, 0L, 0L);
        result = sender.Call(5, std::stringstream("two words"), reply);
        isDone = true;
    });

    EXPECT_TRUE(RunUntil([&] { return isDone.load(); }));
    caller.join();

    EXPECT_EQ(result, 1);
    EXPECT_EQ(reply.str(), "echo 7,two,words");
}

TEST_F(Receiver, AnswersWithValidUtf8WhateverTheCallbackWrote)
{
    MakeService();
    receiver->RegisterEventCallback(
        5, [](void*, srcwatch_event_s* event) { ReplyOf(event) << "a\xff" << '\0' << "b\xe2\x82\xac"; }, nullptr);

    EXPECT_EQ(Call(5).text,
              "a\xef\xbf\xbd\xef\xbf\xbd"
              "b\xe2\x82\xac");
}

TEST_F(Receiver, AnswersWithAMegabyte)
{
    MakeService();
    receiver->RegisterEventCallback(
        5, [](void*, srcwatch_event_s* event) { ReplyOf(event) << std::string(1 << 20, 'r'); }, nullptr);

    EXPECT_EQ(Call(5, std::string(1 << 20, 'q')).text, std::string(1 << 20, 'r'));
}

// Notes what was in the reply stream, and adds to it.
void WriteAndNote(void* notes, srcwatch_event_s* event)
{
    static_cast<std::vector<std::string>*>(notes)->push_back(ReplyOf(event).str());
    ReplyOf(event) << event->args[0];
}

TEST_F(Receiver, KeepsWhatCallbacksOfSignalsWroteUntilTheNextCall)
{
    MakeService();
    std::vector<std::string> notes;
    receiver->RegisterEventCallback(5, &WriteAndNote, &notes);

    EmitAndHandle(5, "1");
    EmitAndHandle(5, "2");
    EmitAndHandle(5, "3");
    EXPECT_EQ(Call(5, "4").text, "4");
    EmitAndHandle(5, "6");

    EXPECT_THAT(notes, ElementsAre("", "1", "12", "", "4"));
}

TEST_F(Receiver, HandsEachMessageAFreshRequestStream)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);

    EmitAndHandle(5, std::string(kEmptyMessage) + "rest one");
    EmitAndHandle(5, kEmptyMessage);

    EXPECT_EQ(deliveries.All()[0].rest, "\trest one");
    EXPECT_EQ(deliveries.All()[1].rest, "\t");
}

TEST_F(Receiver, HasTheSameStreamsForEveryEvent)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);

    EmitAndHandle(5);
    Call(5);

    const std::vector<Delivery> all = deliveries.All();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].event.ptr_args[0], all[1].event.ptr_args[0]);
    EXPECT_EQ(all[0].event.ptr_args[1], all[1].event.ptr_args[1]);
    EXPECT_NE(all[0].event.ptr_args[0], all[0].event.ptr_args[1]);
}

TEST_F(Receiver, LeavesCallsOfOtherMethodsAndObjectsToGdbusWhichRefusesThem)
{
    MakeService();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    GVariant* body = g_variant_ref_sink(g_variant_new("(is)", 5, ""));
    const std::uint32_t otherMethod = peer.Send(kChannelName, kChannelPath, kChannelName, "other", body);
    const std::uint32_t otherPath = peer.Send(kChannelName, "/org/nalto/tv/other", kChannelName, kChannel, body);
    const std::uint32_t otherInterface = peer.Send(kChannelName, kChannelPath, "org.nalto.tv.other", kChannel, body);
    g_variant_unref(body);

    for (const std::uint32_t serial : {otherMethod, otherPath, otherInterface}) {
        BusMessage reply;
        ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
        EXPECT_THAT(reply.error, HasSubstr("org.freedesktop.DBus.Error.Unknown"));
    }
    EXPECT_EQ(deliveries.Count(), 0U);
    EXPECT_THAT(TakeLog(), ElementsAre("E RegisterEventCallback: register eventtype: 5"));
}

TEST_F(Receiver, HandlesTenThousandSignalsAllAndInOrder)
{
    constexpr int kCount = 10000;
    MakeClient();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    std::thread service([] {
        CQDEventSender sender(kChannel);
        for (int i = 0; i < kCount; ++i) sender.SendEvent(5, i, -i, 0);
    });

    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() >= kCount; }, 3 * kDeadline));
    service.join();

    const std::vector<Delivery> all = deliveries.All();
    ASSERT_EQ(all.size(), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; ++i) {
        ASSERT_EQ(all[static_cast<std::size_t>(i)].event.args[0], i);
        ASSERT_EQ(all[static_cast<std::size_t>(i)].event.args[1], -i);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What callbacks may do

struct Inside {
    CQDEventReciever* receiver = nullptr;
    Deliveries* deliveries = nullptr;
    int calls = 0;
};

TEST_F(Receiver, LetsACallbackRemoveItselfAndRegisterOthers)
{
    MakeClient();
    Inside inside{receiver.get(), &deliveries};
    receiver->RegisterEventCallback(
        5,
        [](void* data, srcwatch_event_s* event) {
            auto* self = static_cast<Inside*>(data);
            ++self->calls;
            self->receiver->UnregisterEventCallback(-1);
            self->receiver->RegisterEventCallback(event->type, &Deliveries::Callback, self->deliveries);
            self->receiver->RegisterEventCallback(6, &Deliveries::Callback, self->deliveries);
            event->args[0] = 1;  // the record is still there
        },
        &inside);

    EmitAndHandle(5);
    EmitAndHandle(5);
    EmitAndHandle(6);

    EXPECT_EQ(inside.calls, 1);
    EXPECT_EQ(deliveries.Count(), 2U);
}

TEST_F(Receiver, LetsACallbackSendEventsAndHandlesThemAfterwards)
{
    MakeClient();
    peer.Listen(kChannelName);
    receiver->RegisterEventCallback(
        5,
        [](void*, srcwatch_event_s* event) {
            CQDEventSender(kChannel).SendEvent(6, event->args[0] + 1, 0, 0);
            CQDEventSender(kChannel).IsServiceAvailable();
        },
        nullptr);
    receiver->RegisterEventCallback(6, &Deliveries::Callback, &deliveries);

    Emit(5, "41");

    ASSERT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
    EXPECT_EQ(deliveries.Last().event.args[0], 42);
}

TEST_F(Receiver, OutlivesCallbacksThatThrow)
{
    MakeService();
    receiver->RegisterEventCallback(
        5, [](void*, srcwatch_event_s*) { throw std::runtime_error("thrown on purpose"); }, nullptr);
    receiver->RegisterEventCallback(
        6, [](void*, srcwatch_event_s*) { throw 6; }, nullptr);
    receiver->RegisterEventCallback(7, &Deliveries::Callback, &deliveries);
    TakeLog();

    EmitAndHandle(5);
    EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: Received signal",
                                       "D m_ConvertStreamToEvent: param:UNKNOWN UNKNOWN UNKNOWN",
                                       "E m_ProcessHandleEvent: Exception Handled by m_ProcessHandleEvent: thrown on "
                                       "purpose",
                                       "D m_SignalHandler: signal end"));
    EXPECT_EQ(Call(6).text, "");
    EXPECT_TRUE(Logged("E m_ProcessHandleEvent: Exception Handled by m_ProcessHandleEvent: unknown exception"));

    std::thread([this] { receiver->UnregisterEventCallback(5); }).join();  // no lock is left held
    EmitAndHandle(7);
    EXPECT_EQ(deliveries.Count(), 1U);
}

void DeleteReceiver(void* data, srcwatch_event_s*) { static_cast<std::unique_ptr<CQDEventReciever>*>(data)->reset(); }

TEST_F(Receiver, MayBeDeletedByACallbackOfASignal)
{
    MakeClient();
    receiver->RegisterEventCallback(5, &DeleteReceiver, &receiver);
    TakeLog();

    Emit(5);
    Emit(5);

    ASSERT_TRUE(RunUntil([this] { return receiver == nullptr; }));
    peer.Sync();
    EXPECT_EQ(TakeLog().back(), "D m_SignalHandler: signal end");
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(Receiver, MayBeDeletedByACallbackOfACallWhichIsStillAnswered)
{
    MakeService();
    receiver->RegisterEventCallback(5, &DeleteReceiver, &receiver);

    EXPECT_EQ(Call(5).signature, "s");

    EXPECT_EQ(receiver, nullptr);
    EXPECT_EQ(TakeLog().back(), "E m_MethodCallHandler: Replying");
}

// Runs the main loop inside itself until the number behind data has grown.
void RunNestedLoop(void* data, srcwatch_event_s*)
{
    const auto* inside = static_cast<Inside*>(data);
    EXPECT_TRUE(RunUntil([inside] { return inside->deliveries->Count() > 0; }));
}

TEST_F(Receiver, LetsACallbackRunTheMainLoop)
{
    MakeClient();
    Inside inside{receiver.get(), &deliveries};
    receiver->RegisterEventCallback(5, &RunNestedLoop, &inside);
    receiver->RegisterEventCallback(6, &Deliveries::Callback, &deliveries);
    Emit(5, "5");
    Emit(6, "6");

    ASSERT_TRUE(RunUntil([this] { return TimesLogged("D m_SignalHandler: signal end") == 2; }));

    EXPECT_EQ(deliveries.Last().event.args[0], 6);
    EmitAndHandle(6, "7");
    EXPECT_EQ(deliveries.Last().event.args[0], 7);
}

TEST_F(Receiver, MayBeDeletedInAMainLoopThatACallbackRuns)
{
    MakeClient();
    receiver->RegisterEventCallback(
        5,
        [](void* data, srcwatch_event_s*) {
            const auto* self = static_cast<std::unique_ptr<CQDEventReciever>*>(data);
            EXPECT_TRUE(RunUntil([self] { return *self == nullptr; }));
        },
        &receiver);
    receiver->RegisterEventCallback(6, &DeleteReceiver, &receiver);
    Emit(5);
    Emit(6);

    ASSERT_TRUE(RunUntil([this] { return receiver == nullptr; }));

    const std::vector<std::string> log = TakeLog();
    ASSERT_GE(log.size(), 3U);  // the inner signal and the outer one end after the receiver
    EXPECT_THAT(std::vector<std::string>(log.end() - 3, log.end()),
                ElementsAre(kEnd, "D m_SignalHandler: signal end", "D m_SignalHandler: signal end"));
}

// ---------------------------------------------------------------------------------------------------------------------
// Its end

TEST_F(Receiver, OfAServiceEndsBeforeAnyMainLoopRan)
{
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    TakeLog();
    receiver.reset();

    EXPECT_THAT(TakeLog(), ElementsAre(kEmptyTable, kEnd));
    peer.Sync();
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(peer.OwnerOf(kChannelName), "");
}

TEST_F(Receiver, OfAServiceEndsAfterAnyNumberOfTurnsOfTheMainLoop)
{
    for (int turns = 0; turns < 40; ++turns) {
        receiver = std::make_unique<CQDEventReciever>(kChannel, true);
        for (int turn = 0; turn < turns; ++turn) g_main_context_iteration(nullptr, FALSE);
        receiver.reset();
        EXPECT_EQ(TakeLog().back(), kEnd);
    }
    MakeService();
    EXPECT_EQ(Call(5).signature, "s");
}

TEST_F(Receiver, EndsAfterTheBusDied)
{
    for (const bool isService : {false, true}) {
        TheBus().Restart();
        receiver = std::make_unique<CQDEventReciever>(kChannel, isService);
        if (isService) {
            ASSERT_TRUE(RunUntilNameAcquired());
        }
        TheBus().Kill();

        receiver.reset();

        EXPECT_EQ(TakeLog().back(), kEnd);
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }
}

TEST_F(Receiver, OfAServiceEndsAfterItWasToldThatTheBusDied)
{
    MakeService();
    TheBus().Kill();
    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    TakeLog();

    receiver.reset();

    EXPECT_EQ(TakeLog().back(), kEnd);
    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

std::size_t CountNames(BusPeer& peer)
{
    const Variant reply = peer.AskBus("ListNames", nullptr);
    const Variant names(g_variant_get_child_value(reply.get(), 0));
    return g_variant_n_children(names.get());
}

TEST_F(Receiver, OfAServiceSurvivesABusThatDiedBeforeTheMainLoopRan)
{
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(WaitUntil([this] { return CountNames(peer) >= 3; }));  // the bus, the peer, the service's connection
    TheBus().Kill();

    EXPECT_TRUE(RunUntil([this] { return Logged(kNameLost); }));  // and the process lives
}

TEST_F(Receiver, EndsWithSignalsStillInTheQueue)
{
    for (int round = 0; round < 20; ++round) {
        MakeClient();
        receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
        for (int i = 0; i < 20; ++i) Emit(5);
        SyncSharedConnection();
        for (int turn = 0; turn < round; ++turn) g_main_context_iteration(nullptr, FALSE);

        receiver.reset();
        const std::size_t count = deliveries.Count();
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }

        EXPECT_EQ(deliveries.Count(), count);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Other main contexts

class ContextThread {
public:
    ContextThread() : m_context(g_main_context_new()) {}
    ContextThread(const ContextThread&) = delete;
    ContextThread& operator=(const ContextThread&) = delete;
    ~ContextThread() { g_main_context_unref(m_context); }

    // Runs body in another thread, whose thread-default context is one of its own.
    void Run(const std::function<void(GMainContext*)>& body)
    {
        std::thread([this, &body] {
            g_main_context_push_thread_default(m_context);
            body(m_context);
            while (g_main_context_iteration(m_context, FALSE) != FALSE) {
            }
            g_main_context_pop_thread_default(m_context);
        }).join();
    }

private:
    GMainContext* m_context;
};

TEST_F(BusTest, AReceiverLivesWhollyInTheMainContextOfItsThread)
{
    BusPeer peer;
    for (const bool isService : {false, true}) {
        ContextThread().Run([&](GMainContext* context) {
            Deliveries deliveries;
            const auto self = std::this_thread::get_id();
            static std::thread::id calledIn;
            CQDEventReciever receiver(kChannel, isService);
            receiver.RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
            receiver.RegisterEventCallback(
                6, [](void*, srcwatch_event_s*) { calledIn = std::this_thread::get_id(); }, nullptr);
            if (isService) {
                EXPECT_TRUE(RunUntil([&] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }, kDeadline,
                                     context));
            } else {
                SyncSharedConnection();
            }

            peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 6, ""));
            peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, ""));

            EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }, kDeadline, context));
            EXPECT_EQ(calledIn, self);
        });
    }
}

TEST_F(BusTest, AReceiverOfAThreadEndsThereAfterItsBusDied)
{
    ContextThread().Run([this](GMainContext* context) {
        auto service = std::make_unique<CQDEventReciever>(kChannel, true);
        EXPECT_TRUE(
            RunUntil([this] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }, kDeadline, context));
        TheBus().Kill();
        // GLib tells of the end in the context in which the process's shared connection was made, whosever that was.
        EXPECT_TRUE(RunUntil(
            [this] {
                g_main_context_iteration(nullptr, FALSE);
                return Logged(kNameLost);
            },
            kDeadline, context));
        service.reset();
    });

    EXPECT_EQ(TakeLog().back(), kEnd);
}

TEST_F(BusTest, AReceiverMayEndInAnotherThreadThanThatOfItsContext)
{
    auto client = std::make_unique<CQDEventReciever>(kChannel, false);
    auto service = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntilNameAcquired());

    std::thread([&] {
        client.reset();
        service.reset();
    }).join();
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }

    EXPECT_EQ(BusPeer().OwnerOf(kChannelName), "");
}

}  // namespace
