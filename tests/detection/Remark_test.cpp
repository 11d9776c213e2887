// SPDX-License-Identifier: Apache-2.0
#include "Remark.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

TEST(Remark, IsShownWithItsLine)
{
    EXPECT_EQ(InOneLine({}), "");
    EXPECT_EQ(InOneLine({{"cec.log", 3, "is odd"}}), "line 3: is odd");
    EXPECT_EQ(InOneLine({{"spd.bin", 0, "is odd"}, {"spd.bin", 0, "is long"}}), "is odd; is long");
}

TEST(Remark, IsCountedWhereItIsNotShown)
{
    EXPECT_EQ(InOneLine(Remarks(4, {"", 1, "x"})), "line 1: x; line 1: x; line 1: x; line 1: x");
    EXPECT_EQ(InOneLine(Remarks(10, {"", 1, "x"})), "line 1: x; line 1: x; line 1: x; line 1: x; and 6 more");
}

TEST(Printable, EscapesWhatCouldDisturbALogAndCutsIt)
{
    EXPECT_EQ(Printable("plain text"), "plain text");
    EXPECT_EQ(Printable("a\\b\r\xe2\x80\xae"), R"(a\x5cb\x0d\xe2\x80\xae)");
    EXPECT_EQ(Printable(std::string(300, 'x')), std::string(200, 'x') + "...");
}

}  // namespace
}  // namespace srcwatch
