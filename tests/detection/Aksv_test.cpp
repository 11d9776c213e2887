// SPDX-License-Identifier: Apache-2.0
#include "Aksv.h"

#include "Frames.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

using srcwatch_test::FromHex;

std::string Reason(const Bytes& bytes)
{
    const Decoded<std::string> decoded = DecodeAksv(bytes);
    return decoded.value ? "accepted" : InOneLine(decoded.remarks);
}

TEST(Aksv, DecodesTenDigitsInTheOrderOfTheBytes)
{
    EXPECT_EQ(DecodeAksv(FromHex("b70361f714")).value, "b70361f714");
    EXPECT_EQ(DecodeAksv(FromHex("00000FFFFF")).value, "00000fffff");
}

TEST(Aksv, RefusesAnyOtherNumberOfSetBits)
{
    EXPECT_EQ(Reason(FromHex("00000ffffe")), "19 of 40 bits set, not 20");
    EXPECT_EQ(Reason(FromHex("00001fffff")), "21 of 40 bits set, not 20");
    EXPECT_EQ(Reason(FromHex("0000000000")), "0 of 40 bits set, not 20");
    EXPECT_EQ(Reason(FromHex("ffffffffff")), "40 of 40 bits set, not 20");
}

TEST(Aksv, RefusesAnyOtherSize)
{
    EXPECT_EQ(Reason({}), "0 bytes, not 5");
    EXPECT_EQ(Reason(FromHex("b70361f7")), "4 bytes, not 5");
    EXPECT_EQ(Reason(FromHex("b70361f71400")), "6 bytes, not 5");
}

}  // namespace
}  // namespace srcwatch
