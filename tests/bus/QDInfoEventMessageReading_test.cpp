// SPDX-License-Identifier: Apache-2.0
//
// The message of an event as an independent peer sends it, and streams that the host changed.
#include "BusTest.h"

#include <climits>
#include <cstring>
#include <locale>
#include <random>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;

constexpr Numbers kNoNumbers{};
constexpr int kType = 4097;

// ---------------------------------------------------------------------------------------------------------------------
// Reading

// An independent reader of messages.
class Reader {
public:
    explicit Reader(const std::string& text) : m_text(text) {}

    Delivery Read()
    {
        Delivery delivery;
        for (std::int32_t& arg : delivery.event.args) arg = Number();
        for (char(&field)[100] : delivery.event.str_args) {
            std::string word = Word();
            for (char& c : word) c = c == '#' ? ' ' : c;
            if (word != "UNKNOWN") std::strncpy(field, word.c_str(), 99);
        }
        delivery.rest = m_failed ? std::string() : m_text.substr(m_pos);
        return delivery;
    }

private:
    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
    bool AtEnd() const { return m_pos >= m_text.size(); }

    bool SkipBlanks()
    {
        while (!AtEnd() && IsBlank(m_text[m_pos])) ++m_pos;
        if (AtEnd()) m_failed = true;
        return !m_failed;
    }

    int Number()
    {
        if (m_failed || !SkipBlanks()) return 0;
        const bool isNegative = m_text[m_pos] == '-';
        if (isNegative || m_text[m_pos] == '+') ++m_pos;
        if (AtEnd() || !IsDigit(m_text[m_pos])) return Fail();
        long long value = 0;
        for (; !AtEnd() && IsDigit(m_text[m_pos]); ++m_pos) {
            value = std::min(value * 10 + (m_text[m_pos] - '0'), 1LL << 40);
        }
        if (isNegative) value = -value;
        return value < INT_MIN || value > INT_MAX ? Fail() : static_cast<int>(value);
    }

    std::string Word()
    {
        if (m_failed || !SkipBlanks()) return std::string();
        const std::size_t begin = m_pos;
        while (!AtEnd() && !IsBlank(m_text[m_pos])) ++m_pos;
        return m_text.substr(begin, m_pos - begin);
    }

    int Fail()
    {
        m_failed = true;
        return 0;
    }

    const std::string& m_text;
    std::size_t m_pos = 0;
    bool m_failed = false;
};

class ReceivedMessage : public BusTest {
protected:
    ReceivedMessage()
    {
        receiver.RegisterEventCallback(kType, &Deliveries::Callback, &deliveries);
        SyncSharedConnection();
    }

    Delivery Receive(const std::string& message)
    {
        const std::size_t count = deliveries.Count() + 1;
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", kType, message.c_str()));
        EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == count; }));
        return deliveries.Last();
    }

    void ExpectReadAs(const std::string& message, const Numbers& numbers, const Texts& texts)
    {
        const Delivery delivery = Receive(message);
        const srcwatch_event_s expected = EventOf(numbers, texts);
        EXPECT_EQ(delivery.event.type, kType);
        EXPECT_EQ(std::memcmp(delivery.event.args, expected.args, sizeof(expected.args)), 0) << message;
        EXPECT_EQ(std::memcmp(delivery.event.str_args, expected.str_args, sizeof(expected.str_args)), 0) << message;
        EXPECT_TRUE(delivery.hasStreams);
        EXPECT_EQ(delivery.event.ptr_args[2], nullptr);
        EXPECT_EQ(delivery.event.ptr_args[3], nullptr);
    }

    Deliveries deliveries;
    CQDEventReciever receiver{kChannel, false};
    BusPeer peer;
};

TEST_F(ReceivedMessage, IsReadAsZerosAndEmptyTextsWhenItHasNone)
{
    ExpectReadAs(kEmptyMessage, {}, {});
    EXPECT_TRUE(Logged("D m_ConvertStreamToEvent: param:UNKNOWN UNKNOWN UNKNOWN"));
}

TEST_F(ReceivedMessage, IsReadWithSpacesForHashes)
{
    ExpectReadAs("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\tA#B\ta#b#c\t#\t", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
                 {"A B", "a b c", " "});
    EXPECT_TRUE(Logged("D m_ConvertStreamToEvent: param:A#B a#b#c #"));
}

TEST_F(ReceivedMessage, IsReadAsEmptyTextOnlyForExactlyUnknown)
{
    ExpectReadAs("0 0 0 0 0 0 0 0 0 0 UNKNOWN UNKNOWNS unknown", {}, {"", "UNKNOWNS", "unknown"});
}

TEST_F(ReceivedMessage, MayBeShort)
{
    ExpectReadAs("5\t", {5}, {});
    ExpectReadAs("5", {5}, {});
    ExpectReadAs("", {}, {});
    ExpectReadAs(" \t\n\v\f\r", {}, {});
    ExpectReadAs("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\tone", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {"one"});
}

TEST_F(ReceivedMessage, HasZerosFromTheFirstUnreadableNumberOn)
{
    ExpectReadAs("1\ttwo\t3\t4\t5\t6\t7\t8\t9\t10\tone\ttwo\tthree\t", {1}, {});
    ExpectReadAs("1\t2147483648\t3\t0\t0\t0\t0\t0\t0\t0\tone\t\t\t", {1}, {});
    ExpectReadAs("1\t-2147483649\t3\t0\t0\t0\t0\t0\t0\t0\tone\t\t\t", {1}, {});
    ExpectReadAs("1\t99999999999999999999999\t3\t0\t0\t0\t0\t0\t0\t0\tone\t", {1}, {});
    ExpectReadAs("2147483647\t-2147483648\t+7\t007\t0x10\t6", {INT_MAX, INT_MIN, 7, 7}, {});
    ExpectReadAs("1,000\t2", {1}, {});
}

TEST_F(ReceivedMessage, KeepsAtMost99BytesOfAWord)
{
    const std::string words =
        std::string(99, 'a') + "\t" + std::string(100, 'b') + "\t" + std::string(1 << 20, 'c') + "\t";

    ExpectReadAs("0\t0\t0\t0\t0\t0\t0\t0\t0\t0\t" + words, {},
                 {std::string(99, 'a'), std::string(99, 'b'), std::string(99, 'c')});
}

TEST_F(ReceivedMessage, ShiftsWordsWhenATextHasATab)
{
    ExpectReadAs(MessageOf(kNoNumbers, {"one\tmore", "two", "three"}), {}, {"one", "more", "two"});
    EXPECT_EQ(deliveries.Last().rest, "\tthree\t");
}

TEST_F(ReceivedMessage, KeepsControlCharacters)
{
    ExpectReadAs("0 0 0 0 0 0 0 0 0 0 \x01\x1b[31m\x7f %n%s \xc2\x85", {}, {"\x01\x1b[31m\x7f", "%n%s", "\xc2\x85"});
}

TEST_F(ReceivedMessage, LeavesTheExtraBlockToTheCallback)
{
    const Delivery delivery = Receive(std::string(kEmptyMessage) + "extra words\t");

    EXPECT_EQ(delivery.rest, "\textra words\t");
}

TEST_F(ReceivedMessage, IsReadAsAnIndependentReaderReadsRandomTexts)
{
    std::mt19937 random(2);  // NOLINT: the same texts each time
    const std::vector<std::string> pieces = {"0",    "7",   "-1", "2147483647", "2147483648", "+3",
                                             "-",    "--4", "x",  "9",          "10",         "11",
                                             "text", "a#b", "#",  "12ab",       "0x1",        "UNKNOWN"};
    const std::vector<std::string> gaps = {"\t", "\t", "\t", " ", "\n", "\t\t", " \v\f\r", ""};
    for (int round = 0; round < 600; ++round) {
        std::string message = random() % 4 == 0 ? " " : "";
        const std::size_t numbers = random() % 2 == 0 ? 10 : 0;  // otherwise few messages would reach their texts
        for (std::size_t i = 0; i < numbers; ++i) message += std::to_string(static_cast<int>(random())) + "\t";
        for (std::size_t left = random() % 16; left > 0; --left) {
            message += pieces[random() % pieces.size()] + gaps[random() % gaps.size()];
        }
        const Delivery expected = Reader(message).Read();

        const Delivery delivery = Receive(message);

        ASSERT_EQ(std::memcmp(delivery.event.args, expected.event.args, sizeof(expected.event.args)), 0) << message;
        for (int i = 0; i < 3; ++i) ASSERT_STREQ(delivery.event.str_args[i], expected.event.str_args[i]) << message;
        ASSERT_EQ(delivery.rest, expected.rest) << message;
    }
}

TEST_F(ReceivedMessage, IsWhatAnotherSenderOfTheLibrarySent)
{
    CQDEventSender sender(kChannel);
    sender.AppendArgs(EventOf({INT_MIN, 2, 3, 4, 5, 6, 7, 8, 9, INT_MAX}, {"A B", "", std::string(99, 'z')}));

    sender.SendEvent(kType);

    ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));
    const srcwatch_event_s event = deliveries.Last().event;
    EXPECT_EQ(event.args[0], INT_MIN);
    EXPECT_EQ(event.args[9], INT_MAX);
    EXPECT_STREQ(event.str_args[0], "A B");
    EXPECT_STREQ(event.str_args[1], "");
    EXPECT_EQ(event.str_args[2], std::string(99, 'z'));
}

// A text as it is appended to an event, and as it arrives.
struct RoundTrip {
    std::string sent;
    std::string received;
};

TEST_F(ReceivedMessage, HasTheTextsAsTheyWereAppendedToAnEvent)
{
    const std::string full(99, 'x');
    const RoundTrip trips[] = {{"A B", "A B"},
                               {"A#B", "A B"},
                               {" A  B ", " A  B "},
                               {"UNKNOWN", ""},
                               {"UNKNOWNS", "UNKNOWNS"},
                               {"UNKNOWN ", "UNKNOWN "},
                               {" UNKNOWN", " UNKNOWN"},
                               {"unknown", "unknown"},
                               {"#", " "},
                               {"", ""},
                               {full, full},
                               {full + "y", full}};
    CQDEventSender sender(kChannel);
    for (const RoundTrip& trip : trips) {
        const std::size_t count = deliveries.Count() + 1;
        sender.AppendArgs("before", trip.sent, "after");
        sender.SendEvent(kType);

        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == count; }));
        const srcwatch_event_s event = deliveries.Last().event;
        EXPECT_STREQ(event.str_args[0], "before");
        EXPECT_EQ(event.str_args[1], trip.received) << trip.sent;
        EXPECT_STREQ(event.str_args[2], "after");
    }
}

TEST_F(ReceivedMessage, HasItsTextsPushedOutByOneWithALineFeed)
{
    CQDEventSender sender(kChannel);
    sender.AppendArgs("one\nmore", "two", "three");

    sender.SendEvent(kType);

    ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));
    const srcwatch_event_s event = deliveries.Last().event;
    EXPECT_STREQ(event.str_args[0], "one");
    EXPECT_STREQ(event.str_args[1], "more");
    EXPECT_STREQ(event.str_args[2], "two");
    EXPECT_EQ(deliveries.Last().rest, "\tthree\t");
}

// ---------------------------------------------------------------------------------------------------------------------
// What the host may do to the streams

class Grouping : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class GlobalLocale {
public:
    GlobalLocale() : m_before(std::locale::global(std::locale(std::locale::classic(), new Grouping))) {}
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;
    ~GlobalLocale() { std::locale::global(m_before); }

private:
    std::locale m_before;
};

TEST_F(BusTest, ALocaleWithDigitGroupingChangesNoMessage)
{
    const GlobalLocale grouping;
    BusPeer peer;
    peer.Listen(kChannelName);
    Deliveries deliveries;
    CQDEventReciever receiver(kChannel, false);
    receiver.RegisterEventCallback(kType, &Deliveries::Callback, &deliveries);
    CQDEventSender sender(kChannel);
    ASSERT_EQ((std::ostringstream() << 1234567).str(), "1.234.567");

    sender.SendEvent(kType, 1234567, -1000, 1000000000);

    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].text, MessageOf({1234567, -1000, 1000000000}, {}));
    ASSERT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));
    EXPECT_EQ(deliveries.Last().event.args[0], 1234567);
    EXPECT_EQ(deliveries.Last().event.args[1], -1000);
}

TEST_F(ReceivedMessage, IsReadTheSameAfterACallbackChangedStreams)
{
    const auto spoil = [](void*, srcwatch_event_s* event) {
        for (std::stringstream* stream : {&RequestOf(event), &ReplyOf(event)}) {
            stream->imbue(std::locale(std::locale::classic(), new Grouping));
            *stream << std::hex << std::noskipws << std::showbase;
            *stream >> std::hex >> std::noskipws;
            stream->width(1);
            stream->setstate(std::ios::badbit);
        }
    };
    receiver.RegisterEventCallback(1, spoil, nullptr);
    peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 1, kEmptyMessage));

    ExpectReadAs("10\t1.000\t16", {10, 1}, {});
    ExpectReadAs("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\tone\ttwo\tthree\t", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
                 {"one", "two", "three"});
}

TEST_F(ReceivedMessage, IsReadAfterACallbackMadeTheStreamsThrow)
{
    const auto spoil = [](void*, srcwatch_event_s* event) {
        RequestOf(event).exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
        ReplyOf(event).exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
    };
    receiver.RegisterEventCallback(1, spoil, nullptr);
    peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 1, kEmptyMessage));

    ExpectReadAs("5\tno number", {5}, {});
}

}  // namespace
