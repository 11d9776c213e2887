// SPDX-License-Identifier: Apache-2.0
//
// The message of an event as an independent peer sees it.
#include "BusTest.h"

#include <climits>
#include <cstring>
#include <random>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventSender;

constexpr Numbers kNoNumbers{};
constexpr int kType = 4097;

// ---------------------------------------------------------------------------------------------------------------------
// Writing

class SentMessage : public BusTest {
protected:
    SentMessage() { peer.Listen(kChannelName); }

    // The next signal as the peer receives it.
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

TEST_F(SentMessage, KeepsAllElseWhenPointersAreAppended)
{
    const Numbers numbers = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const Texts texts = {"one", "two", "three"};
    sender.AppendArgs(EventOf(numbers, texts));
    sender.AppendArgs(&sender, nullptr, nullptr, nullptr);
    sender.SendEvent(kType);

    EXPECT_EQ(Next(), MessageOf(numbers, texts));
}

TEST_F(SentMessage, HasNothingOfTheOldEventWhenSentWithNumbers)
{
    sender.AppendArgs(EventOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {"one", "two", "three"}));
    sender.SendEvent(kType, 20, 30, 40);

    EXPECT_EQ(Next(), MessageOf({20, 30, 40}, {}));
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

}  // namespace
