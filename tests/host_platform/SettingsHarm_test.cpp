// SPDX-License-Identifier: Apache-2.0
// The settings store while its files are truncated or deleted under processes that have them open.
#include "SettingsTrouble.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Harm {
    const char* name;
    void (*inflict)(const std::string& database);
};

const Harm kHarms[] = {
    {"DatabaseEmptied", [](const std::string& database) { fs::resize_file(database, 0); }},
    {"DatabaseCutToAPage", [](const std::string& database) { fs::resize_file(database, 4096); }},
    {"LogDeleted", [](const std::string& database) { fs::remove(database + "-wal"); }},
    {"IndexDeleted", [](const std::string& database) { fs::remove(database + "-shm"); }},
    {"LogAndIndexDeleted",
     [](const std::string& database) {
         fs::remove(database + "-wal");
         fs::remove(database + "-shm");
     }},
};

class SettingsHarm : public SettingsTrouble, public testing::WithParamInterface<Harm> {
protected:
    // Of the settings, those of the pages lie in the database, and the text in its log.
    void GivenLoggedSettings() const { EXPECT_EQ(vconf_set_str("db/text", std::string(9000, 't').c_str()), 0); }

    static void ExpectAll(int number)
    {
        int read = kUntouched;
        EXPECT_EQ(vconf_get_int("db/x", &read), 0);
        EXPECT_EQ(read, number);
        EXPECT_TRUE(TextOf("db/text") == std::string(9000, 't'));
    }
};

INSTANTIATE_TEST_SUITE_P(By, SettingsHarm, testing::ValuesIn(kHarms), [](const auto& harm) { return harm.param.name; });

TEST_P(SettingsHarm, LosesNothingThatWasWritten)
{
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));
    EXPECT_TRUE(InProcess([this] {
        GivenLoggedSettings();
        GetParam().inflict(DurableDatabase());
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
        ExpectAll(2);
    })) << Log();
    EXPECT_TRUE(InProcess([] { ExpectAll(2); })) << Log();
    EXPECT_EQ(LogLines(DurableDatabase() + " was harmed while it was in use").size(), 1U) << Log();
    EXPECT_EQ(Sql(DurableDatabase(), "PRAGMA integrity_check"), "ok");
}

TEST_P(SettingsHarm, IsNoticedByAReader)
{
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));
    EXPECT_TRUE(InProcess([this] {
        GivenLoggedSettings();
        ExpectAll(1);
        GetParam().inflict(DurableDatabase());
        Process writer = Start([] { EXPECT_TRUE(WriteNumber("db/x", 3)); });
        EXPECT_TRUE(writer.Succeeds());
        EXPECT_TRUE(Eventually([] {
            int read = kUntouched;
            return vconf_get_int("db/x", &read) == 0 && read == 3;
        }));
    })) << Log();
}

TEST_F(SettingsTrouble, SaysThatItsDatabaseWasDeleted)
{
    EXPECT_TRUE(InProcess([this] {
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        fs::remove_all(StateDir());
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    }));
    EXPECT_EQ(LogLines(DurableDatabase() + " was deleted while it was in use").size(), 1U) << Log();
}

}  // namespace
