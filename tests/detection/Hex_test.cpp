// SPDX-License-Identifier: Apache-2.0
#include "Hex.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

TEST(Hex, WritesPairsOfDigits)
{
    EXPECT_EQ(ToHex({0x0a, 0xff}), "0aff");
    EXPECT_EQ(ToHex({0x0a, 0xff}, ":"), "0a:ff");
    EXPECT_EQ(ToHex({}, ":"), "");
}

TEST(Hex, ReadsPairsOfDigits)
{
    EXPECT_EQ(FromHex("0aFF"), (Bytes{0x0a, 0xff}));
    EXPECT_EQ(FromHex(""), Bytes());
    for (const char* const text : {"0", "-1", "0x", "0a:ff", "0aF"}) EXPECT_EQ(FromHex(text), std::nullopt) << text;
}

TEST(Hex, ReadsOneByte)
{
    EXPECT_EQ(ByteFromHex("fF"), 0xff);
    for (const char* const text : {"", "f", "+1", "0x1", "fff"}) EXPECT_EQ(ByteFromHex(text), std::nullopt) << text;
}

}  // namespace
}  // namespace srcwatch
