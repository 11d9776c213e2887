// SPDX-License-Identifier: Apache-2.0
#include "Words.h"

#include <gtest/gtest.h>

namespace srcwatch {

TEST(Words, NameTheTypesAndAlsoNumbersThatAreNone)
{
    EXPECT_EQ(NameOfType(0), "none");
    EXPECT_EQ(NameOfType(1), "set-top box");
    EXPECT_EQ(NameOfType(2), "error type 2");
    EXPECT_EQ(NumberAndNameOfType(9), "type 9 (PC)");
    EXPECT_EQ(WordOfType("set-top box"), "set-top-box");
    EXPECT_EQ(WordOfType("PC"), "pc");
}

TEST(Words, NameTheStatesOfATwcCheckAndOtherNumbers)
{
    EXPECT_STREQ(TwcStateName(-1), "no check");
    EXPECT_STREQ(TwcStateName(1), "waiting for a channel");
    EXPECT_STREQ(TwcStateName(2), "tuned");
    EXPECT_STREQ(TwcStateName(3), "unknown");
}

}  // namespace srcwatch
