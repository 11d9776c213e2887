// SPDX-License-Identifier: Apache-2.0
#include "Glob.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

TEST(Glob, MatchesWithoutRegardToCase)
{
    EXPECT_TRUE(MatchesGlob("acme*", "ACME Inc"));
    EXPECT_TRUE(MatchesGlob("B?x [12]", "bux 2"));
    EXPECT_FALSE(MatchesGlob("B?x [12]", "bux 3"));
    EXPECT_TRUE(MatchesGlob("A\\B", "a\\b"));
    EXPECT_TRUE(MatchesGlob("*", ""));
}

TEST(Glob, HasAShortestMatch)
{
    EXPECT_EQ(ShortestMatch(""), 0U);
    EXPECT_EQ(ShortestMatch("*a?*b*"), 3U);
    EXPECT_EQ(ShortestMatch("x[abc]y"), 3U);
    EXPECT_EQ(ShortestMatch("x[]abc]y"), 3U);
    EXPECT_LE(ShortestMatch("[a]x[b]"), 3U);
    EXPECT_EQ(ShortestMatch("]a["), 3U);
    EXPECT_EQ(ShortestMatch("a[bc"), 4U);
}

TEST(Glob, CoversNarrowerOnes)
{
    EXPECT_TRUE(Covers("*", ""));
    EXPECT_TRUE(Covers("*", "a*b?"));
    EXPECT_TRUE(Covers("*", "a[12]"));
    EXPECT_TRUE(Covers("Box *", "box 4*"));
    EXPECT_TRUE(Covers("b?x*", "box"));
    EXPECT_TRUE(Covers("*x*", "axb*"));
    EXPECT_TRUE(Covers("a[12]", "A[12]"));
    EXPECT_TRUE(Covers("a*", "a?*"));
}

TEST(Glob, CoversNoOthers)
{
    EXPECT_FALSE(Covers("", "*"));
    EXPECT_FALSE(Covers("?", "*"));
    EXPECT_FALSE(Covers("b?x", "b*x"));
    EXPECT_FALSE(Covers("box", "box*"));
    EXPECT_FALSE(Covers("a?*", "a*"));
    EXPECT_FALSE(Covers("a1", "a[12]"));
    EXPECT_FALSE(Covers("*a", "*b"));
}

}  // namespace
}  // namespace srcwatch
