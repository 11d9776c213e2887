// SPDX-License-Identifier: Apache-2.0
// The settings store in bad circumstances: no directory, locked, damaged, full, read-only, deleted.
#include "HostTest.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr int kUntouched = 4711;
constexpr uid_t kNobody = 65534;

class SettingsTrouble : public HostTest {
protected:
    // A database of many pages whose log has been written back, as after a clean boot.
    void GivenManySettings()
    {
        ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));
        Sql(DurableDatabase(),
            "WITH RECURSIVE number(n) AS (VALUES(0) UNION ALL SELECT n + 1 FROM number WHERE n < 49)"
            "INSERT INTO settings SELECT 'db/many/' || n, printf('%.*c', 3000, 'm') FROM number");
        ASSERT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings"), "51");
    }

    // Overwrites a part of the database.
    void Scribble(size_t offset, const std::string& bytes) const
    {
        std::string content = ReadFile(DurableDatabase());
        content.replace(offset, bytes.size(), bytes);
        WriteFile(DurableDatabase(), content);
    }

    std::vector<std::string> DamagedFiles() const
    {
        std::vector<std::string> names;
        for (const std::string& name : FilesIn(StateDir(), ".damaged-"))
            if (name.find("-wal") == std::string::npos && name.find("-shm") == std::string::npos) names.push_back(name);
        return names;
    }
};

// Goes on as a user without any special right, as in most programs; root could write anywhere.
void BecomeNobody()
{
    if (geteuid() != 0) return;
    ASSERT_EQ(setresuid(kNobody, kNobody, kNobody), 0);
}

TEST_F(SettingsTrouble, CreatesMissingDirectoriesForAllToRead)
{
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("a/b/c"));
    EXPECT_TRUE(InProcess([] {
        umask(022);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
    }));

    for (const char* directory : {"a", "a/b", "a/b/c"})
        EXPECT_EQ(fs::status(Path(directory)).permissions(), fs::perms(0755)) << directory;
}

TEST_F(SettingsTrouble, FailsWithOneLogLineWhereNoDirectoryCanBe)
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

TEST_F(SettingsTrouble, NamesTheDirectoryThatCannotBeCreated)
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

TEST_F(SettingsTrouble, WorksAsSoonAsTheDirectoryCanBeCreated)
{
    WriteFile(Path("state"), "in the way");
    EXPECT_TRUE(InProcess([this] {
        EXPECT_LT(vconf_set_int("db/x", 1), 0);
        fs::remove(StateDir());
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
}

TEST_F(SettingsTrouble, FailsAWriteAfterASecondWhileAnotherProcessHoldsTheDatabase)
{
    GivenManySettings();
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));
    EXPECT_TRUE(InProcess([&] {
        const auto waited = TimeOf([] { EXPECT_LT(vconf_set_int("db/x", 2), 0); });
        EXPECT_GE(waited, 900ms);
        EXPECT_LE(waited, 1900ms);

        int read = kUntouched;
        EXPECT_LE(TimeOf([&read] { EXPECT_EQ(vconf_get_int("db/x", &read), 0); }), 500ms);
        EXPECT_EQ(read, 1);
    }));
    ASSERT_EQ(LogLines("").size(), 1u) << Log();
    EXPECT_NE(Log().find("cannot write settings in " + DurableDatabase() + ": database is locked"), std::string::npos);

    ASSERT_TRUE(intruder.Run("ROLLBACK"));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); }));
}

TEST_F(SettingsTrouble, WaitsForAProcessThatHoldsTheDatabaseForAMoment)
{
    GivenManySettings();
    StartSignal locked;
    Process holder = Start([&] {
        Intruder intruder(DurableDatabase());
        EXPECT_TRUE(intruder.Run("BEGIN IMMEDIATE"));
        WriteFile(Path("is-locked"), "");
        std::this_thread::sleep_for(300ms);  // the moment
        EXPECT_TRUE(intruder.Run("COMMIT"));
    });
    ASSERT_TRUE(Eventually([this] { return fs::exists(Path("is-locked")); }));

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 2), 0); }));
    EXPECT_TRUE(holder.EndsWell());
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsTrouble, WaitsNoLongerWhenManyThreadsWaitForTheSameLock)
{
    GivenManySettings();
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));
    EXPECT_TRUE(InProcess([] {
        const auto write = [] { EXPECT_LE(TimeOf([] { EXPECT_LT(vconf_set_int("db/x", 2), 0); }), 1900ms); };
        std::vector<std::thread> threads;
        for (int index = 0; index < 6; index++) threads.emplace_back(write);
        for (std::thread& thread : threads) thread.join();
    }));
}

TEST_F(SettingsTrouble, FailsAReadAfterASecondWhileAnotherProcessHasTheDatabaseForItself)
{
    GivenManySettings();
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE settings SET value=2"));
    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        const auto waited = TimeOf([&read] { EXPECT_LT(vconf_get_int("db/x", &read), 0); });
        EXPECT_EQ(read, kUntouched);
        EXPECT_GE(waited, 900ms);
        EXPECT_LE(waited, 1900ms);
    }));
}

TEST_F(SettingsTrouble, FailsAfterASecondWhileAnotherProcessKeepsTheLockFile)
{
    GivenManySettings();
    const int fd = open((DurableDatabase() + ".lock").c_str(), O_RDONLY);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    EXPECT_TRUE(InProcess([] {
        const auto waited = TimeOf([] { EXPECT_LT(vconf_set_int("db/x", 2), 0); });
        EXPECT_GE(waited, 900ms);
        EXPECT_LE(waited, 1900ms);
    }));
    close(fd);
}

struct Damage {
    const char* name;
    void (*inflict)(std::string* content);
};

void Overwrite(std::string* content, size_t from, size_t length)
{
    for (size_t at = from; at < from + length && at < content->size(); at++)
        (*content)[at] = static_cast<char>(at * 37 + 11);
}

constexpr size_t kPage = 4096;

const Damage kDamages[] = {
    {"TextInsteadOfADatabase", [](std::string* content) { *content = "this is no database\n"; }},
    {"GarbageInsteadOfADatabase", [](std::string* content) { Overwrite(content, 0, content->size()); }},
    {"GarbageHeader", [](std::string* content) { Overwrite(content, 0, 100); }},
    {"GarbageInTheFirstPageAfterTheHeader", [](std::string* content) { Overwrite(content, 100, kPage - 100); }},
    {"GarbageSecondPage", [](std::string* content) { Overwrite(content, kPage, kPage); }},
    {"ZeroedTables", [](std::string* content) { content->replace(kPage, 3 * kPage, 3 * kPage, '\0'); }},
    {"TruncatedToAFewBytes", [](std::string* content) { content->resize(50); }},
    {"TruncatedToTheHeader", [](std::string* content) { content->resize(100); }},
    {"TruncatedToOnePage", [](std::string* content) { content->resize(kPage); }},
    {"TruncatedWithinAPage", [](std::string* content) { content->resize(5 * kPage + 77); }},
    {"TruncatedToHalf", [](std::string* content) { content->resize(content->size() / 2 / kPage * kPage); }},
};

class SettingsDamage : public SettingsTrouble, public testing::WithParamInterface<Damage> {};

INSTANTIATE_TEST_SUITE_P(Kind, SettingsDamage, testing::ValuesIn(kDamages),
                         [](const auto& damage) { return damage.param.name; });

TEST_P(SettingsDamage, IsMovedAsideWithOneLogLineAndANewDatabaseBegins)
{
    GivenManySettings();
    std::string content = ReadFile(DurableDatabase());
    GetParam().inflict(&content);
    WriteFile(DurableDatabase(), content);
    fs::remove(DurableDatabase() + "-shm");

    EXPECT_TRUE(InProcess([] {
        for (int index = 0; index < 50; index++) (void)TextOf(("db/many/" + std::to_string(index)).c_str());
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
        EXPECT_EQ(vconf_set_str("db/text", "new"), 0);
    }));
    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 2);
        EXPECT_EQ(TextOf("db/text"), "new");
    }));

    const std::vector<std::string> damaged = DamagedFiles();
    ASSERT_EQ(damaged.size(), 1u);
    EXPECT_TRUE(ReadFile(StateDir() + '/' + damaged[0]) == content) << "the damaged file is not kept as it was";
    ASSERT_EQ(LogLines("").size(), 1u) << Log();
    EXPECT_NE(Log().find(DurableDatabase() + " is damaged"), std::string::npos) << Log();
    EXPECT_NE(Log().find(damaged[0]), std::string::npos) << Log();
    EXPECT_EQ(Sql(DurableDatabase(), "PRAGMA integrity_check"), "ok");
}

TEST_P(SettingsDamage, IsSurvivedByAProcessThatHasTheDatabaseOpen)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([this] {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        std::string content = ReadFile(DurableDatabase());
        GetParam().inflict(&content);
        WriteFile(DurableDatabase(), content);

        for (int round = 0; round < 60; round++) {
            (void)TextOf(("db/many/" + std::to_string(round % 50)).c_str());
            (void)vconf_set_str("db/y", std::string(static_cast<size_t>(round) * 200, 'y').c_str());
        }
        EXPECT_TRUE(Eventually([] { return vconf_set_int("db/x", 2) == 0; }));
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 2);
    }));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); }));
}

TEST_P(SettingsDamage, IsMovedAsideOnceWhenEightProcessesFindItAtOnce)
{
    GivenManySettings();
    std::string content = ReadFile(DurableDatabase());
    GetParam().inflict(&content);
    WriteFile(DurableDatabase(), content);
    StartSignal start;
    std::vector<Process> finders;
    for (int finder = 0; finder < 8; finder++) {
        finders.push_back(Start([&start, finder] {
            const std::string key = "db/finder/" + std::to_string(finder);
            start.Await();
            for (int value = 0; value < 20; value++) {
                EXPECT_TRUE(WriteNumber(key, value));
                EXPECT_TRUE(HasNumber(key, value));
                (void)TextOf("db/many/30");
            }
        }));
    }
    start.Give();
    for (Process& finder : finders) EXPECT_TRUE(finder.EndsWell());

    EXPECT_EQ(DamagedFiles().size(), 1u);
    EXPECT_EQ(LogLines("is damaged").size(), 1u) << Log();
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings WHERE key LIKE 'db/finder/%' AND value = 19"), "8");
}

TEST_F(SettingsTrouble, MovesAsideADatabaseOfAnotherProgram)
{
    fs::create_directories(StateDir());
    Sql(DurableDatabase(), "CREATE TABLE settings(key, value); INSERT INTO settings VALUES('db/x', 9)");

    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        EXPECT_LT(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
    }));

    ASSERT_EQ(DamagedFiles().size(), 1u);
    EXPECT_EQ(Sql(StateDir() + '/' + DamagedFiles()[0], "SELECT value FROM settings"), "9");
}

TEST_F(SettingsTrouble, MovesAsideADatabaseWithoutItsTables)
{
    for (const char* damage : {"DROP TABLE settings", "DROP TABLE store", "DELETE FROM store", "DROP TABLE changes"}) {
        GivenManySettings();
        Sql(DurableDatabase(), damage);
        EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); })) << damage;
        EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); })) << damage;
    }
}

TEST_F(SettingsTrouble, KeepsTheLogOfADamagedDatabaseBesideIt)
{
    GivenManySettings();
    ASSERT_TRUE(InProcess([] { vconf_set_int("db/only-in-the-log", 1); }));
    const std::string log = ReadFile(DurableDatabase() + "-wal");
    ASSERT_FALSE(log.empty());
    Scribble(0, std::string(100, 'h'));

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    ASSERT_EQ(DamagedFiles().size(), 1u);
    EXPECT_TRUE(ReadFile(StateDir() + '/' + DamagedFiles()[0] + "-wal") == log);
}

TEST_F(SettingsTrouble, TakesAnEmptyFileForANewDatabase)
{
    GivenManySettings();
    WriteFile(DurableDatabase(), "");

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    EXPECT_TRUE(DamagedFiles().empty());
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsTrouble, FailsWhenADirectoryIsInTheDatabasesPlace)
{
    fs::create_directories(DurableDatabase());
    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        EXPECT_LT(vconf_get_int("db/x", &read), 0);
        EXPECT_LT(vconf_set_int("db/x", 1), 0);
    }));
    EXPECT_EQ(LogLines("cannot read settings in " + DurableDatabase()).size(), 1u) << Log();
    EXPECT_EQ(LogLines("cannot write settings in " + DurableDatabase()).size(), 1u) << Log();
}

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
        for (size_t length = 1000; length < 200000; length += 10000) {
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

class SettingsReadOnly : public SettingsTrouble {
protected:
    // Everybody may read the database and nobody else write it.
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

TEST_F(SettingsReadOnly, AreSeenAsTheyChangeByAReaderThatMayNotWrite)
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
    EXPECT_TRUE(reader.EndsWell());
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

TEST_F(SettingsTrouble, SharesANewDatabaseWithThoseWhoMayWriteItsDirectory)
{
    fs::create_directories(StateDir());
    fs::permissions(StateDir(), fs::perms(0777));
    fs::permissions(Path(""), fs::perms(0755));
    WriteFile(Path("log"), "");
    fs::permissions(Path("log"), fs::perms(0666));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    EXPECT_TRUE(InProcess([] {
        BecomeNobody();
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    })) << Log();
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); })) << Log();
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
        EXPECT_TRUE(writer.EndsWell());
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
