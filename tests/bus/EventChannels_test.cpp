// SPDX-License-Identifier: Apache-2.0
//
// Channels with other names than the library's own: all that is on the bus and in the log follows the name.
#include "BusTest.h"

#include <atomic>
#include <memory>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr char kOther[] = "other_Channel2";
constexpr char kOtherName[] = "org.nalto.tv.other_Channel2";
constexpr char kOtherPath[] = "/org/nalto/tv/other_Channel2";
constexpr char kOtherLine[] = "/org/nalto/tv/other_Channel2 org.nalto.tv.other_Channel2";

class Channels : public BusTest {
protected:
    void MakeService(const char* channel = kOther)
    {
        service = std::make_unique<CQDEventReciever>(channel, true);
        service->RegisterEventCallback(5, &Deliveries::Callback, &ofService);
        ASSERT_TRUE(RunUntilNameAcquired());
        ASSERT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
    }

    int CallInAnotherThread(const char* channel, std::stringstream& reply)
    {
        int result = -1;
        std::atomic<bool> isDone{false};
        std::thread caller([&] {
            result = CQDEventSender(channel).Call(5, std::stringstream("extra"), reply);
            isDone = true;
        });
        EXPECT_TRUE(RunUntil([&] { return isDone.load(); }));
        caller.join();
        return result;
    }

    BusPeer peer;
    std::unique_ptr<CQDEventReciever> service;
    Deliveries ofService;
};

TEST_F(Channels, OfAServiceAreNamedOnTheBusAndInTheLog)
{
    peer.Listen(kOtherName);

    MakeService();
    const std::vector<std::string> begin = TakeLog();
    EXPECT_NE(peer.OwnerOf(kOtherName), "");
    EXPECT_EQ(peer.OwnerOf(kChannelName), "");
    service.reset();

    EXPECT_THAT(
        begin,
        ElementsAre(
            std::string("E m_RegisterQDInfoServiceEvent: ") + kOtherLine,
            "E m_RegisterQDInfoServiceEvent: interface xml : "
            "<node name='/org/nalto/tv/other_Channel2'>\t <interface "
            "name='org.nalto.tv.other_Channel2'>\t     <method "
            "name='other_Channel2'>\t         <arg type='i' name='type' direction='in'/>\t         "
            "<arg type='s' name='messagein' direction='in'/>\t         <arg type='s' "
            "name='messageout' direction='out'/>\t     </method>\t </interface></node>",
            "E RegisterEventCallback: register eventtype: 5", std::string("E m_BusAcquiredHandler: ") + kOtherLine,
            MatchesRegex("E m_BusAcquiredHandler: xxxxx g_dbus_connection_signal_subscribe : "
                         "org.nalto.tv.other_Channel2, [1-9][0-9]*"),
            "E m_NameAcquiredHandler: Registered on DBus", std::string("D m_SendExternalEvent: ") + kOtherLine,
            "D m_ConvertEventToStream: UNKNOWN UNKNOWN UNKNOWN", "D m_SendExternalEvent: Send external event success",
            "D m_SignalHandler: Received signal", "D m_ConvertStreamToEvent: param:UNKNOWN UNKNOWN UNKNOWN",
            "E m_ProcessHandleEvent: type:4100 not found", "D m_SignalHandler: signal end"));
}

TEST_F(Channels, OfAClientAreNamedInTheLog)
{
    const CQDEventReciever client(kOther, false);

    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_RegisterQDInfoClientEvent: ") + kOtherLine,
                                       MatchesRegex("E m_RegisterQDInfoClientEvent: xxxxx2 "
                                                    "g_dbus_connection_signal_subscribe :[1-9][0-9]*")));
}

TEST_F(Channels, OfASenderAreNamedInTheLog)
{
    CQDEventSender sender(kOther);

    sender.SendSignal(1);
    EXPECT_EQ(TakeLog().at(0), std::string("E m_SendSignal: ") + kOtherLine);
    sender.Call(1);
    EXPECT_EQ(TakeLog().at(0), std::string("E m_GetProxy: ") + kOtherLine);
    sender.IsServiceAvailable();
    EXPECT_EQ(TakeLog().at(0), std::string("E IsServiceAvailable: ") + kOtherName);
}

TEST_F(Channels, AnnounceTheServiceOnTheirOwn)
{
    peer.Listen(kOtherName);
    peer.Listen(kChannelName);
    MakeService();

    constexpr std::uint32_t kReplaceExisting = 2;
    peer.RequestName(kOtherName, kReplaceExisting);
    ASSERT_TRUE(RunUntil([this] { return Logged("E m_NameLostHandler: HANDLER: name_lost_handler"); }));

    const std::vector<BusMessage> signals = peer.WaitForSignals(2);
    ASSERT_EQ(signals.size(), 2U);
    for (const BusMessage& signal : signals) {
        EXPECT_EQ(signal.path, kOtherPath);
        EXPECT_EQ(signal.interface, kOtherName);
        EXPECT_EQ(signal.member, kOther);
        EXPECT_EQ(signal.text, kEmptyMessage);
    }
    EXPECT_EQ(signals[0].type, SRCWATCH_EVENT_SERVICE_STARTED);
    EXPECT_EQ(signals[1].type, SRCWATCH_EVENT_SERVICE_STOPPED);
}

TEST_F(Channels, CarryEverySendUnderTheirNames)
{
    peer.Listen(kOtherName);
    CQDEventSender sender(kOther);

    sender.SendEvent(1);
    sender.SendSignal(2);

    for (const BusMessage& signal : peer.WaitForSignals(2)) {
        EXPECT_EQ(signal.path, kOtherPath);
        EXPECT_EQ(signal.interface, kOtherName);
        EXPECT_EQ(signal.member, kOther);
    }
    EXPECT_EQ(peer.Signals().size(), 2U);
}

TEST_F(Channels, CarryCallsUnderTheirNames)
{
    peer.AnswerWith([](const BusMessage& call) {
        return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : g_variant_new("(s)", "reply");
    });
    ASSERT_EQ(peer.RequestName(kOtherName), 1U);
    CQDEventSender sender(kOther);

    EXPECT_EQ(sender.Call(5), 1);
    EXPECT_EQ(sender.IsServiceAvailable(), 1);

    const BusMessage call = peer.Calls().back();
    EXPECT_EQ(call.path, kOtherPath);
    EXPECT_EQ(call.interface, kOtherName);
    EXPECT_EQ(call.member, kOther);
    EXPECT_EQ(CQDEventSender(kChannel).IsServiceAvailable(), 0);
}

TEST_F(Channels, AnswerCalls)
{
    MakeService();
    service->RegisterEventCallback(
        6, [](void*, srcwatch_event_s*) {}, nullptr);
    service->UnregisterEventCallback(5);
    service->RegisterEventCallback(
        5,
        [](void*, srcwatch_event_s* event) {
            std::string word;
            RequestOf(event) >> word;
            ReplyOf(event) << "answer to " << word;
        },
        nullptr);
    std::stringstream reply;

    EXPECT_EQ(CallInAnotherThread(kOther, reply), 1);
    EXPECT_EQ(reply.str(), "answer to extra");

    EXPECT_EQ(CallInAnotherThread(kChannel, reply), 0);  // the name has no owner
    EXPECT_EQ(reply.str(), "answer to extra");
}

TEST_F(Channels, DoNotHearEachOther)
{
    MakeService();
    Deliveries ofClient;
    CQDEventReciever client(kChannel, false);
    client.RegisterEventCallback(5, &Deliveries::Callback, &ofClient);
    client.RegisterEventCallback(6, &Deliveries::Callback, &ofClient);
    service->RegisterEventCallback(6, &Deliveries::Callback, &ofService);
    SyncSharedConnection();

    CQDEventSender(kOther).SendEvent(5, 1, 0, 0);
    CQDEventSender(kChannel).SendEvent(5, 2, 0, 0);
    for (const char* channel : {kOther, kChannel}) CQDEventSender(channel).SendEvent(6);

    ASSERT_TRUE(RunUntil([&] { return ofService.Last().event.type == 6 && ofClient.Last().event.type == 6; }));
    ASSERT_EQ(ofService.Count(), 2U);
    EXPECT_EQ(ofService.All()[0].event.args[0], 1);
    ASSERT_EQ(ofClient.Count(), 2U);
    EXPECT_EQ(ofClient.All()[0].event.args[0], 2);
}

TEST_F(Channels, MayHaveAServiceEachInOneProcess)
{
    MakeService();
    Deliveries ofOwn;
    CQDEventReciever own(kChannel, true);
    own.RegisterEventCallback(5, &Deliveries::Callback, &ofOwn);
    ASSERT_TRUE(RunUntilNameAcquired(2));
    std::stringstream reply;

    EXPECT_EQ(CallInAnotherThread(kOther, reply), 1);
    EXPECT_EQ(ofService.Count(), 1U);
    EXPECT_EQ(ofOwn.Count(), 0U);
    EXPECT_EQ(CallInAnotherThread(kChannel, reply), 1);
    EXPECT_EQ(ofService.Count(), 1U);
    EXPECT_EQ(ofOwn.Count(), 1U);
}

// ---------------------------------------------------------------------------------------------------------------------
// Long names

constexpr std::size_t kBufferSize = 2048;  // of the description, with its terminator

// Without the name, which is in it three times.
constexpr std::size_t kDescriptionSize =
    sizeof(
        "<node name='/org/nalto/tv/'>\t <interface name='org.nalto.tv.'>\t     <method name=''>"
        "\t         <arg type='i' name='type' direction='in'/>"
        "\t         <arg type='s' name='messagein' direction='in'/>"
        "\t         <arg type='s' name='messageout' direction='out'/>"
        "\t     </method>\t </interface></node>") -
    1;
constexpr std::size_t kLongest = (kBufferSize - 1 - kDescriptionSize) / 3;

TEST_F(Channels, WithTheLongestNameOfABusAreOwnedAndAnswer)
{
    const std::string channel(255 - std::string(kOtherName).size() + std::string(kOther).size(), 'n');
    MakeService(channel.c_str());
    std::stringstream reply;

    EXPECT_EQ(CallInAnotherThread(channel.c_str(), reply), 1);

    EXPECT_EQ(ofService.Count(), 1U);
    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

TEST_F(Channels, WithALongerNameAreRefusedByGlib)
{
    for (const std::size_t length : {std::size_t{256}, kLongest}) {
        TakeLog();
        const CQDEventReciever receiver(std::string(length, 'n'), true);

        const std::vector<std::string> log = TakeLog();
        ASSERT_EQ(log.size(), 3U);
        EXPECT_THAT(log[1], testing::EndsWith("</node>"));
        EXPECT_EQ(log[2], "E m_RegisterQDInfoServiceEvent: Assertion failed");
        EXPECT_THAT(TakeGlibMessages(), ElementsAre(testing::HasSubstr("g_bus_own_name")));
    }
}

TEST_F(Channels, WhoseDescriptionWouldBeCutAreNotAskedFor)
{
    for (const std::size_t length : {kLongest + 1, std::size_t{2000}, std::size_t{100000}}) {
        {
            const CQDEventReciever receiver(std::string(length, 'n'), true);

            const std::vector<std::string> log = TakeLog();
            ASSERT_EQ(log.size(), 3U);
            EXPECT_EQ(log[1].size(),
                      std::string("E m_RegisterQDInfoServiceEvent: interface xml : ").size() + kBufferSize - 1);
            EXPECT_EQ(log[2], "E m_RegisterQDInfoServiceEvent: Assertion failed");
        }
        EXPECT_THAT(TakeGlibMessages(), IsEmpty()) << length;
        EXPECT_THAT(TakeLog(), ElementsAre("E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// A name that is a bus name and an interface, but neither a path nor a member

TEST_F(Channels, WithADotInTheNameAreOwnedButCarryNothing)
{
    const std::string channel = "other.channel";
    peer.Listen("org.nalto.tv." + channel);
    Deliveries deliveries;
    {
        CQDEventReciever receiver(channel, true);
        CQDEventReciever client(channel, false);
        EXPECT_EQ(TakeLog().back(), "E m_RegisterQDInfoClientEvent: Assertion failed");
        for (CQDEventReciever* each : {&receiver, &client}) {
            each->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
        }
        ASSERT_TRUE(RunUntilNameAcquired());
        EXPECT_TRUE(Logged("E m_BusAcquiredHandler: Assertion failed"));
        EXPECT_NE(peer.OwnerOf("org.nalto.tv." + channel), "");

        CQDEventSender sender(channel);
        EXPECT_EQ(sender.IsServiceAvailable(), 1);
        EXPECT_EQ(sender.SendSignal(5), 0);
        EXPECT_EQ(TakeLog().back(), "E m_SendSignal: Error while sending signal: 'invalid argument'");
        EXPECT_EQ(sender.Call(5), 0);
    }

    peer.Sync();
    EXPECT_THAT(peer.Signals(), IsEmpty());
    EXPECT_EQ(deliveries.Count(), 0U);
    EXPECT_EQ(peer.OwnerOf("org.nalto.tv." + channel), "");
}

}  // namespace
