// SPDX-License-Identifier: Apache-2.0
//
// Log lines of helpers, and formats of log lines that are handed to a function. What does not compile is tested with
// the headers.
#include "LineFormat.h"

#include "PlatformTest.h"

#include <type_traits>

namespace {

using namespace srcwatch_test;
using qdinfo::CallSite;
using qdinfo::LineFormat;

class LineFormats : public PlatformTest {
protected:
    LineFormats() { ownFiles = {"LineFormat_test.cpp"}; }
};

int Help(CallSite site = CallSite::Here())
{
    QDLOG_AT(site, QDLOG_DEBUG, "help %d", 1);
    return site.line;
}

TEST_F(LineFormats, OfASharedHelperNameItsCaller)
{
    const int line = __LINE__ + 1;
    EXPECT_EQ(Help(), line);

    ASSERT_EQ(platform.log.size(), 1U);
    EXPECT_EQ(platform.log[0].file, "LineFormat_test.cpp");
    EXPECT_EQ(platform.log[0].function, "TestBody");
    EXPECT_EQ(platform.log[0].line, line);
    EXPECT_EQ(platform.log[0].format, "%s: %s(%d) > <%ld> help %d\n");
    EXPECT_EQ(platform.log[0].tag, "qdinfo");
    EXPECT_EQ(platform.log[0].id, 0);
}

TEST_F(LineFormats, FixTheTypesOfTheirArguments)
{
    static_assert(std::is_same_v<decltype(QDLOG_FORMAT("none")), LineFormat<>>);
    static_assert(std::is_same_v<decltype(QDLOG_FORMAT("%d %s", 0, "")), LineFormat<int, const char*>>);
}

TEST_F(LineFormats, DoNotEvaluateTheirExamples)
{
    int count = 0;

    EXPECT_STREQ(QDLOG_FORMAT("count %d\n", ++count).text, "%s: %s(%d) > <%ld> count %d\n\n");
    EXPECT_EQ(count, 0);
}

TEST_F(LineFormats, AreLoggedForTheirPlace)
{
    qdinfo::LogLine(CallSite{"LineFormat_test.cpp", "Caller", 7}, QDLOG_DEBUG, QDLOG_FORMAT("%d %s", 0, ""), 5, "five");

    ASSERT_EQ(platform.log.size(), 1U);
    const srcwatch_test::LogLine& line = platform.log[0];
    EXPECT_EQ(line.id, 0);
    EXPECT_EQ(line.priority, QDLOG_DEBUG);
    EXPECT_EQ(line.tag, "qdinfo");
    EXPECT_EQ(line.format, "%s: %s(%d) > <%ld> %d %s\n");
    EXPECT_EQ(line.file, "LineFormat_test.cpp");
    EXPECT_EQ(line.function, "Caller");
    EXPECT_EQ(line.line, 7);
    EXPECT_EQ(line.message, "5 five");
}

}  // namespace
