// SPDX-License-Identifier: Apache-2.0
//
// Reads of a sound database that fail now and then: calls fail, and no settings are moved aside. The program brings the
// functions that read.
#include "SettingsTrouble.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <tuple>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

// In the process that is to meet the errors: the reads before the first one, and how many are from one to the next.
int g_before = 0;
int g_period = 0;
int g_failed = 0;
bool g_isGarbled = false;  // the next page of a tree

ssize_t Read(int file, void* bytes, std::size_t size, off_t offset)
{
    if (g_period != 0 && !g_isGarbled && --g_before < 0) {
        g_before += g_period;
        ++g_failed;
        errno = EIO;
        return -1;
    }
    const long result = syscall(SYS_pread64, file, bytes, size, offset);
    const bool isNode = size == 4096 && *static_cast<char*>(bytes) != 0;  // of a tree, and not the rest of a text
    if (g_isGarbled && isNode) {
        g_isGarbled = false;
        std::memset(bytes, 0xff, size);
    }
    return result;
}

class ReadErrors : public SettingsTrouble, public testing::WithParamInterface<std::tuple<int, int>> {};

INSTANTIATE_TEST_SUITE_P(At, ReadErrors, testing::Combine(testing::Values(1, 2, 3, 5), testing::Range(0, 20)),
                         [](const auto& errors) {
                             return "Every" + std::to_string(std::get<0>(errors.param)) + "After" +
                                    std::to_string(std::get<1>(errors.param));
                         });

TEST_P(ReadErrors, AreNotTakenForDamage)
{
    GivenManySettings();

    EXPECT_TRUE(InProcess([] {
        std::tie(g_period, g_before) = GetParam();
        for (int index = 0; index < 50; index++) {
            const std::string text = TextOf(("db/many/" + std::to_string(index)).c_str());
            EXPECT_TRUE(text == std::string(3000, 'm') || text == "(none)") << text;
            static_cast<void>(vconf_set_int("db/other", index));
        }
        EXPECT_GT(g_failed, 0);

        g_period = 0;
        EXPECT_EQ(TextOf("db/many/49"), std::string(3000, 'm'));
    }));

    EXPECT_TRUE(DamagedFiles().empty()) << Log();
    EXPECT_EQ(Sql(DurableDatabase(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings WHERE key LIKE 'db/many/%'"), "50");
    EXPECT_TRUE(LogLines("is damaged").empty()) << Log();
}

// A page arrives as garbage once, so that the database is checked, and then one read fails.
TEST_F(SettingsTrouble, KeepsADatabaseWhoseCheckCannotRead)
{
    GivenManySettings();
    for (int before = 0; before < 80; before++) {
        EXPECT_TRUE(InProcess([before] {
            EXPECT_EQ(TextOf("db/many/0"), std::string(3000, 'm'));
            g_isGarbled = true;
            g_before = before;
            g_period = 1000;
            for (int index = 0; index < 50 && g_isGarbled; index++)
                static_cast<void>(TextOf(("db/many/" + std::to_string(index)).c_str()));
            EXPECT_FALSE(g_isGarbled);
        }));
        EXPECT_TRUE(DamagedFiles().empty()) << before;
    }
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings WHERE key LIKE 'db/many/%'"), "50");
}

}  // namespace

extern "C" {
#define FAILING __attribute__((visibility("default")))

FAILING ssize_t pread(int file, void* bytes, std::size_t size, off_t offset) { return Read(file, bytes, size, offset); }

FAILING ssize_t pread64(int file, void* bytes, std::size_t size, off64_t offset)
{
    return Read(file, bytes, size, offset);
}
}
