// SPDX-License-Identifier: Apache-2.0
// Watching settings: every write is reported, in order, to the watches of its key.
#include "SettingsWatch.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;

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
        InAnotherProcess([] {
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
        for (std::size_t round = 1; round <= 5; round++) {
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

TEST_F(SettingsWatch, ReportsTheTextThatWasWritten)
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
        InAnotherProcess([] {
            for (int value = 0; value < 3000; value++) vconf_set_int("memory/x", value);
        });

        EXPECT_TRUE(
            EventuallyIn(nullptr, [&] { return !listener.All().empty() && listener.All().back() == "memory/x=2999"; }));
        EXPECT_GE(listener.All().size(), 1024u);
        EXPECT_LT(listener.All().size(), 1100u);
        for (std::size_t index = 0; index < listener.All().size(); index++)
            EXPECT_EQ(listener.All()[index], "memory/x=" + std::to_string(3000 - listener.All().size() + index));
        EXPECT_EQ(LogLines("changes of settings in " + RunDir() + ": they came too fast").size(), 1u) << Log();
    }));
}

TEST_F(SettingsWatch, WorksBeforeAnythingExists)
{
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("not/yet/there"));
    EXPECT_TRUE(InProcess([this] {
        const Listener listener("memory/x");
        InAnotherProcess([] { vconf_set_int("memory/x", 1); });
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

}  // namespace
