// SPDX-License-Identifier: Apache-2.0
// The settings store on a damaged database: it is moved aside, and a new one is created.
#include "SettingsTrouble.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Damage {
    const char* name;
    void (*inflict)(std::string* content);
};

void Overwrite(std::string* content, std::size_t from, std::size_t length)
{
    for (std::size_t at = from; at < from + length && at < content->size(); at++)
        (*content)[at] = static_cast<char>(at * 37 + 11);
}

constexpr std::size_t kPage = 4096;

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

class DamagedSettings : public SettingsTrouble {};

class SettingsDamage : public SettingsTrouble, public testing::WithParamInterface<Damage> {};

INSTANTIATE_TEST_SUITE_P(Kind, SettingsDamage, testing::ValuesIn(kDamages),
                         [](const auto& damage) { return damage.param.name; });

TEST_P(SettingsDamage, IsMovedAsideWithOneLogLine)
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
            (void)vconf_set_str("db/y", std::string(static_cast<std::size_t>(round) * 200, 'y').c_str());
        }
        EXPECT_TRUE(Eventually([] { return vconf_set_int("db/x", 2) == 0; }));
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 2);
    }));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); }));
}

TEST_P(SettingsDamage, IsMovedAsideOnceByEightProcesses)
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
    start.Send();
    for (Process& finder : finders) EXPECT_TRUE(finder.Succeeds());

    EXPECT_EQ(DamagedFiles().size(), 1u);
    EXPECT_EQ(LogLines("is damaged").size(), 1u) << Log();
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings WHERE key LIKE 'db/finder/%' AND value = 19"), "8");
}

TEST_F(DamagedSettings, AreThoseOfAnotherProgram)
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

TEST_F(DamagedSettings, AreThoseWithoutTheirTables)
{
    for (const char* damage : {"DROP TABLE settings", "DROP TABLE store", "DELETE FROM store", "DROP TABLE changes"}) {
        GivenManySettings();
        Sql(DurableDatabase(), damage);
        EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); })) << damage;
        EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); })) << damage;
    }
}

TEST_F(DamagedSettings, AreMovedTogetherWithTheirLog)
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

TEST_F(DamagedSettings, AreNotThoseInAnEmptyFile)
{
    GivenManySettings();
    WriteFile(DurableDatabase(), "");

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    EXPECT_TRUE(DamagedFiles().empty());
    EXPECT_EQ(Log(), "");
}

TEST_F(DamagedSettings, AreNotADirectoryInTheirPlace)
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

}  // namespace
