// SPDX-License-Identifier: Apache-2.0
#include "Wrap.h"

#include <gtest/gtest.h>

namespace {

using ctl::WidthOf;
using ctl::WrapText;

TEST(Wrap, CountsColumnsOfATerminal)
{
    EXPECT_EQ(WidthOf(""), 0U);
    EXPECT_EQ(WidthOf("Box"), 3U);
    EXPECT_EQ(WidthOf("n\u00e9"), 2U);
    EXPECT_EQ(WidthOf("e\u0301"), 1U);
    EXPECT_EQ(WidthOf("\u96fb\u8996"), 4U);
}

TEST(Wrap, LeavesATextThatFits)
{
    EXPECT_EQ(WrapText("", 4), "");
    EXPECT_EQ(WrapText("a b  c", 6), "a b  c");
}

TEST(Wrap, BreaksATextAtItsSpaces)
{
    EXPECT_EQ(WrapText("one two three", 7), "one two\nthree");
    EXPECT_EQ(WrapText("one two three", 6), "one\ntwo\nthree");
}

TEST(Wrap, BreaksAWordThatIsLongerThanALine)
{
    EXPECT_EQ(WrapText("/run/srcwatch", 5), "/run/\nsrcwa\ntch");
    EXPECT_EQ(WrapText("in /run/srcwatch now", 5), "in\n/run/\nsrcwa\ntch\nnow");
}

TEST(Wrap, NeverBreaksACharacter) { EXPECT_EQ(WrapText("\u96fb\u8996\u6a5f", 3), "\u96fb\n\u8996\n\u6a5f"); }

TEST(Wrap, EndsWithATextThatEndsWithinACharacter)
{
    EXPECT_EQ(WrapText("Box \xe9\x9b", 5), "Box \xe9\x9b");
    EXPECT_EQ(WrapText("Box \xe9", 5), "Box \xe9");
}

}  // namespace
