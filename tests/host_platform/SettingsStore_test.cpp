// SPDX-License-Identifier: Apache-2.0
// Settings as programs use them: values, types, keys, listing.
#include "HostTest.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kUntouched = 4711;

class SettingsStore : public HostTest {};

class EitherStore : public HostTest, public testing::WithParamInterface<std::string> {
protected:
    std::string Key(const std::string& rest) const { return GetParam() + rest; }
};

INSTANTIATE_TEST_SUITE_P(Family, EitherStore, testing::Values("db/", "memory/"),
                         [](const auto& family) { return family.param == "db/" ? "Durable" : "Volatile"; });

std::vector<std::string> List()
{
    std::vector<std::string> settings;
    const auto note = [](const char* key, const srcwatch_host_value* value, void* into) {
        const std::string shown = value->text ? std::string("'") + value->text + "'" : std::to_string(value->number);
        static_cast<std::vector<std::string>*>(into)->push_back(std::string(key) + "=" + shown);
    };
    EXPECT_EQ(srcwatch_host_list_settings(note, &settings), 0);
    return settings;
}

TEST_P(EitherStore, ReturnsIntegers)
{
    EXPECT_TRUE(InProcess([this] {
        for (const int value : {0, 1, -1, 2010, INT_MAX, INT_MIN}) {
            EXPECT_EQ(vconf_set_int(Key("x").c_str(), value), 0);
            int read = kUntouched;
            EXPECT_EQ(vconf_get_int(Key("x").c_str(), &read), 0);
            EXPECT_EQ(read, value);
        }
    }));
}

TEST_P(EitherStore, ReturnsTextsByteForByte)
{
    std::string bytes;
    for (int byte = 1; byte <= 255; byte++) bytes += static_cast<char>(byte);
    const std::string million(1000000, 'm');

    EXPECT_TRUE(InProcess([&] {
        for (const std::string& text : {std::string(), std::string("a"), bytes, million, bytes + million + bytes}) {
            EXPECT_EQ(vconf_set_str(Key("x").c_str(), text.c_str()), 0);
            EXPECT_TRUE(TextOf(Key("x").c_str()) == text) << text.size() << " bytes";
        }
    }));
    EXPECT_TRUE(InProcess([&] { EXPECT_TRUE(TextOf(Key("x").c_str()) == bytes + million + bytes); }));
}

TEST_P(EitherStore, ReturnsTextsOfEveryLengthAroundAPage)
{
    EXPECT_TRUE(InProcess([this] {
        for (std::size_t length = 0; length < 9000; length += length % 512 < 500 ? 41u : 1u) {
            const std::string text(length, 'x');
            ASSERT_EQ(vconf_set_str(Key("x").c_str(), text.c_str()), 0);
            ASSERT_TRUE(TextOf(Key("x").c_str()) == text) << length;
        }
    }));
}

TEST_P(EitherStore, TakesKeysOfAnyLengthAndBytes)
{
    EXPECT_TRUE(InProcess([this] {
        std::string odd;
        for (int byte = 1; byte <= 255; byte++) odd += static_cast<char>(byte);
        const std::vector<std::string> keys = {"x",
                                               "x/y//z",
                                               "'; DROP TABLE settings; --",
                                               "%s%n",
                                               odd,
                                               std::string(300, 'k'),
                                               std::string(8000, 'k'),
                                               std::string(7999, 'k') + "l"};
        for (std::size_t index = 0; index < keys.size(); index++)
            EXPECT_EQ(vconf_set_int(Key(keys[index]).c_str(), static_cast<int>(index)), 0);

        for (std::size_t index = 0; index < keys.size(); index++) {
            int read = kUntouched;
            EXPECT_EQ(vconf_get_int(Key(keys[index]).c_str(), &read), 0);
            EXPECT_EQ(read, static_cast<int>(index));
        }
    }));
}

TEST_P(EitherStore, FailsForAnAbsentSettingWithoutTouchingTheOutput)
{
    EXPECT_TRUE(InProcess([this] {
        int read = kUntouched;
        EXPECT_LT(vconf_get_int(Key("x").c_str(), &read), 0);
        EXPECT_EQ(read, kUntouched);
        EXPECT_EQ(vconf_get_str(Key("x").c_str()), nullptr);
    }));
    EXPECT_EQ(Log(), "");
}

TEST_P(EitherStore, FailsForTheOtherTypeWithoutTouchingTheOutput)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_str(Key("text").c_str(), "12");
        vconf_set_int(Key("number").c_str(), 12);

        int read = kUntouched;
        EXPECT_LT(vconf_get_int(Key("text").c_str(), &read), 0);
        EXPECT_EQ(read, kUntouched);
        EXPECT_EQ(vconf_get_str(Key("number").c_str()), nullptr);
    }));
}

TEST_P(EitherStore, ChangesTheTypeWithAWrite)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_str(Key("x").c_str(), "text");
        EXPECT_EQ(vconf_set_int(Key("x").c_str(), 5), 0);

        int read = kUntouched;
        EXPECT_EQ(vconf_get_int(Key("x").c_str(), &read), 0);
        EXPECT_EQ(read, 5);
        EXPECT_EQ(TextOf(Key("x").c_str()), "(none)");

        EXPECT_EQ(vconf_set_str(Key("x").c_str(), "again"), 0);
        EXPECT_EQ(TextOf(Key("x").c_str()), "again");
    }));
}

TEST_P(EitherStore, RemovesASettingOnce)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_int(Key("x").c_str(), 5);

        EXPECT_EQ(srcwatch_host_unset(Key("x").c_str()), 0);
        int read = kUntouched;
        EXPECT_LT(vconf_get_int(Key("x").c_str(), &read), 0);
        EXPECT_EQ(srcwatch_host_unset(Key("x").c_str()), 0);
    }));
}

TEST_P(EitherStore, ShowsAWriteToOtherProcesses)
{
    EXPECT_TRUE(InProcess([this] { EXPECT_EQ(vconf_set_str(Key("x").c_str(), "written"), 0); }));
    EXPECT_TRUE(InProcess([this] { EXPECT_EQ(TextOf(Key("x").c_str()), "written"); }));
}

TEST_F(SettingsStore, RefusesKeysOfNoFamily)
{
    EXPECT_TRUE(InProcess([] {
        for (const char* key : {static_cast<const char*>(nullptr), "", "x", "/", "db", "db/", "memory", "memory/",
                                "DB/x", "dbx/y", " db/x", "file/x"}) {
            int read = kUntouched;
            EXPECT_LT(vconf_get_int(key, &read), 0);
            EXPECT_EQ(read, kUntouched);
            EXPECT_EQ(vconf_get_str(key), nullptr);
            EXPECT_LT(vconf_set_int(key, 1), 0);
            EXPECT_LT(vconf_set_str(key, "x"), 0);
            EXPECT_LT(srcwatch_host_unset(key), 0);
        }
        EXPECT_TRUE(List().empty());
    }));
}

TEST_F(SettingsStore, RefusesNullOutputsAndTexts)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("db/x", 1);

        EXPECT_LT(vconf_get_int("db/x", nullptr), 0);
        EXPECT_LT(vconf_set_str("db/x", nullptr), 0);
        EXPECT_LT(srcwatch_host_list_settings(nullptr, nullptr), 0);
        EXPECT_EQ(List(), std::vector<std::string>{"db/x=1"});
    }));
}

TEST_F(SettingsStore, KeepsBothFamiliesInTheirDirectories)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_int("db/x", 1);
        vconf_set_int("memory/x", 2);

        EXPECT_EQ(srcwatch_host_state_dir(), StateDir());
        EXPECT_EQ(srcwatch_host_run_dir(), RunDir());
        EXPECT_EQ(srcwatch_host_conf_path(), ConfPath());
    }));

    EXPECT_EQ(Sql(DurableDatabase(), "SELECT group_concat(key || '=' || value) FROM settings"), "db/x=1");
    EXPECT_EQ(Sql(VolatileDatabase(), "SELECT group_concat(key || '=' || value) FROM settings"), "memory/x=2");
}

TEST_F(SettingsStore, TakesARelativeDirectoryAsSeenFromTheFirstUse)
{
    GivenEnvironment("SRCWATCH_STATE_DIR", "here/state");
    EXPECT_TRUE(InProcess([this] {
        ASSERT_EQ(chdir(Path("").c_str()), 0);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        ASSERT_EQ(chdir("/"), 0);
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));

    EXPECT_EQ(Sql(Path("here/state/settings.db"), "SELECT value FROM settings"), "2");
}

TEST_F(SettingsStore, ListsAllSettingsInTheOrderOfTheirKeys)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("memory/b", 2);
        vconf_set_str("memory/a", "one");
        vconf_set_str("db/z", "");
        vconf_set_int("db/b", -1);
        vconf_set_int("db/B", 7);

        const std::vector<std::string> expected = {"db/B=7", "db/b=-1", "db/z=''", "memory/a='one'", "memory/b=2"};
        EXPECT_EQ(List(), expected);
    }));
}

TEST_F(SettingsStore, LetsAListingCallbackUseTheStore)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("db/a", 1);
        vconf_set_int("db/b", 2);
        const auto removeOther = [](const char* key, const srcwatch_host_value*, void*) {
            int read = 0;
            EXPECT_EQ(vconf_get_int(key, &read), 0);
            EXPECT_EQ(vconf_set_int(key, read + 10), 0);
        };

        EXPECT_EQ(srcwatch_host_list_settings(removeOther, nullptr), 0);

        EXPECT_EQ(List(), (std::vector<std::string>{"db/a=11", "db/b=12"}));
    }));
}

TEST_F(SettingsStore, FailsForValuesThatAreNeitherIntegersNorTexts)
{
    EXPECT_TRUE(InProcess([] { vconf_set_int("db/x", 1); }));
    for (const char* value : {"1.5", "x'3132'", "2147483648", "-2147483649"}) {
        Sql(DurableDatabase(), std::string("UPDATE settings SET value = ") + value);

        EXPECT_TRUE(InProcess([] {
            int read = kUntouched;
            EXPECT_LT(vconf_get_int("db/x", &read), 0);
            EXPECT_EQ(read, kUntouched);
            EXPECT_EQ(TextOf("db/x"), "(none)");
        })) << value;
    }
}

TEST_F(SettingsStore, KeepsTheChangeLogShort)
{
    EXPECT_TRUE(InProcess([] {
        for (int value = 0; value < 2500; value++) ASSERT_EQ(vconf_set_int("memory/x", value), 0);
    }));

    const int kept = std::stoi(Sql(VolatileDatabase(), "SELECT count(*) FROM changes"));
    EXPECT_GE(kept, 1024);
    EXPECT_LT(kept, 1100);
    EXPECT_EQ(Sql(VolatileDatabase(), "SELECT value FROM changes ORDER BY seq DESC"), "2499");
}

TEST_P(EitherStore, RefusesATextOfMoreThanAMebibyte)
{
    EXPECT_TRUE(InProcess([this] {
        const std::string largest(1048576, 't');
        EXPECT_EQ(vconf_set_str(Key("x").c_str(), largest.c_str()), 0);
        for (int round = 0; round < 3; round++)
            EXPECT_EQ(vconf_set_str(Key("x").c_str(), (largest + 't').c_str()), -E2BIG);
        EXPECT_EQ(vconf_set_int(Key(largest).c_str(), 1), -E2BIG);
        EXPECT_TRUE(TextOf(Key("x").c_str()) == largest);
        EXPECT_EQ(vconf_set_str(Key("x").c_str(), "t"), 0);
        EXPECT_EQ(vconf_set_str(Key("x").c_str(), (largest + 't').c_str()), -E2BIG);
    }));

    EXPECT_EQ(LogLines("cannot write " + Key("x") + ": it is larger than 1048576 bytes").size(), 2u);
    EXPECT_EQ(LogLines("").size(), 2u);
}

TEST_F(SettingsStore, KeepsTheChangeLogSmallWhenTextsAreLong)
{
    EXPECT_TRUE(InProcess([] {
        const std::string text(100000, 't');
        for (int round = 0; round < 60; round++) ASSERT_EQ(vconf_set_str("memory/x", text.c_str()), 0);
    }));
    EXPECT_LE(std::stoi(Sql(VolatileDatabase(), "SELECT sum(length(value)) FROM changes")), 2200000);

    EXPECT_TRUE(InProcess([] {
        const std::string text(1048576, 't');
        for (int round = 0; round < 3; round++) ASSERT_EQ(vconf_set_str("memory/x", text.c_str()), 0);
    }));
    EXPECT_EQ(Sql(VolatileDatabase(), "SELECT count(*) FROM changes"), "2");
}

}  // namespace
