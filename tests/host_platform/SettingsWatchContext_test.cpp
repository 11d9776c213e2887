// SPDX-License-Identifier: Apache-2.0
// Watching settings across replaced databases, contexts, threads and processes.
#include "SettingsWatch.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class SettingsWatchContext : public SettingsWatch {};

class SettingsWatchReplacement : public SettingsWatch, public testing::WithParamInterface<const char*> {
protected:
    void Replace() const
    {
        const std::string what = GetParam();
        if (what == "DatabaseRemoved") fs::remove(VolatileDatabase());
        if (what == "DirectoryRemoved") fs::remove_all(RunDir());
        if (what == "DirectoryRenamed") fs::rename(RunDir(), Path("elsewhere"));
        if (what == "DatabaseDamaged") WriteFile(VolatileDatabase(), "not a database");
    }
};

INSTANTIATE_TEST_SUITE_P(By, SettingsWatchReplacement,
                         testing::Values("DatabaseRemoved", "DirectoryRemoved", "DirectoryRenamed", "DatabaseDamaged"),
                         [](const auto& what) { return what.param; });

TEST_P(SettingsWatchReplacement, IsFollowedByTheWatch)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        vconf_set_int("memory/x", 1);
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=1"});

        Replace();
        InAnotherProcess([] {
            vconf_set_int("memory/x", 2);
            vconf_set_int("memory/x", 3);
        });

        EXPECT_EQ(HeardBy(listener, 3), (Heard{"memory/x=1", "memory/x=2", "memory/x=3"}));
        vconf_set_int("memory/x", 4);
        EXPECT_LE(TimeOf([&listener] { EXPECT_EQ(HeardBy(listener, 4).back(), "memory/x=4"); }), 1500ms);
    }));
}

TEST_P(SettingsWatchReplacement, IsReportedOnceBeforeTheChanges)
{
    EXPECT_TRUE(InProcess([this] {
        vconf_set_int("memory/x", 1);
        const Listener listener("memory/x");
        std::vector<std::size_t> heardBefore;
        std::pair<const Listener*, std::vector<std::size_t>*> both = {&listener, &heardBefore};
        const unsigned id = srcwatch_host_watch_replacement(
            [](void* data) {
                const auto& [heard, counts] = *static_cast<decltype(both)*>(data);
                counts->push_back(heard->All().size());
            },
            &both);
        EXPECT_NE(id, 0U);
        vconf_set_int("memory/x", 2);
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=2"});
        EXPECT_TRUE(heardBefore.empty());

        Replace();
        InAnotherProcess([] { vconf_set_int("memory/x", 3); });

        EXPECT_EQ(HeardBy(listener, 2), (Heard{"memory/x=2", "memory/x=3"}));
        EXPECT_EQ(heardBefore, std::vector<std::size_t>{1});
        srcwatch_host_unwatch_setting(id);
    }));
}

TEST_F(SettingsWatchContext, LeavesItToWritersToCreateADirectory)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        fs::remove_all(RunDir());
        const auto end = std::chrono::steady_clock::now() + 700ms;
        EXPECT_TRUE(EventuallyIn(nullptr, [end] { return std::chrono::steady_clock::now() > end; }));
        EXPECT_FALSE(fs::exists(RunDir()));

        InAnotherProcess([] { vconf_set_int("memory/x", 1); });
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=1"});
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsWatchContext, HearsAWriterThatDiedBeforeTheWakeUp)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        Sql(VolatileDatabase(), "INSERT INTO changes(bytes, key, value) VALUES(0, 'memory/x', 7)");

        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=7"});
    }));
}

TEST_F(SettingsWatchContext, RunsInTheContextThatWasThreadDefault)
{
    EXPECT_TRUE(InProcess([] {
        const Listener ofDefault("memory/x");
        std::atomic<bool> isWatching{false};
        std::thread thread([&isWatching] {
            GMainContext* context = g_main_context_new();
            g_main_context_push_thread_default(context);
            {
                Listener ofThread("memory/x");
                const std::thread::id expected = std::this_thread::get_id();
                ofThread.also = [expected] { EXPECT_EQ(std::this_thread::get_id(), expected); };
                isWatching = true;
                EXPECT_TRUE(EventuallyIn(context, [&ofThread] { return ofThread.All().size() == 100; }));
            }
            g_main_context_pop_thread_default(context);
            g_main_context_unref(context);
        });
        EXPECT_TRUE(Eventually([&isWatching] { return isWatching.load(); }));
        for (int value = 0; value < 100; value++) vconf_set_int("memory/x", value);

        EXPECT_EQ(HeardBy(ofDefault, 100).size(), 100u);
        thread.join();
    }));
}

TEST_F(SettingsWatchContext, EndsWithItsContext)
{
    EXPECT_TRUE(InProcess([] {
        const auto ignore = [](const char*, const srcwatch_host_value*, void*) {};
        unsigned id = 0;
        for (int round = 0; round < 300; round++) {  // more than a process may have inotify instances
            GMainContext* context = g_main_context_new();
            g_main_context_push_thread_default(context);
            id = srcwatch_host_watch_setting("memory/x", ignore, nullptr);
            EXPECT_NE(id, 0u);
            g_main_context_pop_thread_default(context);
            g_main_context_unref(context);
        }
        srcwatch_host_unwatch_setting(id);
    }));
}

TEST_F(SettingsWatchContext, ManyWatchesShareOneDescriptor)
{
    EXPECT_TRUE(InProcess([] {
        const rlimit few = {32, 32};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        std::vector<std::unique_ptr<Listener>> listeners;
        for (int index = 0; index < 200; index++) listeners.push_back(std::make_unique<Listener>("memory/x"));
        vconf_set_int("memory/x", 1);
        for (const auto& listener : listeners) EXPECT_EQ(HeardBy(*listener, 1).size(), 1u);
    }));
}

TEST_F(SettingsWatchContext, StaysWithTheParentAfterAFork)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener("memory/x");
        const pid_t child = fork();
        if (child == 0) {
            const Listener own("memory/y");
            vconf_set_int("memory/x", 1);
            vconf_set_int("memory/y", 2);
            EXPECT_EQ(HeardBy(own, 1), Heard{"memory/y=2"});
            EXPECT_TRUE(listener.All().empty());
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=1"});
        vconf_set_int("memory/x", 3);
        EXPECT_EQ(HeardBy(listener, 2).back(), "memory/x=3");
    }));
}

TEST_F(SettingsWatchContext, HearsAllOfManyWriters)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        std::vector<Process> writers;
        for (int writer = 0; writer < 4; writer++) {
            writers.push_back(Start([writer] {
                for (int value = 0; value < 100; value++) EXPECT_TRUE(WriteNumber("memory/x", writer * 1000 + value));
            }));
        }
        const Heard heard = HeardBy(listener, 400);
        for (Process& writer : writers) EXPECT_TRUE(writer.Succeeds());
        EXPECT_EQ(heard.size(), 400u);
        int next[4] = {};
        for (const std::string& one : heard) {
            const int value = std::stoi(one.substr(one.find('=') + 1));
            EXPECT_EQ(value % 1000, next[value / 1000]++);
        }
    }));
}

}  // namespace
