// SPDX-License-Identifier: Apache-2.0
// What others can put into the database: it is never run, never waited for, and never thrown away without need.
#include "SettingsTrouble.h"
#include "srcwatch-host.h"

#include <cerrno>
#include <string>

#include <unistd.h>

namespace {

constexpr const char* kEndless = "WITH RECURSIVE n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n) ";

class SettingsContent : public SettingsTrouble {};

int List()
{
    return srcwatch_host_list_settings([](auto, auto, auto) {}, nullptr);
}

TEST_F(SettingsContent, RunsNoTrigger)
{
    GivenManySettings();
    Sql(DurableDatabase(),
        "CREATE TRIGGER t AFTER INSERT ON changes BEGIN "
        "UPDATE settings SET value = 'planted' WHERE key = 'db/x'; END");

    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, 2);
    }));
    EXPECT_TRUE(DamagedFiles().empty());
}

TEST_F(SettingsContent, ReadsNoView)
{
    GivenManySettings();
    Sql(DurableDatabase(), "DROP TABLE settings");
    Sql(DurableDatabase(), std::string("CREATE VIEW settings(key, value) AS ") + kEndless + "SELECT 'db/x', i FROM n");

    EXPECT_TRUE(InProcess([] {
        alarm(20);  // the view has no end
        EXPECT_EQ(List(), 0);
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
    EXPECT_EQ(DamagedFiles().size(), 1u);
}

TEST_F(SettingsContent, KeepsALongTextOfAnEarlierVersion)
{
    GivenManySettings();
    Sql(DurableDatabase(), "INSERT INTO settings VALUES('db/long', printf('%.*c', 1048577, 'l'))");

    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        for (int round = 0; round < 3; round++) EXPECT_EQ(TextOf("db/long"), "(none)");
        EXPECT_EQ(vconf_get_int("db/long", &read), -E2BIG);
        EXPECT_EQ(read, kUntouched);
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT length(value) FROM settings WHERE key = 'db/long'"), "1048577");
    EXPECT_EQ(LogLines("cannot read db/long: it is larger than 1048576 bytes").size(), 1u) << Log();
    EXPECT_EQ(LogLines("").size(), 1u) << Log();

    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(vconf_set_str("db/long", "short"), 0);
        EXPECT_EQ(TextOf("db/long"), "short");
    }));
}

TEST_F(SettingsContent, ListsALongTextOfAnEarlierVersionEmpty)
{
    GivenManySettings();
    Sql(DurableDatabase(), "INSERT INTO settings VALUES('db/long', printf('%.*c', 1048577, 'l'))");

    EXPECT_TRUE(InProcess([] {
        int found = 0;
        const auto check = [](const char* key, const srcwatch_host_value* value, void* count) {
            EXPECT_EQ(value->unread, std::string(key) == "db/long" ? 1048577u : 0u) << key;
            EXPECT_EQ(value->text != nullptr && *value->text == '\0', value->unread > 0) << key;
            ++*static_cast<int*>(count);
        };
        EXPECT_EQ(srcwatch_host_list_settings(check, &found), 0);
        EXPECT_GT(found, 1);
    }));
}

TEST_F(SettingsContent, OfALaterVersionIsLeftInPlace)
{
    GivenManySettings();
    Sql(DurableDatabase(), "PRAGMA user_version = 2");

    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        for (int round = 0; round < 5; round++) EXPECT_EQ(vconf_get_int("db/x", &read), -ENOTSUP);
        EXPECT_EQ(read, kUntouched);
        EXPECT_EQ(vconf_set_int("db/x", 2), -ENOTSUP);
    }));

    EXPECT_TRUE(DamagedFiles().empty());
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT value FROM settings WHERE key = 'db/x'"), "1");
    const std::string reason = DurableDatabase() + ": a newer version of this software has created them";
    EXPECT_EQ(LogLines("cannot read settings in " + reason).size(), 1u) << Log();
    EXPECT_EQ(LogLines("cannot write settings in " + reason).size(), 1u) << Log();
}

TEST_F(SettingsContent, IsUsedAgainOnceItsVersionIsKnown)
{
    GivenManySettings();
    EXPECT_TRUE(InProcess([this] {
        Sql(DurableDatabase(), "PRAGMA user_version = 2");
        EXPECT_EQ(vconf_set_int("db/x", 2), -ENOTSUP);
        Sql(DurableDatabase(), "PRAGMA user_version = 1");
        EXPECT_EQ(vconf_set_int("db/x", 3), 0);
    }));
}

}  // namespace
