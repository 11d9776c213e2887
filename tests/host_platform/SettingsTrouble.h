// SPDX-License-Identifier: Apache-2.0
// What the tests of the settings store in bad circumstances share.
#ifndef SRCWATCH_TESTS_SETTINGSTROUBLE_H
#define SRCWATCH_TESTS_SETTINGSTROUBLE_H

#include "HostTest.h"
#include "vconf.h"

#include <cstddef>
#include <string>
#include <vector>

#include <unistd.h>

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
    void Scribble(std::size_t offset, const std::string& bytes) const
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
inline void BecomeNobody()
{
    if (geteuid() != 0) return;
    ASSERT_EQ(setresuid(kNobody, kNobody, kNobody), 0);
}

#endif
