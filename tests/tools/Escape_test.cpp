// SPDX-License-Identifier: Apache-2.0
#include "Escape.h"

#include <clocale>

#include <gtest/gtest.h>

namespace {

using ctl::Escape;
using ctl::EscapeLines;

class EscapeTest : public testing::Test {
protected:
    EscapeTest() { EXPECT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }
};

TEST_F(EscapeTest, KeepsWhatCanBeSeen) { EXPECT_EQ(Escape("Größe ≥ 4K, 日本 #1"), "Größe ≥ 4K, 日本 #1"); }

TEST_F(EscapeTest, EscapesControlCharacters)
{
    EXPECT_EQ(Escape("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(Escape("\x1b[31mred\x07\x7f"), "\\x1b[31mred\\x07\\x7f");
    EXPECT_EQ(Escape(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(Escape("\u009b31m"), "\\u{9b}31m");
}

TEST_F(EscapeTest, EscapesMarksThatTurnTheDirectionOfWriting)
{
    for (const char* const mark : {"\u061c", "\u200e", "\u200f", "\u202a", "\u202b", "\u202c", "\u202d", "\u202e",
                                   "\u2066", "\u2067", "\u2068", "\u2069"}) {
        EXPECT_EQ(Escape(mark).rfind("\\u{", 0), 0U) << mark;
    }
    EXPECT_EQ(Escape("a\u202eb"), "a\\u{202e}b");
}

TEST_F(EscapeTest, EscapesWhatCannotBeSeen)
{
    EXPECT_EQ(Escape("\u200b\ufeff\u2028\u2029\ue000"), "\\u{200b}\\u{feff}\\u{2028}\\u{2029}\\u{e000}");
}

TEST_F(EscapeTest, EscapesBytesThatAreNoUtf8)
{
    EXPECT_EQ(Escape("a\xff z"), "a\\xff z");
    EXPECT_EQ(Escape("cut \xe2\x82"), "cut \\xe2\\x82");
    EXPECT_EQ(Escape("\xc0\xaf"), "\\xc0\\xaf");
}

TEST_F(EscapeTest, DoublesTheBackslashSoThatEscapesCannotBeFeigned) { EXPECT_EQ(Escape("\\x1b"), "\\\\x1b"); }

TEST_F(EscapeTest, KeepsTheFormOfATextOfManyLinesButNothingElse)
{
    EXPECT_EQ(EscapeLines("{\n\t\"a\" : \"\\u001b\"\n}"), "{\n\t\"a\" : \"\\u001b\"\n}");
    EXPECT_EQ(EscapeLines("a\rb\x1b[2J\u202e"), "a\\rb\\x1b[2J\\u{202e}");
    EXPECT_EQ(EscapeLines(std::string("a\0b", 3)), "a\\x00b");
}

TEST(EscapeOutsideUtf8, EscapesAllButAscii)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);

    EXPECT_EQ(Escape("n\u00e9e"), "n\\u{e9}e");
}

}  // namespace
