// SPDX-License-Identifier: Apache-2.0
//
// Every operation of the sender, its result and its log, with a bus.
#include "SenderTest.h"

#include <thread>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

// ---------------------------------------------------------------------------------------------------------------------
// Signals

TEST_F(EventSender, DoesNothingUntilItIsUsed)
{
    {
        CQDEventSender unused("");
        unused.AppendArgs(1L, 2L, 3L, 4L);
        unused.AppendArgs("one", "two", "three");
        unused.ClearEvent();
    }

    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(EventSender, SendsAnEventAndLogsItAtDebug)
{
    sender.SendEvent(4104);

    EXPECT_THAT(TakeLog(), ElementsAre(std::string("D m_SendExternalEvent: ") + kChannelLine, kTokens,
                                       "D m_SendExternalEvent: Send external event success"));
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 4104);
}

TEST_F(EventSender, SendsAnEventOfThreeNumbers)
{
    sender.SendEvent(10, 1, -2, 3);

    EXPECT_EQ(TakeLog().size(), 3U);
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 10);
    EXPECT_EQ(signals[0].text, MessageOf({1, -2, 3}, {}));
}

TEST_F(EventSender, SendsASignalAndLogsItAtError)
{
    EXPECT_EQ(sender.SendSignal(5), 1);

    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_SendSignal: ") + kChannelLine, kTokens,
                                       "E m_SendSignal: Send signal success"));
}

TEST_F(EventSender, SendsASignalWithExtraText)
{
    EXPECT_EQ(sender.SendSignal(5, std::stringstream("extra words")), 1);

    EXPECT_EQ(TakeLog().size(), 3U);
    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].text, std::string(kEmptyMessage) + "extra words\t");
}

TEST_F(EventSender, SendsTheOperationsTypeNotTheCurrentEvents)
{
    srcwatch_event_s event{};
    event.type = 77;
    sender.AppendArgs(event);

    sender.SendSignal(5);
    sender.SendSignal(6, std::stringstream());
    sender.SendEvent(7);
    sender.SendEvent(8, 0, 0, 0);

    const std::vector<BusMessage> signals = peer.WaitForSignals(4);
    ASSERT_EQ(signals.size(), 4U);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(signals[static_cast<std::size_t>(i)].type, 5 + i);
}

TEST_F(EventSender, SendsTypesOfEverySign)
{
    for (const int type : {-1, 0, INT32_MIN, INT32_MAX}) EXPECT_EQ(sender.SendSignal(type), 1);

    const std::vector<BusMessage> signals = peer.WaitForSignals(4);
    ASSERT_EQ(signals.size(), 4U);
    EXPECT_EQ(signals[0].type, -1);
    EXPECT_EQ(signals[2].type, INT32_MIN);
}

TEST_F(EventSender, TalksOnTheChannelQdinfoWhenItsNameIsEmpty)
{
    CQDEventSender("").SendEvent(3);

    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].path, kChannelPath);
    EXPECT_EQ(signals[0].member, kChannel);
}

TEST_F(EventSender, TalksOnItsOwnChannel)
{
    BusPeer other;
    other.Listen("org.nalto.tv.other");

    CQDEventSender("other").SendEvent(3);
    peer.Sync();

    const std::vector<BusMessage> signals = other.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].path, "/org/nalto/tv/other");
    EXPECT_EQ(signals[0].member, "other");
    EXPECT_THAT(peer.Signals(), IsEmpty());
}

TEST_F(EventSender, HasSentItsSignalsWhenItIsDestroyed)
{
    for (int i = 0; i < 50; ++i) CQDEventSender(kChannel).SendEvent(i);

    peer.Sync();  // the bus had all of them before this
    EXPECT_EQ(peer.Signals().size(), 50U);
}

TEST_F(EventSender, SendsWholeMessagesInOrderFromManyThreads)
{
    constexpr int kThreads = 8;
    constexpr int kEach = 100;
    constexpr std::size_t kAll = 2UL * kThreads * kEach;
    CQDEventSender shared(kChannel);
    const auto sendAll = [&shared](int thread) {
        CQDEventSender own(kChannel);
        for (int i = 0; i < kEach; ++i) {
            own.AppendArgs(std::to_string(thread), "of many", "threads");
            own.SendEvent(thread);
            shared.SendEvent(100 + thread, i, thread, 0);
        }
    };

    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(sendAll, thread);
    for (std::thread& thread : threads) thread.join();

    const std::vector<BusMessage> signals = peer.WaitForSignals(kAll);
    ASSERT_EQ(signals.size(), kAll);
    std::array<int, kThreads> next{};
    for (const BusMessage& signal : signals) {
        if (signal.type < 100) {
            ASSERT_EQ(signal.text, MessageOf({}, {std::to_string(signal.type), "of many", "threads"}));
        } else {
            const int thread = signal.type - 100;
            ASSERT_EQ(signal.text, MessageOf({next[static_cast<std::size_t>(thread)]++, thread}, {}));
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls

TEST_F(EventSender, CallsTheServiceAndReplacesTheReply)
{
    const Service service([](const BusMessage&) { return Reply("the answer"); });
    std::stringstream reply("old text");
    reply.setstate(std::ios::failbit);

    EXPECT_EQ(sender.Call(5, reply), 1);

    EXPECT_EQ(reply.str(), "the answer");
    std::string word;
    EXPECT_TRUE(reply >> word);
    EXPECT_EQ(word, "the");
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_GetProxy: ") + kChannelLine, kTokens, kMessageLine,
                                       "E m_Call: Message from Server: 'the answer'"));
    ASSERT_EQ(service.Calls().size(), 1U);
    const BusMessage call = service.Calls()[0];
    EXPECT_EQ(call.path, kChannelPath);
    EXPECT_EQ(call.member, kChannel);
    EXPECT_EQ(call.signature, "is");
    EXPECT_EQ(call.type, 5);
    EXPECT_EQ(call.text, kEmptyMessage);
}

TEST_F(EventSender, KeepsItsProxyForFurtherCalls)
{
    const Service service([](const BusMessage&) { return Reply(""); });
    sender.Call(5);
    TakeLog();

    EXPECT_EQ(sender.Call(6), 1);

    EXPECT_THAT(TakeLog(), ElementsAre(kTokens, kMessageLine, "E m_Call: Message from Server: ''"));
    std::size_t introductions = 0;
    for (const BusMessage& call : service.peer.Calls()) introductions += call.member == "GetAll" ? 1U : 0U;
    EXPECT_EQ(introductions, 1U);
}

TEST_F(EventSender, CallsWithItsCurrentEventAndTheExtraText)
{
    const Service service([](const BusMessage&) { return Reply(""); });
    srcwatch_event_s event{};
    event.type = 77;
    event.args[9] = -9;
    sender.AppendArgs(event);
    sender.AppendArgs("a b", "", "c");
    std::stringstream reply("replaced by nothing");

    EXPECT_EQ(sender.Call(5, std::stringstream("two words"), reply), 1);
    EXPECT_EQ(sender.Call(6, reply), 1);
    EXPECT_EQ(sender.Call(7), 1);

    EXPECT_EQ(reply.str(), "");
    const std::string message = MessageOf({0, 0, 0, 0, 0, 0, 0, 0, 0, -9}, {"a b", "", "c"});
    const std::vector<BusMessage> calls = service.Calls();
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[0].type, 5);
    EXPECT_EQ(calls[0].text, message + "two words\t");
    EXPECT_EQ(calls[1].type, 6);
    EXPECT_EQ(calls[1].text, message);
    EXPECT_EQ(calls[2].type, 7);
    EXPECT_EQ(calls[2].text, message);
}

TEST_F(EventSender, MayGetItsOwnExtraStreamAsReplyStream)
{
    const Service service([](const BusMessage& call) { return Reply(call.text.c_str()); });
    std::stringstream both("question");

    EXPECT_EQ(sender.Call(5, both, both), 1);

    EXPECT_EQ(both.str(), std::string(kEmptyMessage) + "question\t");
}

TEST_F(EventSender, GetsAReplyOfAMegabyte)
{
    const std::string megabyte(1 << 20, 'r');
    const Service service([&megabyte](const BusMessage&) { return Reply(megabyte.c_str()); });
    std::stringstream reply;

    EXPECT_EQ(sender.Call(5, reply), 1);

    EXPECT_EQ(reply.str(), megabyte);
}

TEST_F(EventSender, RefusesAReplyThatIsNotOneText)
{
    const char* const bodies[] = {"()",       "(5,)",           "(true,)",           "('one', 'two')",
                                  "(['a'],)", "(<'variant'>,)", "(objectpath '/a',)"};
    for (const char* body : bodies) {
        const Service service([body](const BusMessage&) { return g_variant_new_parsed(body); });
        CQDEventSender caller(kChannel);
        std::stringstream reply("kept");

        EXPECT_EQ(caller.Call(5, reply), 0) << body;

        EXPECT_EQ(reply.str(), "kept") << body;
        EXPECT_THAT(TakeLog().back(), MatchesRegex("E m_Call:  proxy call failed \\(.+\\)")) << body;
    }
}

TEST_F(EventSender, FailsToCallWithoutAnOwnerOfTheName)
{
    std::stringstream reply("kept");

    EXPECT_EQ(sender.Call(5, reply), 0);

    EXPECT_EQ(reply.str(), "kept");
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_GetProxy: ") + kChannelLine, kTokens, kMessageLine,
                                       StartsWith("E m_Call:  proxy call failed (GDBus.Error:"
                                                  "org.freedesktop.DBus.Error.ServiceUnknown: ")));
}

TEST_F(EventSender, ReachesAServiceThatCameAfterAFailedCall)
{
    EXPECT_EQ(sender.Call(5), 0);
    const Service service([](const BusMessage&) { return Reply(""); });

    EXPECT_EQ(sender.Call(5), 1);
}

TEST_F(EventSender, FailsToCallWhenTheServiceVanishesDuringTheCall)
{
    auto service = std::make_unique<BusPeer>();
    service->RequestName(kChannelName);
    service->AnswerWith([](const BusMessage& call) {
        return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : nullptr;
    });
    std::thread end([&service] {
        EXPECT_TRUE(WaitUntil([&service] { return service->Calls().size() == 2; }));
        service.reset();
    });

    EXPECT_EQ(sender.Call(5), 0);

    end.join();
    EXPECT_THAT(TakeLog().back(), StartsWith("E m_Call:  proxy call failed (GDBus.Error:"
                                             "org.freedesktop.DBus.Error.NoReply: "));
}

// ---------------------------------------------------------------------------------------------------------------------
// Asking for the service

TEST_F(EventSender, FindsTheServiceThatOwnsTheName)
{
    const Service service([](const BusMessage&) { return Reply(""); });

    EXPECT_EQ(sender.IsServiceAvailable(), 1);

    EXPECT_THAT(TakeLog(), ElementsAre("E IsServiceAvailable: org.nalto.tv.qdinfo",
                                       "E IsServiceAvailable: IsServiceAvailable success"));
    EXPECT_THAT(service.peer.Calls(), IsEmpty());  // the bus is asked, not the service
}

TEST_F(EventSender, FindsNoServiceWithoutAnOwnerOfTheName)
{
    EXPECT_EQ(sender.IsServiceAvailable(), 0);

    EXPECT_THAT(TakeLog(), ElementsAre("E IsServiceAvailable: org.nalto.tv.qdinfo",
                                       "E IsServiceAvailable: IsServiceAvailable fail and over"));
}

}  // namespace
