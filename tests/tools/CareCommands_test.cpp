// SPDX-License-Identifier: Apache-2.0
//
// settings check, repair, backup, restore.
#include "BusOnlyService.h"
#include "ToolTest.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class CareCommands : public ToolTest {
protected:
    /// Overwrites a page in the middle of the database.
    void DamageDatabase() const
    {
        std::fstream file(Path("state/settings.db"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        file << std::string(4096, '\0');
    }
};

TEST_F(CareCommands, RestoreWhatWasBackedUp)
{
    const std::string backup = Path("backup");
    Set("db/key", "before");
    EXPECT_EQ(Document({"settings", "backup", backup}, "settings backup")["file"], backup);
    Set("db/key", "after");
    Set("db/other", "after");

    EXPECT_EQ(Document({"settings", "restore", backup}, "settings restore")["file"], backup);

    EXPECT_EQ(Get("db/key"), "before");
    EXPECT_NE(Run({"settings", "get", "db/other"}).code, 0);
}

TEST_F(CareCommands, RestoreNothingBehindARunningService)
{
    const std::string backup = Path("backup");
    Set("db/key", "before");
    ASSERT_EQ(Run({"settings", "backup", backup}).code, 0);
    Set("db/key", "after");
    const BusOnlyService service;

    EXPECT_TRUE(Fails(Run({"settings", "restore", backup}), 1, "the detection service runs"));
    EXPECT_EQ(Get("db/key"), "after");
}

TEST_F(CareCommands, SayWhyAFileCannotBeRestoredOrWritten)
{
    Set("db/key", "value");
    std::ofstream(Path("text")) << "this is no database";

    EXPECT_TRUE(Fails(Run({"settings", "restore", Path("text")}), 1, "not a backup of settings"));
    EXPECT_TRUE(Fails(Run({"settings", "restore", Path("absent")}), 1, "No such file"));
    EXPECT_TRUE(Fails(Run({"settings", "backup", Path("absent/file")}), 1, "No such file"));
    EXPECT_EQ(Get("db/key"), "value");
}

TEST_F(CareCommands, CheckAndRepairADamagedStore)
{
    Set("db/key", "value");
    EXPECT_EQ(Document({"settings", "check"}, "settings check")["repaired"], false);
    EXPECT_EQ(Document({"settings", "repair"}, "settings repair")["repaired"], false);
    ASSERT_EQ(Run({"settings", "backup", Path("state/settings.db")}).code, 0);  // with nothing left in the log
    std::filesystem::remove(Path("state/settings.db-wal"));
    DamageDatabase();

    EXPECT_TRUE(Fails(Run({"settings", "check"}), 1, "the settings are damaged"));
    EXPECT_EQ(Document({"settings", "repair"}, "settings repair")["repaired"], true);
    EXPECT_THAT(Run({"settings", "check"}).out, HasSubstr("the settings are sound"));
    EXPECT_EQ(Get("db/key"), "value");
}

}  // namespace
