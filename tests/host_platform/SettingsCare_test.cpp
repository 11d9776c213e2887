// SPDX-License-Identifier: Apache-2.0
// Checking, backing up and restoring the settings.
#include "SettingsTrouble.h"
#include "SettingsWatch.h"
#include "srcwatch-host.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class SettingsCare : public SettingsTrouble {
protected:
    std::string Backup() const { return Path("backup.db"); }

    void GivenBackup()
    {
        ASSERT_TRUE(InProcess([this] {
            EXPECT_EQ(vconf_set_int("db/same", 1), 0);
            EXPECT_EQ(vconf_set_int("db/changed", 1), 0);
            EXPECT_EQ(vconf_set_str("db/removed", "text"), 0);
            EXPECT_EQ(vconf_set_str("db/long", std::string(20000, 'l').c_str()), 0);
            EXPECT_EQ(srcwatch_host_back_up_settings(Backup().c_str()), 0);
            EXPECT_EQ(vconf_set_str("db/changed", "later"), 0);
            EXPECT_EQ(srcwatch_host_unset("db/removed"), 0);
            EXPECT_EQ(vconf_set_int("db/new", 1), 0);
        }));
    }

    static void ExpectBackedUp()
    {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/changed", &read), 0);
        EXPECT_EQ(read, 1);
        EXPECT_EQ(TextOf("db/removed"), "text");
        EXPECT_TRUE(TextOf("db/long") == std::string(20000, 'l'));
        EXPECT_EQ(vconf_get_int("db/new", &read), -ENOENT);
    }

    // Returns what a process gets that restores this file, and expects the settings of later to be unchanged.
    void ExpectRefused(const std::string& file, int error)
    {
        EXPECT_TRUE(InProcess([&] {
            EXPECT_EQ(srcwatch_host_restore_settings(file.c_str()), error);
            EXPECT_EQ(TextOf("db/changed"), "later");
            int read = kUntouched;
            EXPECT_EQ(vconf_get_int("db/new", &read), 0);
        })) << file;
    }
};

TEST_F(SettingsCare, RestoresABackup)
{
    GivenBackup();
    EXPECT_EQ(FilesIn(Path(""), "backup.db").size(), 1U);  // one file, with all in it

    EXPECT_TRUE(InProcess([this] {
        EXPECT_EQ(srcwatch_host_restore_settings(Backup().c_str()), 0);
        ExpectBackedUp();
    })) << Log();
    EXPECT_TRUE(InProcess(ExpectBackedUp));
}

TEST_F(SettingsCare, TellsWatchersOfEveryDifference)
{
    GivenBackup();
    EXPECT_TRUE(InProcess([this] {
        const Listener listener(nullptr);
        EXPECT_EQ(srcwatch_host_restore_settings(Backup().c_str()), 0);
        EXPECT_EQ(HeardBy(listener, 3), (Heard{"db/new removed", "db/changed=1", "db/removed='text'"}));
    }));
}

TEST_F(SettingsCare, CopiesWhatIsSoundBeforeARepair)
{
    ASSERT_TRUE(InProcess([] {
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        EXPECT_EQ(vconf_set_int("memory/x", 1), 0);
    }));
    Sql(VolatileDatabase(),
        "WITH RECURSIVE number(n) AS (VALUES(0) UNION ALL SELECT n + 1 FROM number WHERE n < 49)"
        "INSERT INTO settings SELECT 'memory/many/' || n, printf('%.*c', 900, 'm') FROM number");
    std::string content = ReadFile(VolatileDatabase());
    content.replace(content.size() - 8192, 4096, 4096, 'x');
    WriteFile(VolatileDatabase(), content);
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_repair_settings(), 0); })) << Log();
    EXPECT_EQ(LogLines("is damaged").size(), 1U) << Log();

    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
        EXPECT_EQ(srcwatch_host_restore_settings(srcwatch_host_copy_path()), 0);
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 1);
    })) << Log();
}

TEST_F(SettingsCare, KeepsTheCopyAndTheFilesOfADamagedStore)
{
    GivenManySettings();
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_back_up_settings(srcwatch_host_copy_path()), 0); }));
    const std::string copy = ReadFile(DurableDatabase() + ".copy");
    Scribble(4096, std::string(4096, 'x'));
    const std::string damaged = ReadFile(DurableDatabase());

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_repair_settings(), 0); })) << Log();

    EXPECT_TRUE(ReadFile(DurableDatabase() + ".copy") == copy);
    ASSERT_EQ(DamagedFiles().size(), 1U);
    EXPECT_TRUE(ReadFile(Path("state/" + DamagedFiles()[0])) == damaged);
}

TEST_F(SettingsCare, RefusesWhatIsNoSoundBackup)
{
    GivenBackup();
    WriteFile(Path("text"), "this is no database\n");
    Sql(Path("foreign.db"), "CREATE TABLE settings(key, value)");
    fs::copy(Backup(), Path("newer.db"));
    Sql(Path("newer.db"), "PRAGMA user_version=2");
    std::string content = ReadFile(Backup());
    content.replace(4096, 4096, 4096, '\0');
    WriteFile(Path("damaged.db"), content);
    fs::create_directory(Path("directory"));

    ExpectRefused(Path("absent"), -ENOENT);
    ExpectRefused(Path("text"), -EINVAL);
    ExpectRefused(Path("foreign.db"), -EINVAL);
    ExpectRefused(Path("newer.db"), -ENOTSUP);
    ExpectRefused(Path("damaged.db"), -EUCLEAN);
    ExpectRefused(Path("directory"), -EIO);
}

TEST_F(SettingsCare, BacksUpToAFileOfItsOwnOrNotAtAll)
{
    GivenBackup();
    WriteFile(Path("victim"), "victim");
    fs::create_symlink(Path("victim"), Path("link"));
    fs::create_directory(Path("directory"));
    EXPECT_TRUE(InProcess([this] {
        EXPECT_EQ(srcwatch_host_back_up_settings(Path("link").c_str()), 0);
        EXPECT_EQ(srcwatch_host_back_up_settings(Path("directory").c_str()), -EISDIR);
        EXPECT_EQ(srcwatch_host_back_up_settings(Path("absent/backup").c_str()), -ENOENT);
        EXPECT_EQ(srcwatch_host_back_up_settings(nullptr), -EINVAL);
    }));
    EXPECT_EQ(ReadFile(Path("victim")), "victim");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Path("link"))));
    EXPECT_TRUE(FilesIn(Path(""), ".new").empty());
}

TEST_F(SettingsCare, FindsDamageWithoutAChange)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_check_settings(), 0); }));
    Scribble(20 * std::size_t{4096}, std::string(4096, '\x0a'));

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_check_settings(), -EUCLEAN); }));
    EXPECT_TRUE(DamagedFiles().empty());

    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(srcwatch_host_repair_settings(), 0);
        EXPECT_EQ(srcwatch_host_check_settings(), 0);
    }));
    EXPECT_EQ(DamagedFiles().size(), 1U);
}

// A zero byte ends a text for its readers, so no one has written it.
TEST_F(SettingsCare, FindsATextWithAZeroByte)
{
    GivenManySettings();
    Sql(DurableDatabase(), "UPDATE settings SET value = 'a' || char(0) || 'b' WHERE key = 'db/many/7'");

    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(srcwatch_host_check_settings(), -EUCLEAN);
        EXPECT_EQ(srcwatch_host_repair_settings(), 0);
        EXPECT_EQ(TextOf("db/many/7"), "(none)");
        EXPECT_TRUE(TextOf("db/many/8") == std::string(3000, 'm'));
    }));
}

}  // namespace
