// SPDX-License-Identifier: Apache-2.0
//
// The receiver: calls, streams, and what callbacks may do.
#include "ReceiverTest.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// Calls and streams

TEST_F(Receiver, AnswersACallWithoutCallbackWithTheEmptyText)
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

TEST_F(Receiver, AnswersWithValidUtf8AfterAnyText)
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

// Stores what was in the reply stream, and adds to it.
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

TEST_F(Receiver, LeavesCallsOfOtherMethodsAndObjectsToGdbus)
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

    EXPECT_TRUE(RunUntil([this] { return deliveries.Count() >= kCount; }, 10 * kDeadline));
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

TEST_F(Receiver, SurvivesCallbacksThatThrow)
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
    RunPending();
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

}  // namespace
