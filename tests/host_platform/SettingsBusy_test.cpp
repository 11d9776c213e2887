// SPDX-License-Identifier: Apache-2.0
// The settings store while others keep it locked.
#include "SettingsTrouble.h"

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include <sys/file.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class BusySettings : public SettingsTrouble {};

TEST_F(BusySettings, FailAWriteAfterASecondOfALockedDatabase)
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
    EXPECT_NE(Log().find(": process " + std::to_string(getpid()) + " (host.Settings"), std::string::npos) << Log();

    ASSERT_TRUE(intruder.Run("ROLLBACK"));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); }));
}

// A main loop that makes many calls in one turn.
TEST_F(BusySettings, HoldUpOneOfManyCalls)
{
    GivenManySettings();
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("memory/x", 1), 0); }));
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));
    Intruder fleeting(VolatileDatabase());
    ASSERT_TRUE(fleeting.Run("BEGIN IMMEDIATE"));
    EXPECT_TRUE(InProcess([&] {
        const auto write = [] { EXPECT_LT(vconf_set_int("db/x", 2), 0); };
        EXPECT_GE(TimeOf(write), 900ms);
        const auto waited = TimeOf([&] {
            for (int call = 0; call < 10; call++) write();
            for (int call = 0; call < 10; call++) EXPECT_LT(vconf_set_int("memory/x", 2), 0);
        });
        EXPECT_LE(waited, 1900ms);

        EXPECT_TRUE(Eventually([&] { return TimeOf(write) >= 900ms; }));
    }));
}

TEST_F(BusySettings, AreAwaitedWhileLockedForAMoment)
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
    EXPECT_TRUE(holder.Succeeds());
    EXPECT_EQ(Log(), "");
}

TEST_F(BusySettings, KeepNoneOfManyThreadsWaitingLonger)
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

TEST_F(BusySettings, FailAReadAfterASecondOfAnExclusiveLock)
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

TEST_F(BusySettings, FailAfterASecondOfALockedLockFile)
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

}  // namespace
