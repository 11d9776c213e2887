// SPDX-License-Identifier: Apache-2.0
// Watching settings: every write is heard, in order, whoever wrote and whatever happened to the database.
#include "HostTest.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <glib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Heard = std::vector<std::string>;

std::string Show(const char* key, const srcwatch_host_value* value)
{
    if (!value) return std::string(key) + " removed";
    return std::string(key) + '=' +
           (value->text ? std::string("'") + value->text + "'" : std::to_string(value->number));
}

// A watch that notes what it hears, in the main context that is thread-default.
class Listener {
public:
    explicit Listener(const char* key) : m_id(srcwatch_host_watch_setting(key, Note, this)) { EXPECT_NE(m_id, 0u); }
    ~Listener() { srcwatch_host_unwatch_setting(m_id); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    const Heard& All() const { return m_heard; }
    unsigned Id() const { return m_id; }

    // Runs during each call.
    std::function<void()> also;

private:
    static void Note(const char* key, const srcwatch_host_value* value, void* self)
    {
        auto* listener = static_cast<Listener*>(self);
        listener->m_heard.push_back(Show(key, value));
        if (listener->also) listener->also();
    }

    Heard m_heard;
    unsigned m_id;
};

bool EventuallyIn(GMainContext* context, const std::function<bool()>& condition)
{
    return Eventually([context, &condition] {
        while (g_main_context_iteration(context, FALSE)) {
        }
        return condition();
    });
}

// Runs the default context until a listener has heard as much as is expected, and then what else comes at once.
Heard HeardBy(const Listener& listener, size_t expected)
{
    EXPECT_TRUE(EventuallyIn(nullptr, [&] { return listener.All().size() >= expected; }));
    return listener.All();
}

class SettingsWatch : public HostTest {
protected:
    // Writes in another process.
    void Elsewhere(const std::function<void()>& body) const { EXPECT_TRUE(InProcess(body)); }
};

TEST_F(SettingsWatch, HearsEveryWriteInOrder)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener("memory/x");
        vconf_set_int("memory/x", 2010);
        vconf_set_int("memory/x", 2020);
        vconf_set_int("memory/x", 2020);
        vconf_set_str("memory/x", "text");
        vconf_set_str("memory/x", "");
        srcwatch_host_unset("memory/x");
        vconf_set_int("memory/x", -1);

        const Heard expected = {"memory/x=2010", "memory/x=2020",    "memory/x=2020", "memory/x='text'",
                                "memory/x=''",   "memory/x removed", "memory/x=-1"};
        EXPECT_EQ(HeardBy(listener, 7), expected);
    }));
}

TEST_F(SettingsWatch, HearsWritesOfAnotherProcessInOrder)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        Elsewhere([] {
            for (int value = 0; value < 200; value++) vconf_set_int("memory/x", value / 2);
        });

        Heard expected;
        for (int value = 0; value < 200; value++) expected.push_back("memory/x=" + std::to_string(value / 2));
        EXPECT_EQ(HeardBy(listener, 200), expected);
    }));
}

TEST_F(SettingsWatch, IsWokenByEveryWrite)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener("memory/x");
        for (size_t round = 1; round <= 5; round++) {
            vconf_set_int("memory/x", 1);
            EXPECT_LE(TimeOf([&] { EXPECT_EQ(HeardBy(listener, round).size(), round); }), 1500ms);
        }
    }));
}

TEST_F(SettingsWatch, HearsOnlyItsOwnKey)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener("db/x");
        vconf_set_int("db/xy", 1);
        vconf_set_int("memory/x", 1);
        vconf_set_int("db/x", 2);
        vconf_set_int("db/", 3);
        vconf_set_int("db/x", 4);

        EXPECT_EQ(HeardBy(listener, 2), (Heard{"db/x=2", "db/x=4"}));
    }));
}

TEST_F(SettingsWatch, HearsAllKeysOfBothFamiliesWhenAsked)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener(nullptr);
        vconf_set_int("db/a", 1);
        vconf_set_str("db/b", "two");
        EXPECT_EQ(HeardBy(listener, 2), (Heard{"db/a=1", "db/b='two'"}));
        vconf_set_int("memory/a", 3);
        EXPECT_EQ(HeardBy(listener, 3).back(), "memory/a=3");
    }));
}

TEST_F(SettingsWatch, HearsNothingOfBeforeItBegan)
{
    EXPECT_TRUE(InProcess([] {
        vconf_set_int("memory/x", 1);
        const Listener early("memory/x");
        vconf_set_int("memory/x", 2);
        const Listener late("memory/x");
        vconf_set_int("memory/x", 3);

        EXPECT_EQ(HeardBy(early, 2), (Heard{"memory/x=2", "memory/x=3"}));
        EXPECT_EQ(late.All(), Heard{"memory/x=3"});
    }));
}

TEST_F(SettingsWatch, HearsNothingAfterItEnded)
{
    EXPECT_TRUE(InProcess([] {
        Listener other("memory/x");
        {
            const Listener ended("memory/x");
            vconf_set_int("memory/x", 1);
            EXPECT_EQ(HeardBy(ended, 1).size(), 1u);
            vconf_set_int("memory/x", 2);
        }
        EXPECT_EQ(HeardBy(other, 2).size(), 2u);
    }));
}

TEST_F(SettingsWatch, ToleratesTheEndOfUnknownWatches)
{
    EXPECT_TRUE(InProcess([] {
        srcwatch_host_unwatch_setting(0);
        srcwatch_host_unwatch_setting(12345);
        unsigned id = 0;
        {
            const Listener listener("memory/x");
            id = listener.Id();
        }
        srcwatch_host_unwatch_setting(id);
    }));
}

TEST_F(SettingsWatch, MayEndInItsOwnCallback)
{
    EXPECT_TRUE(InProcess([] {
        Listener once("memory/x");
        const Listener other("memory/x");
        once.also = [&once] { srcwatch_host_unwatch_setting(once.Id()); };
        vconf_set_int("memory/x", 1);
        vconf_set_int("memory/x", 2);

        EXPECT_EQ(HeardBy(other, 2).size(), 2u);
        EXPECT_EQ(once.All().size(), 1u);
    }));
}

TEST_F(SettingsWatch, MayEndInItsOwnCallbackAsTheLastOne)
{
    EXPECT_TRUE(InProcess([] {
        Listener once("memory/x");
        once.also = [&once] { srcwatch_host_unwatch_setting(once.Id()); };
        vconf_set_int("memory/x", 1);
        vconf_set_int("memory/x", 2);
        EXPECT_EQ(HeardBy(once, 1).size(), 1u);

        const Listener again("memory/x");
        vconf_set_int("memory/x", 3);
        EXPECT_EQ(HeardBy(again, 1), Heard{"memory/x=3"});
        EXPECT_EQ(once.All().size(), 1u);
    }));
}

TEST_F(SettingsWatch, CallbacksMayEndAndBeginOtherWatches)
{
    EXPECT_TRUE(InProcess([] {
        Listener first("memory/x");
        auto second = std::make_unique<Listener>("memory/x");
        std::unique_ptr<Listener> third;
        first.also = [&] {
            second.reset();
            if (!third) third = std::make_unique<Listener>("memory/x");
        };
        vconf_set_int("memory/x", 1);
        EXPECT_EQ(HeardBy(first, 1).size(), 1u);
        vconf_set_int("memory/x", 2);
        EXPECT_EQ(HeardBy(first, 2).size(), 2u);
        EXPECT_EQ(third->All(), Heard{"memory/x=2"});
    }));
}

TEST_F(SettingsWatch, CallbacksMayUseTheStore)
{
    EXPECT_TRUE(InProcess([] {
        Listener listener("memory/x");
        listener.also = [] {
            int read = 0;
            EXPECT_EQ(vconf_get_int("memory/x", &read), 0);
            if (read < 5) vconf_set_int("memory/x", read + 1);
            EXPECT_EQ(srcwatch_host_list_settings([](auto, auto, auto) {}, nullptr), 0);
        };
        vconf_set_int("memory/x", 1);

        const Heard expected = {"memory/x=1", "memory/x=2", "memory/x=3", "memory/x=4", "memory/x=5"};
        EXPECT_EQ(HeardBy(listener, 5), expected);
    }));
}

TEST_F(SettingsWatch, GivesTheTextThatWasWritten)
{
    EXPECT_TRUE(InProcess([] {
        const Listener listener("db/document");
        const std::string first(50000, 'a');
        const std::string second(60000, 'b');
        vconf_set_str("db/document", first.c_str());
        vconf_set_str("db/document", second.c_str());

        const Heard heard = HeardBy(listener, 2);
        EXPECT_TRUE(heard[0] == "db/document='" + first + "'");
        EXPECT_TRUE(heard[1] == "db/document='" + second + "'");
    }));
}

TEST_F(SettingsWatch, GoesOnWithWhatIsLeftWhenItFellBehind)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        Elsewhere([] {
            for (int value = 0; value < 3000; value++) vconf_set_int("memory/x", value);
        });

        EXPECT_TRUE(
            EventuallyIn(nullptr, [&] { return !listener.All().empty() && listener.All().back() == "memory/x=2999"; }));
        EXPECT_GE(listener.All().size(), 1024u);
        EXPECT_LT(listener.All().size(), 1100u);
        for (size_t index = 0; index < listener.All().size(); index++)
            EXPECT_EQ(listener.All()[index], "memory/x=" + std::to_string(3000 - listener.All().size() + index));
        EXPECT_EQ(LogLines("changes of settings in " + RunDir() + " came too fast and were not heard").size(), 1u)
            << Log();
    }));
}

TEST_F(SettingsWatch, WorksBeforeAnythingExists)
{
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("not/yet/there"));
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        Elsewhere([] { vconf_set_int("memory/x", 1); });
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=1"});
    }));
}

TEST_F(SettingsWatch, FailsWhereNoDirectoryCanBe)
{
    WriteFile(Path("file"), "in the way");
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("file/run"));
    EXPECT_TRUE(InProcess([] {
        const auto ignore = [](const char*, const srcwatch_host_value*, void*) {};
        EXPECT_EQ(srcwatch_host_watch_setting("memory/x", ignore, nullptr), 0u);
        EXPECT_NE(srcwatch_host_watch_setting("db/x", ignore, nullptr), 0u);
    }));
    EXPECT_EQ(LogLines("cannot watch memory/x: Not a directory").size(), 1u) << Log();
}

TEST_F(SettingsWatch, RefusesKeysOfNoFamilyAndNullCallbacks)
{
    EXPECT_TRUE(InProcess([] {
        const auto ignore = [](const char*, const srcwatch_host_value*, void*) {};
        for (const char* key : {"", "x", "db/", "file/x"})
            EXPECT_EQ(srcwatch_host_watch_setting(key, ignore, nullptr), 0u);
        EXPECT_EQ(srcwatch_host_watch_setting("db/x", nullptr, nullptr), 0u);
    }));
    EXPECT_EQ(LogLines("cannot watch a setting").size(), 5u) << Log();
}

class SettingsWatchReplacement : public SettingsWatch, public testing::WithParamInterface<const char*> {
protected:
    void Replace() const
    {
        const std::string what = GetParam();
        if (what == "DatabaseRemoved") fs::remove(VolatileDatabase());
        if (what == "DirectoryRemoved") fs::remove_all(RunDir());
        if (what == "DirectoryRenamed") fs::rename(RunDir(), Path("elsewhere"));
        if (what == "DatabaseDamaged") WriteFile(VolatileDatabase(), "no database");
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
        Elsewhere([] {
            vconf_set_int("memory/x", 2);
            vconf_set_int("memory/x", 3);
        });

        EXPECT_EQ(HeardBy(listener, 3), (Heard{"memory/x=1", "memory/x=2", "memory/x=3"}));
        vconf_set_int("memory/x", 4);
        EXPECT_LE(TimeOf([&listener] { EXPECT_EQ(HeardBy(listener, 4).back(), "memory/x=4"); }), 1500ms);
    }));
}

TEST_F(SettingsWatch, LeavesItToWritersToCreateADirectoryAgain)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        fs::remove_all(RunDir());
        const auto end = std::chrono::steady_clock::now() + 700ms;
        EXPECT_TRUE(EventuallyIn(nullptr, [end] { return std::chrono::steady_clock::now() > end; }));
        EXPECT_FALSE(fs::exists(RunDir()));

        Elsewhere([] { vconf_set_int("memory/x", 1); });
        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=1"});
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SettingsWatch, HearsAWriterThatDiedBeforeTheWakeUp)
{
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        Sql(VolatileDatabase(), "INSERT INTO changes(bytes, key, value) VALUES(0, 'memory/x', 7)");

        EXPECT_EQ(HeardBy(listener, 1), Heard{"memory/x=7"});
    }));
}

TEST_F(SettingsWatch, RunsInTheContextThatWasThreadDefault)
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

TEST_F(SettingsWatch, EndsWithItsContext)
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

TEST_F(SettingsWatch, ManyWatchesShareOneDescriptor)
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

TEST_F(SettingsWatch, StaysWithTheParentAfterAFork)
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

TEST_F(SettingsWatch, HearsAllOfManyWriters)
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
        for (Process& writer : writers) EXPECT_TRUE(writer.EndsWell());
        EXPECT_EQ(heard.size(), 400u);
        int next[4] = {};
        for (const std::string& one : heard) {
            const int value = std::stoi(one.substr(one.find('=') + 1));
            EXPECT_EQ(value % 1000, next[value / 1000]++);
        }
    }));
}

}  // namespace
