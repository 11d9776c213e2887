// SPDX-License-Identifier: Apache-2.0
//
// The end of a receiver while its handlers run: it comes at once, also while another thread is in a handler, and what a
// handler uses stays until the handler leaves.
#include "BusTest.h"
#include "Held.h"

#include <memory>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr char kEmptyTable[] = "E ~CQDEventReciever: m_EventCallbackTable";
constexpr char kEnd[] = "E ~CQDEventReciever: end";
constexpr char kNameLost[] = "E m_NameLostHandler: HANDLER: name_lost_handler";
constexpr char kSignalEnd[] = "D m_SignalHandler: signal end";

class End : public BusTest {
protected:
    void Emit(int type, const std::string& message = kEmptyMessage)
    {
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, message.c_str()));
    }

    std::uint32_t Call(int type, const std::string& message = kEmptyMessage)
    {
        return peer.Send(kChannelName, kChannelPath, kChannelName, kChannel,
                         g_variant_new("(is)", type, message.c_str()));
    }

    Watchdog watchdog;
    BusPeer peer;
    std::unique_ptr<CQDEventReciever> receiver;
};

// ---------------------------------------------------------------------------------------------------------------------
// Inside a callback

struct Deletion {
    std::unique_ptr<CQDEventReciever>& receiver;
    std::vector<std::string> logOfDeletion{};
    std::string rest{};

    // Deletes the receiver, and goes on to use the event and its streams.
    static void Callback(void* deletion, srcwatch_event_s* event)
    {
        auto* self = static_cast<Deletion*>(deletion);
        {
            const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
            ThePlatform().log.clear();
            self->receiver.reset();
            for (const LogLine& line : ThePlatform().log) {
                self->logOfDeletion.push_back("E " + line.function + ": " + line.message);
            }
            ThePlatform().log.clear();
        }
        RequestOf(event) >> self->rest;
        ReplyOf(event) << event->args[0] << " " << event->str_args[0] << " " << self->rest;
        event->args[0] = 1;
    }
};

const std::string kMessage = MessageOf({7}, {"Player"}) + "rest\t";

TEST_F(End, OfAClientInItsCallbackComesBeforeThatOfTheSignal)
{
    Deletion deletion{receiver};
    receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    receiver->RegisterEventCallback(5, &Deletion::Callback, &deletion);
    SyncSharedConnection();

    Emit(5, kMessage);

    ASSERT_TRUE(RunUntil([this] { return Logged(kSignalEnd); }));
    EXPECT_THAT(deletion.logOfDeletion, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoClientEvent: xxxxx3 "
                                                                 "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                                    kEmptyTable, kEnd));
    EXPECT_THAT(TakeLog(), ElementsAre(kSignalEnd));
    EXPECT_EQ(deletion.rest, "rest");
}

TEST_F(End, OfAServiceInItsCallbackComesBeforeThatOfTheSignal)
{
    Deletion deletion{receiver};
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntilNameAcquired());
    receiver->RegisterEventCallback(5, &Deletion::Callback, &deletion);

    Emit(5, kMessage);

    ASSERT_TRUE(RunUntil([&] { return !deletion.rest.empty() && Logged(kSignalEnd); }));
    EXPECT_THAT(deletion.logOfDeletion, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoServiceEvent: xxxxx4 "
                                                                 "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                                    kEmptyTable, kEnd));
    EXPECT_THAT(TakeLog(), ElementsAre(kSignalEnd));
    EXPECT_EQ(deletion.rest, "rest");
}

TEST_F(End, OfAServiceInACallComesAtOnceAndTheCallIsAnswered)
{
    Deletion deletion{receiver};
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntilNameAcquired());
    ASSERT_TRUE(RunUntil([this] { return Logged(kSignalEnd); }));
    receiver->RegisterEventCallback(5, &Deletion::Callback, &deletion);

    const std::uint32_t serial = Call(5, kMessage);

    BusMessage reply;
    ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
    EXPECT_THAT(deletion.logOfDeletion, ElementsAre(MatchesRegex("E m_UnRegisterQDInfoServiceEvent: xxxxx4 "
                                                                 "g_dbus_connection_signal_unsubscribe :[1-9][0-9]*"),
                                                    kEmptyTable, kEnd));
    EXPECT_THAT(TakeLog(), ElementsAre("E m_MethodCallHandler: Replying"));
    EXPECT_EQ(reply.text, "7 Player rest");
    EXPECT_EQ(peer.OwnerOf(kChannelName), "");
}

// The receiver held the process's last reference to the connection that the reply is still queued in.
TEST_F(End, OfAServiceInTheCallbackOfACallLosesNoReply)
{
    for (int round = 0; round < 50; ++round) {
        Deletion deletion{receiver};
        receiver = std::make_unique<CQDEventReciever>(kChannel, true);
        ASSERT_TRUE(RunUntilNameAcquired());
        receiver->RegisterEventCallback(5, &Deletion::Callback, &deletion);

        const std::uint32_t serial = Call(5, kMessage);

        BusMessage reply;
        ASSERT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
        ASSERT_EQ(reply.text, "7 Player rest") << round;
    }
}

TEST_F(End, InACallbackMayBeFollowedByAnotherReceiverThere)
{
    Deliveries deliveries;
    struct Parts {
        std::unique_ptr<CQDEventReciever>& receiver;
        Deliveries& deliveries;
    } parts{receiver, deliveries};
    receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    receiver->RegisterEventCallback(
        5,
        [](void* data, srcwatch_event_s* event) {
            const auto* self = static_cast<Parts*>(data);
            for (int round = 0; round < 10; ++round) {
                self->receiver.reset();  // the next one is likely to have the same address
                self->receiver = std::make_unique<CQDEventReciever>(kChannel, false);
                self->receiver->RegisterEventCallback(5, &Deliveries::Callback, &self->deliveries);
            }
            ReplyOf(event) << "still there";
        },
        &parts);
    SyncSharedConnection();
    Emit(5);
    ASSERT_TRUE(RunUntil([this] { return Logged(kSignalEnd); }));
    SyncSharedConnection();
    const std::size_t before = deliveries.Count();  // the new one may also get the event that the old one got

    Emit(5);

    ASSERT_TRUE(RunUntil([&] { return deliveries.Count() > before; }));
}

// ---------------------------------------------------------------------------------------------------------------------
// While a callback runs in another thread

struct Waiting {
    std::atomic<bool> isInside{false};
    std::atomic<bool> isDeleted{false};
    std::atomic<bool> isOver{false};
    std::string rest{};

    // Waits for the end of its receiver, and uses the event and its streams afterwards.
    static void Callback(void* waiting, srcwatch_event_s* event)
    {
        auto* self = static_cast<Waiting*>(waiting);
        self->isInside = true;
        EXPECT_TRUE(WaitUntil([self] { return self->isDeleted.load(); }));
        RequestOf(event) >> self->rest;
        ReplyOf(event) << event->args[0] << " " << event->str_args[0] << " " << self->rest;
        self->isOver = true;
    }
};

TEST_F(End, OfAClientDoesNotWaitForACallbackThatWaitsForIt)
{
    LoopThread loop;
    Waiting waiting;
    loop.Call([&] { receiver = std::make_unique<CQDEventReciever>(kChannel, false); });
    receiver->RegisterEventCallback(5, &Waiting::Callback, &waiting);
    SyncSharedConnection();
    Emit(5, kMessage);
    ASSERT_TRUE(WaitUntil([&] { return waiting.isInside.load(); }));
    TakeLog();

    receiver.reset();
    const std::vector<std::string> log = TakeLog();
    EXPECT_FALSE(waiting.isOver);
    waiting.isDeleted = true;

    ASSERT_TRUE(WaitUntil([&] { return waiting.isOver.load(); }));
    EXPECT_EQ(log.back(), kEnd);
    EXPECT_TRUE(WaitUntil([this] { return Logged(kSignalEnd); }));
    EXPECT_EQ(waiting.rest, "rest");
}

TEST_F(End, OfAServiceDoesNotWaitForACallOfItsThatWaitsForIt)
{
    LoopThread loop;
    Waiting waiting;
    loop.Call([&] { receiver = std::make_unique<CQDEventReciever>(kChannel, true); });
    ASSERT_TRUE(WaitUntil([this] { return Logged(kSignalEnd); }));
    receiver->RegisterEventCallback(5, &Waiting::Callback, &waiting);
    const std::uint32_t serial = Call(5, kMessage);
    ASSERT_TRUE(WaitUntil([&] { return waiting.isInside.load(); }));

    receiver.reset();
    EXPECT_FALSE(waiting.isOver);
    EXPECT_EQ(TakeLog().back(), kEnd);
    waiting.isDeleted = true;

    BusMessage reply;
    ASSERT_TRUE(WaitUntil([&] { return peer.ReplyTo(serial, &reply); }));
    EXPECT_EQ(reply.text, "7 Player rest");
}

// The handler waits for the lock that the callback of another receiver holds.
TEST_F(End, DoesNotWaitForAHandlerThatWaitsForAnotherCallback)
{
    LoopThread loop;
    Deliveries deliveries;
    loop.Call([&] { receiver = std::make_unique<CQDEventReciever>(kChannel, false); });
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    SyncSharedConnection();
    {
        const HeldCallback held;
        Emit(5);
        SyncSharedConnection();
        WaitUntil([] { return false; }, kMoment);  // nothing shows when the handler waits for the lock

        receiver.reset();

        EXPECT_THAT(TakeLog(), Contains(kEnd));
    }
    loop.Call([] {});

    EXPECT_EQ(deliveries.Count(), 0U);
}

// A receiver whose handler waits for the lock of the receivers, while the callback that holds it puts another receiver
// in its place, which the bus does not send the message to.
class EndInItsPlace : public End {
protected:
    // Replaces the receiver by a client while its handler of the sent message waits, and lets the handler go on.
    void Replace(bool isService, const char* channel, const std::function<void()>& send)
    {
        loop.Call([&] { first = new (m_place) CQDEventReciever(kChannel, isService); });
        first->RegisterEventCallback(5, &Deliveries::Callback, &ofFirst);
        if (isService) {
            ASSERT_TRUE(WaitUntil([this] { return Logged(kSignalEnd); }));
        }
        SyncSharedConnection();
        const HeldCallback held([&] {
            send();
            SyncSharedConnection();
            WaitUntil([] { return false; }, kMoment);  // nothing shows when the handler waits for the lock
            std::destroy_at(first);
            second = new (m_place) CQDEventReciever(channel, false);
            second->RegisterEventCallback(5, &Deliveries::Callback, &ofSecond);
        });
    }

    void ExpectNothingArrived()
    {
        loop.Call([] {});  // the handler has left
        EXPECT_EQ(ofFirst.Count(), 0U);
        EXPECT_EQ(ofSecond.Count(), 0U);
        std::destroy_at(second);
    }

    LoopThread loop;
    Deliveries ofFirst;
    Deliveries ofSecond;
    CQDEventReciever* first = nullptr;
    CQDEventReciever* second = nullptr;

private:
    alignas(CQDEventReciever) unsigned char m_place[sizeof(CQDEventReciever)]{};
};

TEST_F(EndInItsPlace, LeavesNoEventOfAClientToTheNextOne)
{
    Replace(false, "two", [this] { Emit(5); });

    ExpectNothingArrived();
}

TEST_F(EndInItsPlace, LeavesNoCallOfAServiceToTheNextOne)
{
    Replace(true, kChannel, [this] { Call(5); });

    ExpectNothingArrived();
}

// ---------------------------------------------------------------------------------------------------------------------
// While a handler of the name waits for the senders' lock

TEST_F(End, OfAServiceDoesNotWaitForItsNameHandlers)
{
    LoopThread loop;
    loop.Call([&] { receiver = std::make_unique<CQDEventReciever>(kChannel, true); });
    ASSERT_TRUE(WaitUntil([this] { return Logged(kSignalEnd); }));
    peer.Listen(kChannelName);
    {
        const HeldSender held;
        constexpr std::uint32_t kReplaceExisting = 2;
        peer.RequestName(kChannelName, kReplaceExisting);
        ASSERT_TRUE(WaitUntil([this] { return Logged(kNameLost); }));
        WaitUntil([] { return false; }, kMoment);  // nothing shows when the handler waits for the lock

        receiver.reset();

        EXPECT_EQ(TakeLog().back(), kEnd);
        EXPECT_THAT(peer.Signals(), IsEmpty());
    }

    loop.Call([] {});  // the handler has left
}

// The real case: the handler waits for the call of another sender to a service that hangs.
TEST_F(End, OfAServiceDoesNotWaitForTheCallOfAnotherSender)
{
    BusPeer hanging;
    hanging.AnswerWith([](const BusMessage& call) {
        return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : nullptr;
    });
    ASSERT_EQ(hanging.RequestName("org.nalto.tv.hanging"), 1U);
    LoopThread loop;
    loop.Call([&] { receiver = std::make_unique<CQDEventReciever>(kChannel, true); });
    ASSERT_TRUE(WaitUntil([this] { return Logged(kSignalEnd); }));
    const Task caller([] { EXPECT_EQ(CQDEventSender("hanging").Call(1), 0); });
    ASSERT_TRUE(WaitUntil([&] { return hanging.Calls().size() == 2; }));
    constexpr std::uint32_t kReplaceExisting = 2;
    peer.RequestName(kChannelName, kReplaceExisting);
    ASSERT_TRUE(WaitUntil([this] { return Logged(kNameLost); }));

    receiver.reset();

    EXPECT_THAT(TakeLog(), Not(Contains("E m_Call:  proxy call failed (Timeout was reached)")));
    EXPECT_FALSE(caller.IsDoneWithin(std::chrono::milliseconds(0)));
}

// ---------------------------------------------------------------------------------------------------------------------
// Again and again

// The receivers belong to the default context, which this thread runs; another deletes them while their callbacks run.
TEST_F(End, InAnotherThreadMayComeAtAnyMomentOfACallback)
{
    std::atomic<bool> isOver{false};
    const Task sender([&] {
        CQDEventSender own(kChannel);
        while (!isOver) own.SendEvent(5);
    });
    const Task maker([&] {
        for (int round = 0; round < 200; ++round) {
            auto client = std::make_unique<CQDEventReciever>(kChannel, false);
            client->RegisterEventCallback(
                5,
                [](void*, srcwatch_event_s* event) {
                    for (int i = 0; i < 10; ++i) ReplyOf(event) << event->type;
                    std::string words;
                    while (RequestOf(event) >> words) ReplyOf(event) << words;
                },
                nullptr);
            const std::size_t before = TimesLogged(kSignalEnd);
            EXPECT_TRUE(WaitUntil([&] { return TimesLogged(kSignalEnd) > before; }));
            client.reset();
            TakeLog();
        }
        isOver = true;
    });

    EXPECT_TRUE(RunUntil([&] { return isOver.load(); }, 10 * kDeadline));
    isOver = true;
}

}  // namespace
