// SPDX-License-Identifier: Apache-2.0
//
// The receiver in both modes: names, description, and the table of callbacks.
#include "ReceiverTest.h"

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::uint32_t kAllowReplacement = 1;
constexpr std::uint32_t kReplaceExisting = 2;
constexpr std::uint32_t kPrimaryOwner = 1;

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
    EndBus();

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

TEST_F(Receiver, OfAServiceGetsItsNameBackFromTheOther)
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
    EndBus();
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);

    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));

    EXPECT_THAT(TakeLog().back(), MatchesRegex("E m_Connect: Couldn't connect to DBus bus: '.+'"));
}

TEST_F(Receiver, OfAServiceLeavesNothingExportedAndASecondOneWorks)
{
    MakeService();
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);  // stays open
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

TEST_F(Receiver, OfAServiceMayRunBesideClientsOfTheProcess)
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

TEST_F(Receiver, LogsAnUnknownTypeAsUnsignedNumber)
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

TEST_F(Receiver, UnregistersTypeMinusOneOnlyWithAllOthers)
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

}  // namespace
