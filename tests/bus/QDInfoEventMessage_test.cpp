// SPDX-License-Identifier: Apache-2.0
//
// The message of an event, both ways, as an independent peer sends and sees it.
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

srcwatch_event_s EventOf(const Numbers& numbers, const Texts& texts)
{
    srcwatch_event_s event{};
    std::copy(numbers.begin(), numbers.end(), event.args);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::memcpy(event.str_args[i], texts[i].data(), std::min<std::size_t>(texts[i].size(), 100));
    }
    return event;
}

// ---------------------------------------------------------------------------------------------------------------------
// Writing

class SentMessage : public BusTest {
protected:
    SentMessage() { peer.Listen(kChannelName); }

    // What the peer gets of the next signal.
    std::string Next()
    {
        const std::vector<BusMessage> signals = peer.WaitForSignals(++m_seen);
        if (signals.size() < m_seen) {
            ADD_FAILURE() << "no signal arrived";
            return std::string();
        }
        EXPECT_EQ(signals.back().signature, "is");
        return signals.back().text;
    }

    std::string SendEvent(const srcwatch_event_s& event)
    {
        sender.AppendArgs(event);
        sender.SendEvent(kType);
        return Next();
    }

    std::string SendWith(const std::string& extra)
    {
        EXPECT_EQ(sender.SendSignal(kType, std::stringstream(extra)), 1);
        return Next();
    }

    BusPeer peer;
    CQDEventSender sender{kChannel};

private:
    std::size_t m_seen = 0;
};

TEST_F(SentMessage, HasTenZerosAndThreeUnknownsForAnEmptyEvent)
{
    sender.SendEvent(4104);

    EXPECT_EQ(Next(), kEmptyMessage);
    const BusMessage signal = peer.Signals().back();
    EXPECT_EQ(signal.type, 4104);
    EXPECT_EQ(signal.path, kChannelPath);
    EXPECT_EQ(signal.interface, kChannelName);
    EXPECT_EQ(signal.member, kChannel);
    EXPECT_EQ(signal.destination, "");
}

TEST_F(SentMessage, HasTheNumbersThenTheTextsWithHashesForSpaces)
{
    EXPECT_EQ(SendEvent(EventOf({1}, {"Blu ray Player"})),
              "1\t0\t0\t0\t0\t0\t0\t0\t0\t0\tBlu#ray#Player\tUNKNOWN\tUNKNOWN\t");
    EXPECT_TRUE(Logged("D m_ConvertEventToStream: Blu#ray#Player UNKNOWN UNKNOWN"));
}

TEST_F(SentMessage, IsLoggedWithItsThreeTexts)
{
    SendEvent(EventOf({}, {"first text", "second", "third"}));

    EXPECT_TRUE(Logged("D m_ConvertEventToStream: first#text second third"));
}

TEST_F(SentMessage, HasNumbersOfEverySignAndSize)
{
    EXPECT_EQ(SendEvent(EventOf({INT_MIN, INT_MAX, -1, 0, 1000000, -1000, 7, 8, 9, 10}, {})),
              "-2147483648\t2147483647\t-1\t0\t1000000\t-1000\t7\t8\t9\t10\tUNKNOWN\tUNKNOWN\tUNKNOWN\t");
}

TEST_F(SentMessage, ReplacesNothingButSpaces)
{
    const std::string message = SendEvent(EventOf({}, {"a#b", "tab\there", "line\nend "}));

    EXPECT_EQ(message, "0\t0\t0\t0\t0\t0\t0\t0\t0\t0\ta#b\ttab\there\tline\nend#\t");
}

TEST_F(SentMessage, KeepsControlCharacters)
{
    const Texts texts = {"\x01\x02\x1b[31m", "\x7f\r\v\f", "%n%s%d\\"};

    EXPECT_EQ(SendEvent(EventOf({}, texts)), MessageOf({}, texts));
}

TEST_F(SentMessage, HasAllHundredBytesOfATextWithoutTerminator)
{
    const Texts texts = {std::string(100, 'x'), std::string(100, 'y'), std::string(100, 'z')};

    EXPECT_EQ(SendEvent(EventOf({}, texts)), MessageOf({}, texts));
}

TEST_F(SentMessage, EqualsThatOfAnIndependentWriterForRandomEvents)
{
    std::mt19937 random(1);  // NOLINT: the same events each time
    const std::string alphabet = "abcXYZ 019 #_\t\n-";
    for (int round = 0; round < 300; ++round) {
        Numbers numbers{};
        for (int& number : numbers) number = static_cast<int>(random()) >> (random() % 32);
        Texts texts;
        for (std::string& text : texts) {
            for (std::size_t left = random() % 100; left > 0; --left) text += alphabet[random() % alphabet.size()];
        }

        ASSERT_EQ(SendEvent(EventOf(numbers, texts)), MessageOf(numbers, texts)) << "round " << round;
    }
}

TEST_F(SentMessage, SetsTheFirstFourNumbersAndKeepsTheOthers)
{
    sender.AppendArgs(EventOf({9, 9, 9, 9, 5, 6, 7, 8, 9, 10}, {"text"}));
    sender.AppendArgs(1L, 2L, 3L, 4L);
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), MessageOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {"text"}));
}

TEST_F(SentMessage, NarrowsLongsTo32Bits)
{
    if (sizeof(long) == 4) GTEST_SKIP() << "long has 32 bits";
    const long over = static_cast<long>(0x100000005LL);
    const long half = static_cast<long>(0x80000000LL);
    sender.AppendArgs(over, half, LONG_MAX, LONG_MIN);
    sender.SendEvent(static_cast<long>(0x100001001LL));

    EXPECT_EQ(Next(), MessageOf({5, INT_MIN, -1, 0}, {}));
    EXPECT_EQ(peer.Signals().back().type, 0x1001);

    sender.SendEvent(half, over, LONG_MAX, half);

    EXPECT_EQ(Next(), MessageOf({5, -1, INT_MIN}, {}));
    EXPECT_EQ(peer.Signals().back().type, INT_MIN);
}

TEST_F(SentMessage, CutsAppendedTextsAfter99Bytes)
{
    sender.AppendArgs(std::string(99, 'a'), std::string(100, 'b'), std::string(5000, 'c'));
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), MessageOf({}, {std::string(99, 'a'), std::string(99, 'b'), std::string(99, 'c')}));
}

TEST_F(SentMessage, LosesOldTextsWhenTextsAreAppended)
{
    sender.AppendArgs(EventOf({1}, {"old text one", "old text two", "old text three"}));
    sender.AppendArgs("", "two", "");
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), MessageOf({1}, {"", "two", ""}));
}

TEST_F(SentMessage, IsEmptyAgainAfterClearEvent)
{
    sender.AppendArgs(EventOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {"one", "two", "three"}));
    sender.ClearEvent();
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), kEmptyMessage);
}

TEST_F(SentMessage, NeverHasPointers)
{
    int target = 0;
    sender.AppendArgs(&target, &target, &target, &target);
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), kEmptyMessage);
}

TEST_F(SentMessage, KeepsTheCurrentEventBetweenSends)
{
    sender.AppendArgs("one", "two", "three");
    sender.SendEvent(1);
    EXPECT_EQ(Next(), MessageOf({}, {"one", "two", "three"}));
    sender.SendEvent(2);
    EXPECT_EQ(Next(), MessageOf({}, {"one", "two", "three"}));

    sender.SendEvent(3, 4, 5, 6);
    EXPECT_EQ(Next(), MessageOf({4, 5, 6}, {}));
    sender.SendEvent(7);
    EXPECT_EQ(Next(), MessageOf({4, 5, 6}, {}));
}

TEST_F(SentMessage, HasTheExtraBlockAsItIsAndATabBehindIt)
{
    EXPECT_EQ(SendWith("two words"), std::string(kEmptyMessage) + "two words\t");
    EXPECT_EQ(SendWith(""), std::string(kEmptyMessage) + "\t");
    EXPECT_EQ(SendWith("\tline\n"), std::string(kEmptyMessage) + "\tline\n\t");
}

TEST_F(SentMessage, HasTheWholeExtraBlockHoweverFarItWasRead)
{
    std::stringstream extra("first second");
    std::string word;
    extra >> word;

    EXPECT_EQ(sender.SendSignal(kType, extra), 1);

    EXPECT_EQ(Next(), std::string(kEmptyMessage) + "first second\t");
}

TEST_F(SentMessage, MayHaveAMegabyte)
{
    const std::string megabyte(1 << 20, 'm');

    EXPECT_EQ(SendWith(megabyte), kEmptyMessage + megabyte + "\t");
}

TEST_F(SentMessage, IsUnchangedToTheByteWhenItIsValidUtf8)
{
    const std::string valid =
        "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x93\xba \xef\xbf\xbd \xe2\x80\xae\xe2\x80\xac \xed\x9f\xbf";

    EXPECT_EQ(SendWith(valid), kEmptyMessage + valid + "\t");
    EXPECT_EQ(SendEvent(EventOf({}, {valid})), MessageOf({}, {valid}));
}

TEST_F(SentMessage, KeepsItsOtherItemsWhenATextIsNotValidUtf8)
{
    const std::string cut = std::string(98, 'n') + "\xe2\x82";  // cut inside a character

    const std::string message = SendEvent(EventOf({1, 2}, {cut, "\xff\xfe", "good"}));

    EXPECT_EQ(message, MessageOf({1, 2}, {std::string(98, 'n') + "\xef\xbf\xbd\xef\xbf\xbd", "\xef\xbf\xbd\xef\xbf\xbd",
                                          "good"}));
}

TEST_F(SentMessage, KeepsWhatFollowsAZeroByteInTheExtraBlock)
{
    EXPECT_EQ(SendWith(std::string("before\0after", 12)), std::string(kEmptyMessage) +
                                                              "before\xef\xbf\xbd"
                                                              "after\t");
}

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

TEST_F(ReceivedMessage, IsReadAsEmptyTextOnlyWhenAWordIsExactlyUnknown)
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

TEST_F(ReceivedMessage, HasZerosFromTheFirstNumberOnThatCannotBeRead)
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
        const std::size_t numbers = random() % 2 == 0 ? 10 : 0;  // else hardly a message would get to its texts
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

TEST_F(ReceivedMessage, IsReadTheSameWhateverACallbackDidToTheStreams)
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
