// SPDX-License-Identifier: Apache-2.0
// Who may create, read and write the settings.
#include "SettingsTrouble.h"
#include "srcwatch-host.h"

#include <filesystem>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class SettingsAccess : public SettingsTrouble {};

TEST_F(SettingsAccess, CreatesMissingDirectoriesForAllToRead)
{
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("a/b/c"));
    EXPECT_TRUE(InProcess([] {
        umask(022);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
    }));

    for (const char* directory : {"a", "a/b", "a/b/c"})
        EXPECT_EQ(fs::status(Path(directory)).permissions(), fs::perms(0755)) << directory;
}

TEST_F(SettingsAccess, FailsWithOneLogLineWhereNoDirectoryCanBe)
{
    WriteFile(Path("file"), "in the way");
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("file/state"));
    EXPECT_TRUE(InProcess([] {
        for (int round = 0; round < 20; round++) {
            int read = kUntouched;
            EXPECT_LT(vconf_get_int("db/x", &read), 0);
            EXPECT_EQ(read, kUntouched);
        }
        EXPECT_EQ(vconf_set_int("memory/x", 1), 0);
    }));

    ASSERT_EQ(LogLines("").size(), 1u);
    EXPECT_NE(Log().find("cannot read settings in " + Path("file/state/settings.db")), std::string::npos) << Log();
    EXPECT_NE(Log().find("Not a directory"), std::string::npos) << Log();
}

TEST_F(SettingsAccess, NamesTheDirectoryThatCannotBeCreated)
{
    WriteFile(Path("file"), "in the way");
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("file/state"));
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("file/run"));
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(srcwatch_host_state_dir(), nullptr);
        EXPECT_EQ(srcwatch_host_run_dir(), nullptr);
    }));

    EXPECT_EQ(LogLines("cannot create the directory " + Path("file/state") + ": Not a directory").size(), 1u);
    EXPECT_EQ(LogLines("cannot create the directory " + Path("file/run") + ": Not a directory").size(), 1u);
}

TEST_F(SettingsAccess, WorksAsSoonAsTheDirectoryCanBeCreated)
{
    WriteFile(Path("state"), "in the way");
    EXPECT_TRUE(InProcess([this] {
        EXPECT_LT(vconf_set_int("db/x", 1), 0);
        fs::remove(StateDir());
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
}

class SettingsReadOnly : public SettingsTrouble {
protected:
    // All may read the database and only its owner may write it.
    void GivenReadOnlySettings()
    {
        GivenManySettings();
        ASSERT_TRUE(InProcess([] { vconf_set_int("db/x", 1); }));  // leaves a log beside the database
        ASSERT_TRUE(fs::exists(DurableDatabase() + "-wal"));
        MakeReadOnly();
    }

    void MakeReadOnly()
    {
        fs::permissions(Path(""), fs::perms(0755));
        WriteFile(Path("log"), "");
        fs::permissions(Path("log"), fs::perms(0666));
        SetModes(0555, 0444);
    }

    void SetModes(int directory, int file) const
    {
        for (const auto& entry : fs::directory_iterator(StateDir())) fs::permissions(entry.path(), fs::perms(file));
        fs::permissions(StateDir(), fs::perms(directory));
    }
    void TearDown() override { SetModes(0755, 0644); }

    static void ExpectReadableOnly()
    {
        BecomeNobody();
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 1);
        EXPECT_LT(vconf_set_int("db/x", 2), 0);
        EXPECT_LT(vconf_set_int("db/x", 2), 0);
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 1);
    }
};

TEST_F(SettingsReadOnly, AreReadAndNotWritten)
{
    GivenReadOnlySettings();

    EXPECT_TRUE(InProcess(ExpectReadableOnly));

    EXPECT_EQ(LogLines("").size(), 1u) << Log();
    EXPECT_EQ(LogLines("attempt to write a readonly database").size(), 1u) << Log();
}

TEST_F(SettingsReadOnly, AreReadWithoutTheDatabasesCompanions)
{
    GivenManySettings();
    ASSERT_FALSE(fs::exists(DurableDatabase() + "-wal"));
    fs::remove(DurableDatabase() + ".lock");
    MakeReadOnly();

    EXPECT_TRUE(InProcess(ExpectReadableOnly));
    EXPECT_EQ(LogLines("").size(), 1u) << Log();
}

TEST_F(SettingsReadOnly, AreSeenToChangeByAReaderThatMayNotWrite)
{
    GivenManySettings();
    MakeReadOnly();
    Process reader = Start([this] {
        BecomeNobody();
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 1);
        WriteFile(Path("log"), "has read");
        EXPECT_TRUE(Eventually([&read] { return vconf_get_int("db/x", &read) == 0 && read == 2; }));
    });
    ASSERT_TRUE(Eventually([this] { return Log() == "has read"; }));
    SetModes(0755, 0644);
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 2), 0); }));
    EXPECT_TRUE(reader.Succeeds());
}

TEST_F(SettingsReadOnly, DamageIsReportedOnceAndLeftWhereItIs)
{
    GivenManySettings();
    Scribble(0, std::string(100, 'h'));
    MakeReadOnly();

    EXPECT_TRUE(InProcess([] {
        BecomeNobody();
        for (int round = 0; round < 20; round++) {
            int read = kUntouched;
            EXPECT_LT(vconf_get_int("db/x", &read), 0);
        }
    }));
    EXPECT_EQ(LogLines("").size(), 1u) << Log();
    EXPECT_EQ(LogLines("file is not a database").size(), 1u) << Log();
    EXPECT_TRUE(DamagedFiles().empty());
}

// Root's processes, such as a tool that runs before the service first does, in places that belong to others.
class SettingsOfRoot : public SettingsTrouble {
protected:
    static constexpr gid_t kGroup = 54321;

    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "only root can create files for others";
        fs::permissions(Path(""), fs::perms(0755));
        WriteFile(Path("log"), "");
        fs::permissions(Path("log"), fs::perms(0666));
    }

    static void GivenDirectory(const std::string& path, uid_t owner, gid_t group, mode_t mode)
    {
        fs::create_directory(path);
        ASSERT_EQ(chown(path.c_str(), owner, group), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }

    static void WriteAsRoot()
    {
        umask(077);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        EXPECT_EQ(vconf_set_int("memory/x", 1), 0);
    }

    static void WriteAsNobody()
    {
        BecomeNobody();
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
        EXPECT_EQ(vconf_set_int("memory/x", 2), 0);
    }

    static void ExpectOwner(const std::string& path, uid_t owner, gid_t group)
    {
        struct stat status = {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        EXPECT_EQ(status.st_uid, owner) << path;
        EXPECT_EQ(status.st_gid, group) << path;
    }
};

TEST_F(SettingsOfRoot, BelongToTheDirectorysOwner)
{
    for (const std::string& directory : {StateDir(), RunDir()}) GivenDirectory(directory, kNobody, kGroup, 0755);

    EXPECT_TRUE(InProcess(WriteAsRoot));
    EXPECT_TRUE(InProcess(WriteAsNobody)) << Log();

    for (const std::string& directory : {StateDir(), RunDir()}) {
        EXPECT_EQ(FilesIn(directory, "").size(), 5U);
        for (const auto& entry : fs::directory_iterator(directory)) ExpectOwner(entry.path(), kNobody, kGroup);
    }
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsOfRoot, BelongToTheDirectorysGroup)
{
    for (const std::string& directory : {StateDir(), RunDir()}) GivenDirectory(directory, 0, kGroup, 0770);

    EXPECT_TRUE(InProcess(WriteAsRoot));
    EXPECT_TRUE(InProcess([] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(kGroup, kGroup, kGroup), 0);
        WriteAsNobody();
    })) << Log();
}

TEST_F(SettingsOfRoot, LieInDirectoriesOfTheParentsOwner)
{
    GivenDirectory(Path("home"), kNobody, kGroup, 0755);
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("home/a/state/"));
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("home/run"));

    EXPECT_TRUE(InProcess(WriteAsRoot));
    EXPECT_TRUE(InProcess(WriteAsNobody)) << Log();

    for (const char* directory : {"home/a", "home/a/state", "home/run"}) ExpectOwner(Path(directory), kNobody, kGroup);
    ExpectOwner(Path("home/a/state/settings.db"), kNobody, kGroup);
}

TEST_F(SettingsOfRoot, StayRootsInFilesThatWereThere)
{
    for (const std::string& directory : {StateDir(), RunDir()}) GivenDirectory(directory, kNobody, kGroup, 0755);
    for (const char* suffix : {".changed", ".lock"}) {
        WriteFile(DurableDatabase() + suffix, "");
        ASSERT_EQ(chmod((DurableDatabase() + suffix).c_str(), 0600), 0);
    }

    EXPECT_TRUE(InProcess(WriteAsRoot));

    for (const char* suffix : {".changed", ".lock"}) ExpectOwner(DurableDatabase() + suffix, 0, 0);
}

}  // namespace
