// SPDX-License-Identifier: Apache-2.0
//
// The sender without a bus, with one that died, and with names that D-Bus does not allow.
#include "SenderTest.h"

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

// ---------------------------------------------------------------------------------------------------------------------
// No bus, a dead bus

TEST_F(EventSender, FailsAndLogsItEachTimeWhenThereIsNoBus)
{
    EndBus();
    std::stringstream reply("kept");

    sender.SendEvent(1);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    sender.SendEvent(1, 2, 3, 4);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.SendSignal(1), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.SendSignal(1, std::stringstream("x")), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.Call(1, std::stringstream("x"), reply), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.Call(1, reply), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.Call(1), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(sender.IsServiceAvailable(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(kNoConnection)));
    EXPECT_EQ(reply.str(), "kept");
}

TEST_F(EventSender, WorksWhenABusCameAfterItsFirstFailure)
{
    EndBus();
    EXPECT_EQ(sender.SendSignal(1), 0);
    TheBus().Restart();
    BusPeer listener;
    listener.Listen(kChannelName);

    EXPECT_EQ(sender.SendSignal(2), 1);

    EXPECT_EQ(listener.WaitForSignals(1).size(), 1U);
}

// A sender whose connection broke.
class BrokenSender : public EventSender {
protected:
    BrokenSender()
    {
        EXPECT_EQ(sender.SendSignal(1), 1);
        EXPECT_EQ(sender.Call(1), 0);
        connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        TheBus().Kill();
        EXPECT_TRUE(WaitUntil([this] { return g_dbus_connection_is_closed(connection) != FALSE; }));
        TakeLog();
    }
    void TearDown() override { g_object_unref(connection); }

    GDBusConnection* connection = nullptr;  // the shared one
};

TEST_F(BrokenSender, KeepsItsConnectionAndFails)
{
    std::stringstream reply("kept");

    EXPECT_EQ(sender.SendSignal(2), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_SendSignal: ") + kChannelLine, kTokens,
                                       "E m_SendSignal: Error while sending signal: 'The connection is closed'"));
    sender.SendEvent(2);
    EXPECT_THAT(TakeLog(),
                ElementsAre(std::string("D m_SendExternalEvent: ") + kChannelLine, kTokens,
                            "E m_SendExternalEvent: Error while sending signal: 'The connection is closed'"));
    EXPECT_EQ(sender.Call(2, reply), 0);
    EXPECT_THAT(TakeLog(),
                ElementsAre(kTokens, kMessageLine, "E m_Call:  proxy call failed (The connection is closed)"));
    EXPECT_EQ(sender.IsServiceAvailable(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre("E IsServiceAvailable: org.nalto.tv.qdinfo",
                                       "E IsServiceAvailable: sync call fail (The connection is closed, " +
                                           std::to_string(G_IO_ERROR_CLOSED) + ")"));
    EXPECT_EQ(reply.str(), "kept");

    TheBus().Restart();

    EXPECT_EQ(sender.SendSignal(3), 0);  // the connection is not replaced
}

TEST_F(BrokenSender, SharesItsClosedConnectionWithNewOnes)
{
    CQDEventSender later(kChannel);

    EXPECT_EQ(later.SendSignal(2), 0);
    EXPECT_THAT(TakeLog(), ElementsAre("E m_Connect: dbus connection is not open"));
    EXPECT_EQ(later.SendSignal(2), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_SendSignal: ") + kChannelLine, kTokens,
                                       "E m_SendSignal: Error while sending signal: 'The connection is closed'"));
    EXPECT_EQ(later.Call(2), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(std::string("E m_GetProxy: ") + kChannelLine,
                                       MatchesRegex("E m_GetProxy: Couldn't create proxy for org.nalto.tv.qdinfo "
                                                    "\\(.*The connection is closed\\)")));
}

TEST_F(BusTest, ASenderIsDestroyedSafelyAfterItsBusDied)
{
    auto sender = std::make_unique<CQDEventSender>(kChannel);
    sender->SendEvent(1);
    sender->Call(1);
    TheBus().Kill();

    sender.reset();

    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

TEST_F(BusTest, ASenderMadeAfterTheMainLoopHasRunUsesTheNewBus)
{
    CQDEventSender(kChannel).SendEvent(1);
    TheBus().Restart();
    // GLib hands out the closed connection until the main loop has handled its end.
    ASSERT_TRUE(RunUntil([] { return CQDEventSender(kChannel).SendSignal(2) == 1; }));
    BusPeer peer;
    peer.Listen(kChannelName);

    EXPECT_EQ(CQDEventSender(kChannel).SendSignal(3), 1);

    EXPECT_EQ(peer.WaitForSignals(1).size(), 1U);
}

// ---------------------------------------------------------------------------------------------------------------------
// Channel names that D-Bus does not allow

class InvalidChannel : public BusTest, public testing::WithParamInterface<const char*> {};

TEST_P(InvalidChannel, FailsWithLogLines)
{
    CQDEventSender sender(GetParam());
    std::stringstream reply("kept");

    sender.SendEvent(1);
    EXPECT_THAT(TakeLog().back(), "E m_SendExternalEvent: Error while sending signal: 'invalid argument'");
    EXPECT_EQ(sender.SendSignal(1), 0);
    EXPECT_THAT(TakeLog().back(), "E m_SendSignal: Error while sending signal: 'invalid argument'");
    EXPECT_EQ(sender.Call(1, reply), 0);
    EXPECT_THAT(TakeLog().back(), testing::AnyOf(HasSubstr("m_GetProxy: Couldn't create proxy for org.nalto.tv."),
                                                 HasSubstr("m_Call:  proxy call failed (")));
    EXPECT_EQ(sender.IsServiceAvailable(), 0);
    EXPECT_THAT(TakeLog().back(), testing::AnyOf(HasSubstr("IsServiceAvailable: sync call fail ("),
                                                 HasSubstr("IsServiceAvailable: IsServiceAvailable fail and over")));
    EXPECT_EQ(reply.str(), "kept");
}

TEST_P(InvalidChannel, MakesReceiversThatReceiveNothing)
{
    {
        const CQDEventReciever client(GetParam(), false);
        EXPECT_THAT(TakeLog().back(), "E m_RegisterQDInfoClientEvent: Assertion failed");
        const CQDEventReciever service(GetParam(), true);
        EXPECT_THAT(TakeLog().back(), "E m_RegisterQDInfoServiceEvent: Assertion failed");
    }
    EXPECT_THAT(TakeLog(), ElementsAreArray({"E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end",
                                             "E ~CQDEventReciever: m_EventCallbackTable", "E ~CQDEventReciever: end"}));
}

const char* const kInvalidChannels[] = {"a b",  "1",   "a.", ".a",         "a/b",  "\xff",     "\xc3\xa4",
                                        "it's", "<x>", "&",  "'/></node>", "%s%n", "tab\there"};

INSTANTIATE_TEST_SUITE_P(Names, InvalidChannel, testing::ValuesIn(kInvalidChannels));

TEST_F(BusTest, AChannelNameThatIsNotAPathExportsNothing)
{
    {
        const CQDEventReciever service("a-b", true);
        ASSERT_TRUE(RunUntilNameAcquired());
    }

    EXPECT_TRUE(Logged("E m_BusAcquiredHandler: Assertion failed"));
    EXPECT_FALSE(TakeGlibMessages().empty());
    EXPECT_EQ(TakeLog().back(), "E ~CQDEventReciever: end");
}

TEST_F(BusTest, AChannelNameThatIsTooLongForTheDescriptionIsRefused)
{
    const CQDEventReciever service(std::string(2000, 'a'), true);

    EXPECT_EQ(TakeLog().back(), "E m_RegisterQDInfoServiceEvent: Assertion failed");
    EXPECT_EQ(CQDEventSender(std::string(2000, 'a')).SendSignal(1), 0);
}

}  // namespace
