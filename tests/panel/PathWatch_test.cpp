// SPDX-License-Identifier: Apache-2.0
#include "PathWatch.h"

#include "TempDirectory.h"
#include "Waiting.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace {

using panel::PathWatch;
using srcwatch_test::RunUntil;
using srcwatch_test::WriteFile;
namespace fs = std::filesystem;

class PathWatchTest : public testing::Test {
protected:
    // Returns true once there was a change since the last one that was waited for.
    bool WaitForChange()
    {
        const bool isChanged = RunUntil([&] { return m_changes > 0; });
        m_changes = 0;
        return isChanged;
    }
    void HandleAll()
    {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }

    const srcwatch_test::TempDirectory m_place;
    const std::string m_directory = m_place / "directory";
    int m_changes = 0;
    const std::function<void()> m_onChange = [this] { ++m_changes; };
};

TEST_F(PathWatchTest, FollowsTheEntriesOfADirectory)
{
    fs::create_directory(m_directory);
    const PathWatch watch(m_directory, m_onChange);

    fs::create_symlink("/one", m_directory + "/link");
    EXPECT_TRUE(WaitForChange());
    fs::remove(m_directory + "/link");
    EXPECT_TRUE(WaitForChange());
}

TEST_F(PathWatchTest, FollowsOneEntryAlone)
{
    fs::create_directory(m_directory);
    const PathWatch watch(m_directory, m_onChange, "file");

    WriteFile(m_directory + "/other", "a");
    HandleAll();
    EXPECT_EQ(m_changes, 0);

    WriteFile(m_directory + "/file", "a");
    EXPECT_TRUE(WaitForChange());
}

TEST_F(PathWatchTest, FollowsADirectoryThatComesLater)
{
    const PathWatch watch(m_directory, m_onChange);
    fs::create_directory(m_directory);
    EXPECT_TRUE(WaitForChange());

    WriteFile(m_directory + "/file", "a");
    EXPECT_TRUE(WaitForChange());
}

TEST_F(PathWatchTest, FollowsADirectoryThatTakesThePlaceOfAnother)
{
    fs::create_directory(m_directory);
    const PathWatch watch(m_directory, m_onChange);
    fs::rename(m_directory, m_place / "before");
    EXPECT_TRUE(WaitForChange());
    HandleAll();
    fs::create_directory(m_directory);
    m_changes = 0;
    EXPECT_TRUE(WaitForChange());

    WriteFile(m_directory + "/file", "a");
    EXPECT_TRUE(WaitForChange());
}

}  // namespace
