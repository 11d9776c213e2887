// SPDX-License-Identifier: Apache-2.0
// The settings store on a full disk, and after its files were removed or replaced.
#include "SettingsTrouble.h"

#include <csignal>
#include <filesystem>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;

TEST_F(SettingsTrouble, KeepsTheOldValueWhenTheDatabaseMayNotGrow)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([] {
        signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(vconf_set_str("db/text", "old"), 0);
        const rlimit tight = {65536, RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
        EXPECT_LT(vconf_set_str("db/text", std::string(300000, 'n').c_str()), 0);
        EXPECT_EQ(TextOf("db/text"), "old");

        const rlimit wide = {RLIM_INFINITY, RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &wide), 0);
        EXPECT_EQ(vconf_set_str("db/text", "new"), 0);
        EXPECT_EQ(TextOf("db/text"), "new");
    }));
    EXPECT_EQ(LogLines("").size(), 1u) << Log();
    EXPECT_TRUE(DamagedFiles().empty());
}

// The disposition, the mask and what is pending are the host program's.
void ExpectSignalUntouched()
{
    struct sigaction action = {};
    sigset_t set;
    ASSERT_EQ(sigaction(SIGXFSZ, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &set), 0);
    EXPECT_EQ(sigismember(&set, SIGXFSZ), 0);
    ASSERT_EQ(sigpending(&set), 0);
    EXPECT_EQ(sigismember(&set, SIGXFSZ), 0);
}

class SettingsFileLimit : public SettingsTrouble, public testing::WithParamInterface<rlim_t> {};

INSTANTIATE_TEST_SUITE_P(Of, SettingsFileLimit, testing::Values(0, 1, 100, 4096, 20000, 40000),
                         [](const auto& limit) { return std::to_string(limit.param); });

TEST_P(SettingsFileLimit, EndsNoProcessThatReadsOrWrites)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([] {
        const rlimit tight = {GetParam(), RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
        int read = kUntouched;
        static_cast<void>(vconf_get_int("db/x", &read));
        EXPECT_LT(vconf_set_str("db/text", std::string(300000, 'n').c_str()), 0);
        EXPECT_LT(vconf_set_str("memory/text", std::string(300000, 'n').c_str()), 0);
        ExpectSignalUntouched();

        const rlimit wide = {RLIM_INFINITY, RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &wide), 0);
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 1);
        EXPECT_EQ(vconf_set_str("db/text", "new"), 0);
    }));
    EXPECT_TRUE(DamagedFiles().empty());
}

TEST_F(SettingsTrouble, KeepsTheOldValueWhenTheDiskIsFull)
{
    fs::create_directories(StateDir());
    EXPECT_TRUE(InProcess([this] {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", StateDir().c_str(), "tmpfs", 0, "size=2m") != 0)
            return;  // not possible here; the limit on the file's size above shows the same
        EXPECT_EQ(vconf_set_str("db/text", "old"), 0);
        WriteFile(StateDir() + "/filler", std::string(4000000, 'f'));
        bool hasFailed = false;
        for (std::size_t length = 1000; length < 200000; length += 10000) {
            const std::string text(length, 'n');
            const std::string before = TextOf("db/text");
            const bool isWritten = vconf_set_str("db/text", text.c_str()) == 0;
            hasFailed = hasFailed || !isWritten;
            EXPECT_EQ(TextOf("db/text"), isWritten ? text : before);
        }
        EXPECT_TRUE(hasFailed);

        fs::remove(StateDir() + "/filler");
        EXPECT_EQ(vconf_set_str("db/text", "new"), 0);
        EXPECT_EQ(TextOf("db/text"), "new");
        EXPECT_TRUE(DamagedFiles().empty());
        EXPECT_EQ(LogLines("disk is full").size(), LogLines("").size()) << Log();
        EXPECT_GE(LogLines("disk is full").size(), 1u);
        EXPECT_EQ(umount2(StateDir().c_str(), MNT_DETACH), 0);
    }));
}

TEST_F(SettingsTrouble, BeginsOnADiskThatWasFullAtFirst)
{
    fs::create_directories(StateDir());
    EXPECT_TRUE(InProcess([this] {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", StateDir().c_str(), "tmpfs", 0, "size=1m") != 0)
            return;  // not possible here
        WriteFile(StateDir() + "/filler", std::string(2000000, 'f'));
        EXPECT_LT(vconf_set_int("db/x", 1), 0);
        EXPECT_LT(vconf_set_int("db/x", 1), 0);

        fs::remove(StateDir() + "/filler");
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        EXPECT_TRUE(DamagedFiles().empty());
        EXPECT_EQ(umount2(StateDir().c_str(), MNT_DETACH), 0);
    }));
}

class SettingsRemoval : public SettingsTrouble, public testing::WithParamInterface<const char*> {
protected:
    void Remove() const
    {
        const std::string what = GetParam();
        if (what == "Directory") fs::remove_all(StateDir());
        if (what == "Database" || what == "AllFiles") fs::remove(DurableDatabase());
        if (what == "AllFiles") {
            fs::remove(DurableDatabase() + "-wal");
            fs::remove(DurableDatabase() + "-shm");
        }
        if (what == "Renamed") fs::rename(DurableDatabase(), DurableDatabase() + ".old");
        if (what == "RenamedDirectory") fs::rename(StateDir(), StateDir() + ".old");
    }
};

INSTANTIATE_TEST_SUITE_P(Of, SettingsRemoval,
                         testing::Values("Database", "AllFiles", "Directory", "Renamed", "RenamedDirectory"),
                         [](const auto& what) { return what.param; });

TEST_P(SettingsRemoval, LosesNoWriteThatComesAfterIt)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([this] {
        for (int round = 0; round < 3; round++) EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        Remove();
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 2);
    }));
}

TEST_P(SettingsRemoval, IsNoticedByAReader)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([this] {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        Remove();
        Process writer = Start([] { EXPECT_EQ(vconf_set_int("db/x", 2), 0); });
        EXPECT_TRUE(writer.Succeeds());
        EXPECT_TRUE(Eventually([&read] { return vconf_get_int("db/x", &read) == 0 && read == 2; }));
    }));
}

TEST_F(SettingsTrouble, NoticesADatabaseThatReplacesItsOwn)
{
    GivenManySettings();
    Sql(DurableDatabase(), "VACUUM INTO '" + Path("other.db") + "'");
    Sql(Path("other.db"), "UPDATE settings SET value = 77 WHERE key = 'db/x'");
    EXPECT_TRUE(InProcess([this] {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        fs::rename(Path("other.db"), DurableDatabase());
        fs::remove(DurableDatabase() + "-wal");
        fs::remove(DurableDatabase() + "-shm");
        EXPECT_TRUE(Eventually([&read] { return vconf_get_int("db/x", &read) == 0 && read == 77; }));
    }));
}

}  // namespace
