// SPDX-License-Identifier: Apache-2.0
//
// What the event channel asks of GIO, and what its handlers do with what GIO never passes: null pointers, other
// methods, bodies that do not match the description of the exported object.
#include "BusTest.h"
#include "GioProbe.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::IsEmpty;

class GioCalls : public BusTest {
protected:
    GioCalls() { TheGioProbe() = GioProbe(); }
    void TearDown() override { TheGioProbe() = GioProbe(); }

    GioProbe& probe = TheGioProbe();
};

// ---------------------------------------------------------------------------------------------------------------------
// What is asked for

TEST_F(GioCalls, OfASignalAreOneBroadcastAndOneFlushAtTheEnd)
{
    {
        CQDEventSender sender(kChannel);
        sender.SendEvent(1);
        sender.SendSignal(2);
    }

    const std::string emission = "emit_signal - /org/nalto/tv/qdinfo org.nalto.tv.qdinfo qdinfo (is)";
    EXPECT_THAT(probe.calls, ElementsAre(emission, emission, "flush"));
}

TEST_F(GioCalls, OfASenderThatSentNothingHaveNoFlush)
{
    {
        CQDEventSender sender(kChannel);
        sender.IsServiceAvailable();
        CQDEventSender("a b").SendEvent(1);  // refused
    }

    for (const std::string& call : probe.calls) EXPECT_NE(call, "flush");
}

TEST_F(GioCalls, OfACallAreTheProxyOnceAndFiveSecondsEach)
{
    CQDEventSender sender(kChannel);

    sender.Call(1);
    sender.Call(2);

    EXPECT_THAT(probe.calls, ElementsAre("proxy_new 0 - org.nalto.tv.qdinfo /org/nalto/tv/qdinfo org.nalto.tv.qdinfo -",
                                         "proxy_call qdinfo (is) 0 5000 -", "proxy_call qdinfo (is) 0 5000 -"));
}

TEST_F(GioCalls, OfTheQuestionForTheServiceAreOneToTheBus)
{
    CQDEventSender(kChannel).IsServiceAvailable();

    EXPECT_THAT(probe.calls, ElementsAre("call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus "
                                         "NameHasOwner (s) (b) 0 5000 -"));
}

constexpr char kSubscription[] = "signal_subscribe - org.nalto.tv.qdinfo qdinfo /org/nalto/tv/qdinfo - 0 -";

TEST_F(GioCalls, OfAClientAreOneSubscriptionAndItsEnd)
{
    {
        const CQDEventReciever client(kChannel, false);
    }

    EXPECT_THAT(probe.calls, ElementsAre(kSubscription, "signal_unsubscribe"));
}

TEST_F(GioCalls, OfAServiceAreNameObjectAndSubscription)
{
    {
        const CQDEventReciever service(kChannel, true);
        EXPECT_THAT(probe.calls, ElementsAre("own_name 1 org.nalto.tv.qdinfo 3 -"));
        probe.calls.clear();
        ASSERT_TRUE(RunUntil([this] { return probe.calls.size() >= 4; }));
        EXPECT_THAT(
            probe.calls,
            ElementsAre("register_object /org/nalto/tv/qdinfo org.nalto.tv.qdinfo - receiver - -", kSubscription,
                        "emit_signal - /org/nalto/tv/qdinfo org.nalto.tv.qdinfo qdinfo (is)", "flush"));
        probe.calls.clear();
    }

    EXPECT_THAT(probe.calls, ElementsAre("signal_unsubscribe", "unregister_object", "unown_name"));
}

TEST_F(GioCalls, OfAServiceBeforeTheMainLoopAreTheNameOnly)
{
    {
        const CQDEventReciever service(kChannel, true);
    }

    EXPECT_THAT(probe.calls, ElementsAre("own_name 1 org.nalto.tv.qdinfo 3 -", "unown_name"));
}

// ---------------------------------------------------------------------------------------------------------------------
// What GIO refuses

// Another thread ends the receiver between the look-up by its handler and the registration of the object. It gives up
// the name when GIO has asked for it: GIO itself is not prepared for that between the handler and this question.
TEST_F(GioCalls, OfAServiceThatEndsMeanwhileLeaveNothing)
{
    auto service = std::make_unique<CQDEventReciever>(kChannel, true);
    std::atomic<bool> isDispatching{false};
    std::atomic<bool> hasEnded{false};
    std::thread end;
    probe.beforeUnownName = [&] { EXPECT_TRUE(WaitUntil([&] { return !isDispatching.load(); })); };
    probe.beforeRegisterObject = [&] {
        isDispatching = true;
        end = std::thread([&] {
            service.reset();
            hasEnded = true;
        });
        EXPECT_FALSE(WaitUntil([&] { return hasEnded.load(); }, std::chrono::milliseconds(300)));
    };

    EXPECT_TRUE(RunUntil([&] {
        isDispatching = false;  // between two iterations of the main loop
        return hasEnded.load();
    }));

    end.join();
    EXPECT_EQ(std::count(probe.calls.begin(), probe.calls.end(), "unregister_object"), 1);
    EXPECT_EQ(std::count(probe.calls.begin(), probe.calls.end(), "signal_unsubscribe"), 1);
    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

TEST_F(GioCalls, ThatRefuseTheSubscriptionOfAClientAreLogged)
{
    probe.failSubscribe = true;
    {
        const CQDEventReciever client(kChannel, false);
    }

    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_RegisterQDInfoClientEvent: ") + kChannelLine,
                                       "E m_RegisterQDInfoClientEvent: xxxxx2 g_dbus_connection_signal_subscribe :0",
                                       "E m_RegisterQDInfoClientEvent: Assertion failed",
                                       "E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"));
    EXPECT_THAT(probe.calls, ElementsAre(kSubscription));
}

TEST_F(GioCalls, ThatRefuseASubscriptionLeaveAServiceThatAnswers)
{
    probe.failSubscribe = true;
    const CQDEventReciever service(kChannel, true);
    TakeLog();
    ASSERT_TRUE(RunUntilNameAcquired());

    const std::vector<std::string> log = TakeLog();
    ASSERT_GE(log.size(), 3U);
    EXPECT_EQ(log[0], std::string("E m_BusAcquiredHandler: ") + kChannelLine);
    EXPECT_EQ(log[1], "E m_BusAcquiredHandler: Subscribing for signal failed");
    EXPECT_EQ(log[2], "E m_BusAcquiredHandler: xxxxx g_dbus_connection_signal_subscribe : org.nalto.tv.qdinfo, 0");
    BusPeer peer;
    const std::uint32_t serial =
        peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 1, ""));
    EXPECT_TRUE(RunUntil([&] { return peer.ReplyTo(serial); }));
}

TEST_F(GioCalls, ThatRefuseTheObjectAreLoggedAndNothingIsSubscribed)
{
    probe.failRegisterObject = true;
    {
        const CQDEventReciever service(kChannel, true);
        TakeLog();
        ASSERT_TRUE(RunUntilNameAcquired());

        const std::vector<std::string> log = TakeLog();
        ASSERT_GE(log.size(), 3U);
        EXPECT_EQ(log[0], std::string("E m_BusAcquiredHandler: ") + kChannelLine);
        EXPECT_EQ(log[1], "E m_BusAcquiredHandler: Assertion failed");
        EXPECT_EQ(log[2], "E m_NameAcquiredHandler: Registered on DBus");
        for (const std::string& call : probe.calls) EXPECT_NE(call, kSubscription);
    }

    EXPECT_THAT(TakeLog(), ElementsAre("E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"));
}

TEST_F(GioCalls, ThatRefuseTheNameAreLogged)
{
    probe.failOwnName = true;
    const CQDEventReciever service(kChannel, true);

    EXPECT_EQ(TakeLog().back(), "E m_RegisterQDInfoServiceEvent: Assertion failed");
}

// ---------------------------------------------------------------------------------------------------------------------
// The handlers

class Handlers : public GioCalls {
protected:
    Handlers()
    {
        service->RegisterEventCallback(1, &Deliveries::Callback, &deliveries);
        EXPECT_TRUE(RunUntilNameAcquired());
        EXPECT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
        TakeLog();
    }

    std::uint32_t Call(int type, const char* text)
    {
        return peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, text));
    }

    std::unique_ptr<CQDEventReciever> service = std::make_unique<CQDEventReciever>(kChannel, true);
    Deliveries deliveries;
    BusPeer peer;
};

TEST_F(Handlers, LogAFailedPreconditionWithoutAReceiver)
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);

    probe.busAcquired(connection, kChannelName, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_BusAcquiredHandler: Assertion failed"));
    probe.busAcquired(nullptr, kChannelName, service.get());
    EXPECT_THAT(TakeLog(), ElementsAre("E m_BusAcquiredHandler: Assertion failed"));
    probe.nameAcquired(connection, kChannelName, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_NameAcquiredHandler: Registered on DBus",
                                       "E m_NameAcquiredHandler: Assertion failed"));
    probe.nameLost(connection, kChannelName, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_NameLostHandler: HANDLER: name_lost_handler",
                                       "E m_NameLostHandler: Assertion failed"));
    probe.signal(connection, ":1.1", kChannelPath, kChannelName, kChannel, nullptr, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_SignalHandler: Assertion failed"));
    probe.methodCall(connection, ":1.1", kChannelPath, kChannelName, kChannel, nullptr, nullptr, nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_MethodCallHandler: Assertion failed"));

    g_object_unref(connection);
}

TEST_F(Handlers, LogAFailedPreconditionWithoutABody)
{
    probe.signal(nullptr, ":1.1", kChannelPath, kChannelName, kChannel, nullptr, service.get());

    EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: Received signal", "E m_SignalHandler: Assertion failed"));
    probe.methodCall(nullptr, ":1.1", kChannelPath, kChannelName, kChannel, nullptr, nullptr, service.get());
    EXPECT_THAT(TakeLog(),
                ElementsAre("E m_MethodCallHandler: Received method call", "E m_MethodCallHandler: Assertion failed"));
}

TEST_F(Handlers, IgnoreTheNamesOfASignal)
{
    const Variant body(g_variant_ref_sink(g_variant_new("(is)", 1, "5")));

    probe.signal(nullptr, nullptr, nullptr, nullptr, nullptr, body.get(), service.get());

    ASSERT_EQ(deliveries.Count(), 1U);
    EXPECT_EQ(deliveries.Last().event.args[0], 5);
}

TEST_F(Handlers, IgnoreAReceiverThatIsGone)
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    void* gone = service.get();
    service.reset();
    TakeLog();
    const Variant body(g_variant_ref_sink(g_variant_new("(is)", 1, "")));

    probe.signal(connection, ":1.1", kChannelPath, kChannelName, kChannel, body.get(), gone);
    probe.methodCall(connection, ":1.1", kChannelPath, kChannelName, kChannel, body.get(), nullptr, gone);
    probe.busAcquired(connection, kChannelName, gone);
    EXPECT_THAT(TakeLog(), IsEmpty());
    probe.nameAcquired(connection, kChannelName, gone);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_NameAcquiredHandler: Registered on DBus"));
    probe.nameLost(connection, kChannelName, gone);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_NameLostHandler: HANDLER: name_lost_handler"));

    EXPECT_EQ(deliveries.Count(), 0U);
    g_object_unref(connection);
}

TEST_F(Handlers, LeaveACallOfAnotherMethodWithoutAReply)
{
    probe.method = "other";
    const std::uint32_t other = Call(1, "");
    ASSERT_TRUE(RunUntil([this] { return probe.methodCalls == 1; }));
    probe.method = nullptr;
    const std::uint32_t ours = Call(1, "");
    ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(ours); }));

    EXPECT_FALSE(peer.ReplyTo(other));
    EXPECT_EQ(deliveries.Count(), 1U);
    EXPECT_EQ(TimesLogged("E m_MethodCallHandler: Received method call"), 1U);
}

TEST_F(Handlers, LeaveACallWithAnotherBodyWithoutAReply)
{
    probe.body = [] { return g_variant_new("(si)", "text", 1); };
    const std::uint32_t bad = Call(1, "");
    ASSERT_TRUE(RunUntil([this] { return probe.methodCalls == 1; }));
    EXPECT_THAT(TakeLog(),
                ElementsAre("E m_MethodCallHandler: Received method call", "E m_MethodCallHandler: Assertion failed"));
    probe.body = nullptr;
    const std::uint32_t good = Call(1, "");
    ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(good); }));

    EXPECT_FALSE(peer.ReplyTo(bad));
    EXPECT_EQ(deliveries.Count(), 1U);
}

// ---------------------------------------------------------------------------------------------------------------------
// The end of a connection

// The connection of a service may lose its last reference in another thread at any time: here, between the look at it
// and its use.
TEST_F(Handlers, KeepTheBorrowedConnectionWhileItIsReleased)
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    TheBus().Kill();
    ASSERT_TRUE(RunUntil([this] { return Logged("E m_NameLostHandler: HANDLER: name_lost_handler"); }));
    RunPending();
    ASSERT_TRUE(WaitUntil([connection] { return G_OBJECT(connection)->ref_count == 1; }));
    bool isFinalized = false;
    g_object_weak_ref(
        G_OBJECT(connection), [](void* flag, GObject*) { *static_cast<bool*>(flag) = true; }, &isFinalized);
    bool wasFinalizedBeforeUse = false;
    probe.beforeUnsubscribe = [&] {
        g_object_unref(connection);
        wasFinalizedBeforeUse = isFinalized;
    };

    service.reset();

    EXPECT_FALSE(wasFinalizedBeforeUse);
    EXPECT_TRUE(isFinalized);
    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

}  // namespace
