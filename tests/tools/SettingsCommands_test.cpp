// SPDX-License-Identifier: Apache-2.0
//
// settings.
#include "Intruder.h"
#include "ToolTest.h"

#include <csignal>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class SettingsCommands : public ToolTest {};

TEST_F(SettingsCommands, SetMakesANumberOfWhatLooksLikeOne)
{
    EXPECT_EQ(Document({"settings", "set", "memory/a", "-5"}, "settings set")["type"], "int");
    EXPECT_EQ(Document({"settings", "set", "memory/b", "5 apples"}, "settings set")["type"], "text");
    EXPECT_EQ(Document({"settings", "set", "memory/c", "99999999999"}, "settings set")["type"], "text");
    EXPECT_EQ(Document({"settings", "set", "memory/d", ""}, "settings set")["type"], "text");
}

TEST_F(SettingsCommands, SetKeepsTheTypeOfASetting)
{
    Set("db/text", "words");
    Set("db/number", "1", "--int");

    EXPECT_EQ(Document({"settings", "set", "db/text", "12"}, "settings set")["value"], "12");
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/number", "words"}), 2, "db/number is a number"));
    EXPECT_EQ(Get("db/number"), "1");
}

TEST_F(SettingsCommands, SetChangesTheTypeWhenAsked)
{
    Set("db/key", "12");

    EXPECT_EQ(Document({"settings", "set", "db/key", "12", "--int"}, "settings set")["value"], 12);
    EXPECT_EQ(Document({"settings", "set", "db/key", "12", "--text"}, "settings set")["value"], "12");
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/key", "12", "--text", "--int"}), 2, "--text"));
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/key", "x", "--int"}), 2, "not a 32-bit number"));
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/key", "2147483648", "--int"}), 2, "not a 32-bit number"));
}

TEST_F(SettingsCommands, RefuseWhatIsNoKeyOrNoText)
{
    EXPECT_TRUE(Fails(Run({"settings", "set", "key", "1"}), 2, "'key' is not a key"));
    EXPECT_TRUE(Fails(Run({"settings", "get", ""}), 2, "KEY"));
    EXPECT_TRUE(Fails(Run({"settings", "watch", "other/key"}), 2, "KEY"));
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/key", "\xff", "--text"}), 2, "not valid UTF-8"));
}

TEST_F(SettingsCommands, UnsetRemovesASetting)
{
    Set("db/text", "words");
    Set("memory/number", "1", "--int");

    EXPECT_TRUE(Document({"settings", "unset", "db/text"}, "settings unset")["value"].isNull());
    EXPECT_EQ(Run({"settings", "unset", "memory/number"}).out, "removed memory/number\n");
    for (const char* const key : {"db/text", "memory/number"}) {
        EXPECT_TRUE(Fails(Run({"settings", "get", key}), 1, "no such setting")) << key;
        EXPECT_TRUE(Fails(Run({"settings", "unset", key}), 1, "no such setting")) << key;
    }
}

TEST_F(SettingsCommands, GetPrintsAValueAsItIs)
{
    const std::string document = "{\n\t\"a\" : \"\\u001b\"\n}\n";
    Set("db/document", document);
    Set("db/number", "-7", "--int");

    EXPECT_EQ(Run({"settings", "get", "db/document"}).out, document + "\n");
    EXPECT_EQ(Run({"settings", "get", "db/number", "-o", "raw"}).out, "-7\n");
    EXPECT_EQ(Document({"settings", "get", "db/document"}, "settings get")["value"], document);
    EXPECT_TRUE(Fails(Run({"settings", "get", "db/absent"}), 1, "no such setting: db/absent"));
}

TEST_F(SettingsCommands, ListShowsAllOrThoseOfAPrefix)
{
    Set("db/one/a", "1", "--int");
    Set("db/two", "words");
    Set("memory/three", "3", "--int");

    EXPECT_EQ(Document({"settings", "list"}, "settings list").size(), 3U);
    const Json::Value some = Document({"settings", "list", "db/"}, "settings list");
    ASSERT_EQ(some.size(), 2U);
    EXPECT_EQ(some[0]["key"], "db/one/a");
    EXPECT_EQ(some[1]["value"], "words");
    EXPECT_EQ(Run({"settings", "list", "db/two", "-o", "raw"}).out, "db/two\ttext\twords\n");
}

TEST_F(SettingsCommands, TellOfATextThatIsTooLarge)
{
    for (const char* const key : {kActivityKey, kStatisticsKey}) {
        Set(key, "{}");
        const std::string plant = std::string("UPDATE settings SET value = printf('%.*c', 1048577, 'l') WHERE key = '");
        ASSERT_TRUE(Intruder(Path("state/settings.db")).Run((plant + key + "'").c_str()));
    }
    const std::string large = std::string(kActivityKey) + " is too large to be read";

    const Json::Value listed = Document({"settings", "list", kActivityKey}, "settings list");
    EXPECT_EQ(listed[0]["type"], "text");
    EXPECT_TRUE(listed[0]["value"].isNull());
    EXPECT_THAT(Run({"settings", "list"}).out, HasSubstr("(too large: 1048577 bytes)"));
    EXPECT_TRUE(Fails(Run({"settings", "get", kActivityKey}), 1, large));
    EXPECT_TRUE(Fails(Run({"show", "0"}), 1, large));
    EXPECT_TRUE(Fails(Run({"list"}), 1, large));
    EXPECT_TRUE(Fails(Run({"stats"}), 1, std::string(kStatisticsKey) + " is too large to be read"));

    EXPECT_EQ(Document({"settings", "set", kActivityKey, "12"}, "settings set")["value"], "12");
}

TEST_F(SettingsCommands, FailWhereTheStoreCannotBeUsed)
{
    SetVariable("SRCWATCH_STATE_DIR", "/dev/null/state");

    EXPECT_TRUE(Fails(Run({"settings", "list"}), 1, "cannot be read"));
    EXPECT_TRUE(Fails(Run({"settings", "get", "db/key"}), 1, "cannot be read"));
    EXPECT_TRUE(Fails(Run({"settings", "set", "db/key", "1"}), 1, "refuses to write db/key"));
    EXPECT_TRUE(Fails(Run({"settings", "watch", "db/key"}), 1, "cannot be watched"));
}

TEST_F(SettingsCommands, WatchShowsEveryWriteInOrder)
{
    const auto watch = Start({"settings", "watch", "memory/key", "-o", "json"});
    int writes = 0;
    EXPECT_TRUE(RunUntil([&] {
        Set("memory/other", "x");
        Set("memory/key", std::to_string(++writes), "--int");
        return watch->Output().find("memory/key") != std::string::npos;
    }));
    Set("memory/key", "1000", "--int");
    Set("memory/key", "1000", "--int");
    Set("memory/key", "words");
    EXPECT_TRUE(watch->WaitForOutput("words"));

    watch->Signal(SIGTERM);

    const Outcome outcome = watch->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_TRUE(Matches("settings watch", outcome.out));
    const Json::Value seen = Parse(outcome.out);
    ASSERT_GE(seen.size(), 4U);
    EXPECT_EQ(seen[seen.size() - 3]["value"], 1000);
    EXPECT_EQ(seen[seen.size() - 2]["value"], 1000);
    EXPECT_EQ(seen[seen.size() - 1]["value"], "words");
    for (const Json::Value& setting : seen) EXPECT_EQ(setting["key"], "memory/key");
}

TEST_F(SettingsCommands, WatchWithoutAKeyShowsAllUntilTheCount)
{
    const auto watch = Start({"settings", "watch", "--count", "2", "-o", "raw"});
    EXPECT_TRUE(RunUntil([&] {
        Set("memory/a", "1", "--int");
        Set("db/b", "words");
        const std::string seen = watch->Output();
        return std::count(seen.begin(), seen.end(), '\n') >= 2;
    }));

    const Outcome outcome = watch->Wait();

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.out, testing::AnyOf(HasSubstr("memory/a\tint\t1\n"), HasSubstr("db/b\ttext\twords\n")));
}

TEST_F(SettingsCommands, WatchTimesOut)
{
    EXPECT_TRUE(Fails(Run({"settings", "watch", "--timeout", "0.1"}), 3, "time is up"));
}

}  // namespace
