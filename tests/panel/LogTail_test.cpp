// SPDX-License-Identifier: Apache-2.0
#include "LogTail.h"

#include "TempDirectory.h"
#include "Waiting.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace {

using panel::DescribeLogLine;
using panel::LogTail;
using panel::State;

TEST(PanelLogLine, HasThePriorityOfItsLetter)
{
    EXPECT_EQ(DescribeLogLine("2026-01-31T12:00:00.000Z W tag 1 text")["priority"], "W");
    EXPECT_EQ(DescribeLogLine("2026-01-31T12:00:00.000Z W tag 1 text")["text"],
              "2026-01-31T12:00:00.000Z W tag 1 text");
    for (const char* const line : {"", " ", "  ", "a W", "one two three", "a X b"}) {
        EXPECT_EQ(DescribeLogLine(line)["priority"], "") << line;
    }
}

TEST(PanelLogLine, IsCutWhenItIsLong)
{
    EXPECT_EQ(DescribeLogLine(std::string(5000, 'x'))["text"].asString().size(), 2048U);
}

class PanelLogTail : public testing::Test {
protected:
    void Write(const std::string& text) { std::ofstream(m_path, std::ios::app) << text; }
    Json::Value Lines() const { return m_state.Snapshot()["log"]; }
    bool WaitForLines(Json::ArrayIndex count)
    {
        return srcwatch_test::RunUntil([&] { return Lines().size() == count; });
    }

    srcwatch_test::TempDirectory m_directory;
    const std::string m_path = m_directory / "log";
    State m_state;
    int m_changes = 0;
};

TEST_F(PanelLogTail, ShowsWhatIsThereAndWhatIsAdded)
{
    Write("a\nb\nhal");
    const LogTail tail(m_path, m_state, [&] { ++m_changes; });
    ASSERT_EQ(Lines().size(), 2U);

    Write("f\nc\n");

    ASSERT_TRUE(WaitForLines(4));
    EXPECT_EQ(Lines()[2]["text"], "half");
    EXPECT_GE(m_changes, 2);
}

TEST_F(PanelLogTail, WaitsForAFileThatIsNotThere)
{
    const LogTail tail(m_path, m_state, [] {});

    Write("a\n");

    EXPECT_TRUE(WaitForLines(1));
}

TEST_F(PanelLogTail, GoesOnWithTheFileThatTakesItsPlace)
{
    Write("a\nb\nc\n");
    const LogTail tail(m_path, m_state, [] {});

    std::filesystem::rename(m_path, m_path + ".1");
    Write("d\n");

    ASSERT_TRUE(WaitForLines(4));
    EXPECT_EQ(Lines()[3]["text"], "d");
}

TEST_F(PanelLogTail, BeginsAgainWithAFileThatWasCut)
{
    Write("a\nb\nc\n");
    const LogTail tail(m_path, m_state, [] {});

    std::ofstream(m_path, std::ios::trunc) << "d\n";

    ASSERT_TRUE(WaitForLines(4));
}

TEST_F(PanelLogTail, ReadsTheEndOfALongFile)
{
    for (int i = 0; i < 100; ++i) Write(std::string(9999, 'x') + "\n");

    const LogTail tail(m_path, m_state, [] {});

    EXPECT_LE(Lines().size(), 27U);
    EXPECT_GE(Lines().size(), 26U);
}

}  // namespace
