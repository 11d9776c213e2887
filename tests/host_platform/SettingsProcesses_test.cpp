// SPDX-License-Identifier: Apache-2.0
// The settings store between threads and processes: forks, many readers beside a writer, killed writers, exit handlers.
#include "HostTest.h"
#include "dlog.h"
#include "srcwatch-host.h"
#include "system_info.h"
#include "vconf.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr int kUntouched = 4711;

int NumberOf(const char* key)
{
    int read = kUntouched;
    EXPECT_EQ(vconf_get_int(key, &read), 0) << key;
    return read;
}

// A text in which every part names its generation, longer than a page: a mix of two would show.
std::string Generation(int number)
{
    std::string text;
    while (text.size() < 10000) text += std::to_string(number) + ';';
    return text;
}

bool IsWhole(const std::string& text) { return text == Generation(atoi(text.c_str())); }

// Numbers that processes share.
struct Shared {
    std::atomic<int> acknowledged{-1};
    std::atomic<bool> isOver{false};
};

class SettingsProcesses : public HostTest {
protected:
    SettingsProcesses()
        : shared(new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared)
    {
    }
    ~SettingsProcesses() override { munmap(shared, sizeof(Shared)); }

    Shared* const shared;
};

// Ends a child of a child; its expectations have been printed.
[[noreturn]] void EndGrandchild() { _exit(testing::Test::HasFailure() ? 1 : 0); }

bool HasEndedWell(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(SettingsProcesses, ParentAndChildBothGoOnAfterAFork)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("db/x", 1);
        vconf_set_str("memory/x", "one");
        const pid_t child = fork();
        if (child == 0) {
            EXPECT_EQ(NumberOf("db/x"), 1);
            EXPECT_EQ(vconf_set_int("db/child", 2), 0);
            EXPECT_EQ(vconf_set_str("memory/child", "two"), 0);
            EXPECT_EQ(NumberOf("db/child"), 2);
            EndGrandchild();
        }
        EXPECT_EQ(vconf_set_int("db/parent", 3), 0);
        EXPECT_TRUE(HasEndedWell(child));
        EXPECT_EQ(NumberOf("db/parent"), 3);
        EXPECT_EQ(NumberOf("db/child"), 2);
        EXPECT_EQ(TextOf("memory/child"), "two");
        EXPECT_EQ(vconf_set_int("db/parent", 4), 0);
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsProcesses, AChildThatOutlivesItsParentGoesOn)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_int("db/x", 1);
        const pid_t parent = getpid();
        if (fork() == 0) {
            while (getppid() == parent && !shared->isOver) usleep(1000);
            EXPECT_EQ(NumberOf("db/x"), 1);
            EXPECT_EQ(vconf_set_int("db/x", 2), 0);
            shared->acknowledged = 2;
            EndGrandchild();
        }
    }));
    shared->isOver = true;
    ASSERT_TRUE(Eventually([this] { return shared->acknowledged == 2; }));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(NumberOf("db/x"), 2); }));
}

TEST_F(SettingsProcesses, AChildHoldsTheStoreOpenOnItsOwn)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_int("db/x", 1);
        if (fork() == 0) {
            EXPECT_EQ(vconf_set_int("db/x", 2), 0);
            shared->acknowledged = 2;
            while (!shared->isOver) usleep(1000);
            EXPECT_EQ(NumberOf("db/x"), 2);
            EXPECT_EQ(vconf_set_int("db/x", 3), 0);
            shared->acknowledged = 3;
            EndGrandchild();
        }
        EXPECT_TRUE(Eventually([this] { return shared->acknowledged == 2; }));
    }));

    // The process that closes a database last removes its log; the child still has it open.
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT value FROM settings"), "2");
    EXPECT_TRUE(std::filesystem::exists(DurableDatabase() + "-wal"));

    shared->isOver = true;
    ASSERT_TRUE(Eventually([this] { return shared->acknowledged == 3; }));
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT value FROM settings"), "3");
}

TEST_F(SettingsProcesses, GenerationsOfForksShareTheStore)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("db/x", 0);
        for (int generation = 1; generation <= 10; generation++) {
            const pid_t child = fork();
            if (child > 0) {
                EXPECT_TRUE(HasEndedWell(child));
                if (generation > 1) EndGrandchild();
                break;
            }
            EXPECT_EQ(NumberOf("db/x"), generation - 1);
            EXPECT_EQ(vconf_set_int("db/x", generation), 0);
            if (generation == 10) EndGrandchild();
        }
    }));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(NumberOf("db/x"), 10); }));
}

TEST_F(SettingsProcesses, ForksWhileOtherThreadsReadAndWrite)
{
    EXPECT_TRUE(InProcess([this] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 3; index++) {
            threads.emplace_back([this, index] {
                const std::string key = "memory/thread/" + std::to_string(index);
                for (int value = 0; !shared->isOver; value++) {
                    EXPECT_TRUE(WriteNumber(key, value));
                    EXPECT_TRUE(HasNumber(key, value));
                    int inputs = 0;
                    (void)system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &inputs);
                    __dlog_print(0, DLOG_INFO, "test", "value %d\n", value);
                }
            });
        }
        for (int round = 0; round < 25; round++) {
            const pid_t child = fork();
            if (child == 0) {
                const std::string key = "memory/child/" + std::to_string(round);
                EXPECT_TRUE(WriteNumber(key, round));
                EXPECT_TRUE(HasNumber(key, round));
                EndGrandchild();
            }
            EXPECT_TRUE(HasEndedWell(child));
        }
        shared->isOver = true;
        for (std::thread& thread : threads) thread.join();
    }));
    EXPECT_EQ(Sql(VolatileDatabase(), "SELECT count(*) FROM settings WHERE key LIKE 'memory/child/%'"), "25");
    EXPECT_EQ(Sql(VolatileDatabase(), "PRAGMA integrity_check"), "ok");
    EXPECT_TRUE(LogLines("srcwatch-host").empty()) << LogLines("srcwatch-host")[0];
}

TEST_F(SettingsProcesses, ThreadsOfAForkedChildUseTheStore)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("db/x", 1);
        const pid_t child = fork();
        if (child == 0) {
            std::vector<std::thread> threads;
            for (int index = 0; index < 4; index++) {
                threads.emplace_back([index] {
                    const std::string key = "db/thread/" + std::to_string(index);
                    EXPECT_EQ(NumberOf("db/x"), 1);
                    EXPECT_EQ(vconf_set_int(key.c_str(), index), 0);
                    EXPECT_EQ(NumberOf(key.c_str()), index);
                });
            }
            for (std::thread& thread : threads) thread.join();
            EndGrandchild();
        }
        EXPECT_TRUE(HasEndedWell(child));
    }));
}

TEST_F(SettingsProcesses, ReadersSeeWholeValuesInOrderBesideAWriter)
{
    constexpr int kSaves = 300;
    ASSERT_TRUE(InProcess([] { vconf_set_str("db/document", Generation(0).c_str()); }));
    const auto readUntilOver = [this] {
        int last = 0;
        while (!shared->isOver) {
            const std::string text = TextOf("db/document");
            const int generation = atoi(text.c_str());
            ASSERT_TRUE(IsWhole(text)) << text.substr(0, 20);
            ASSERT_GE(generation, last);
            last = generation;
        }
    };
    std::vector<Process> readers;
    for (int index = 0; index < 6; index++) {
        readers.push_back(Start([&] {
            std::thread other(readUntilOver);
            readUntilOver();
            other.join();
        }));
    }
    EXPECT_TRUE(InProcess([] {
        for (int generation = 1; generation <= kSaves; generation++)
            ASSERT_EQ(vconf_set_str("db/document", Generation(generation).c_str()), 0);
    }));
    shared->isOver = true;
    for (Process& reader : readers) EXPECT_TRUE(reader.Succeeds());

    EXPECT_TRUE(InProcess([] { EXPECT_TRUE(TextOf("db/document") == Generation(kSaves)); }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsProcesses, LosesNoWriteOfManyWriters)
{
    constexpr int kWriters = 6;
    constexpr int kWrites = 50;
    StartSignal start;
    std::vector<Process> writers;
    for (int writer = 0; writer < kWriters; writer++) {
        writers.push_back(Start([&start, writer] {
            start.Await();
            for (int value = 0; value < kWrites; value++) {
                const std::string key = "db/" + std::to_string(writer) + '/' + std::to_string(value);
                EXPECT_TRUE(WriteNumber(key, value));
            }
        }));
    }
    start.Send();
    for (Process& writer : writers) EXPECT_TRUE(writer.Succeeds());

    EXPECT_EQ(Sql(DurableDatabase(), "SELECT count(*) FROM settings"), std::to_string(kWriters * kWrites));
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT max(seq) FROM changes"), std::to_string(kWriters * kWrites));
}

TEST_F(SettingsProcesses, AKilledWriterLeavesTheOldOrTheNewValue)
{
    ASSERT_TRUE(InProcess([] { vconf_set_str("db/document", Generation(0).c_str()); }));
    for (int round = 0; round < 30; round++) {
        const int first = round * 100000 + 1;
        shared->acknowledged = -1;
        Process writer = Start([this, first] {
            for (int generation = first;; generation++) {
                EXPECT_EQ(vconf_set_str("db/document", Generation(generation).c_str()), 0);
                shared->acknowledged = generation;
            }
        });
        ASSERT_TRUE(Eventually([this, first, round] { return shared->acknowledged >= first + round % 5; }));
        std::this_thread::sleep_for(std::chrono::microseconds(round * 97 % 1000));  // another moment in each round
        writer.Kill();

        ASSERT_TRUE(InProcess([this] {
            const std::string text = TextOf("db/document");
            EXPECT_TRUE(IsWhole(text)) << text.substr(0, 20);
            const int generation = atoi(text.c_str());
            EXPECT_TRUE(generation == shared->acknowledged || generation == shared->acknowledged + 1)
                << generation << " after " << shared->acknowledged;
        })) << round;
    }
    EXPECT_EQ(Sql(DurableDatabase(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsProcesses, OneAfterAnotherKeepTheLogShort)
{
    const std::string text(64 * 1024, 't');
    for (int process = 0; process < 100; process++)
        ASSERT_TRUE(InProcess([&text] { EXPECT_EQ(vconf_set_str("db/document", text.c_str()), 0); }));

    EXPECT_LT(std::filesystem::file_size(DurableDatabase() + "-wal"), 3u * 1024 * 1024);
    EXPECT_EQ(Sql(DurableDatabase(), "SELECT max(seq) FROM changes"), "100");
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsProcesses, KilledWhileCreatingAStoreLeaveItUsable)
{
    for (int round = 0; round < 30; round++) {
        std::filesystem::remove_all(StateDir());
        Process creator = Start([] {
            vconf_set_int("db/x", 1);
            pause();
        });
        std::this_thread::sleep_for(std::chrono::microseconds(200 + round * 150));  // another moment in each round
        creator.Kill();

        ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/y", 2), 0); })) << round;
    }
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsProcesses, AThreadReadsWhileAnotherOnesWriteWaits)
{
    ASSERT_TRUE(InProcess([] { vconf_set_int("db/x", 1); }));
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));

    EXPECT_TRUE(InProcess([] {
        std::atomic<bool> isWaiting{true};
        std::thread writer([&isWaiting] {
            EXPECT_LT(vconf_set_int("db/x", 2), 0);
            isWaiting = false;
        });
        int reads = 0;
        for (; isWaiting; reads++) EXPECT_EQ(NumberOf("db/x"), 1);
        writer.join();
        EXPECT_GT(reads, 1000);
    }));
}

TEST_F(SettingsProcesses, ManyThreadsUseOneProcess)
{
    EXPECT_TRUE(InProcess([] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 8; index++) {
            threads.emplace_back([index] {
                const std::string key = "memory/" + std::to_string(index);
                for (int value = 0; value < 100; value++) {
                    EXPECT_TRUE(WriteNumber(key, value));
                    EXPECT_TRUE(HasNumber(key, value));
                }
                EXPECT_EQ(srcwatch_host_list_settings([](auto, auto, auto) {}, nullptr), 0);
            });
        }
        for (std::thread& thread : threads) thread.join();
    }));
    EXPECT_EQ(Log(), "");
}

// The program uses the platform in a static constructor, in an exit handler and in a static destructor.
TEST_F(SettingsProcesses, WorkWhileLibrariesLoadAndDuringExit)
{
    WriteFile(ConfPath(), "[hdmi]\ninputs=4\n");
    EXPECT_TRUE(InProcess([] {
        execl(SRCWATCH_LIFETIME_PROGRAM, SRCWATCH_LIFETIME_PROGRAM, nullptr);
        FAIL() << "cannot run " << SRCWATCH_LIFETIME_PROGRAM;
    }));
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(NumberOf("db/in-constructor"), 4);
        EXPECT_EQ(NumberOf("db/in-exit-handler"), 4);
        EXPECT_EQ(NumberOf("db/in-destructor"), 4);
    }));
    for (const char* when : {"constructor", "exit handler", "destructor"})
        EXPECT_EQ(LogLines(std::string("in the ") + when).size(), 1u) << Log();
    EXPECT_TRUE(LogLines("srcwatch-host").empty());
}

}  // namespace
