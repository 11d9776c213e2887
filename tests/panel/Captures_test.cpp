// SPDX-License-Identifier: Apache-2.0
#include "Captures.h"

#include "Json.h"
#include "KnownDevices.h"
#include "Process.h"
#include "Tar.h"
#include "TempDirectory.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace panel;
using testing::HasSubstr;

constexpr char kProfiles[] = R"({"profiles": [{"match": {"vendor": "DARVEX"},
                                              "give": {"type": 9, "brand": "Other", "device": "PC"}}]})";

const Json::Value& Named(const Json::Value& list, const std::string& name)
{
    for (const Json::Value& each : list) {
        if (each["name"] == name) return each;
    }
    return Json::Value::nullSingleton();
}

TEST(PanelCaptures, AreWhatTheyAreClassifiedAs)
{
    const Json::Value captures = DescribeCaptures(ReadCaptures(SRCWATCH_CAPTURES_DIR), {});

    EXPECT_EQ(Named(captures, "darvex-dvd")["type"], 3);
    EXPECT_EQ(Named(captures, "darvex-dvd")["valid"], true);
    EXPECT_EQ(Named(captures, "malformed")["valid"], false);
    EXPECT_TRUE(Named(captures, "README.md").isNull());
}

TEST(PanelCaptures, HaveTextsOfTheirOwnWithoutHarm)
{
    const srcwatch_test::TempDirectory directory;
    for (const char* const name : {"<b>&\xe2\x80\xae", ".hidden", "\xff"}) {
        std::filesystem::create_directory(directory / name);
        srcwatch_test::WriteFile(directory / name + std::string("/cec.log"), "10:47:3c:62:3e\n");
    }

    const Json::Value captures = DescribeCaptures(ReadCaptures(directory.Path()), {});

    ASSERT_EQ(captures.size(), 1U);
    EXPECT_EQ(captures[0]["name"], "<b>&\xe2\x80\xae");
    EXPECT_EQ(captures[0]["device"], "<b>");
}

TEST(PanelCaptures, AreNoneWhereThereIsNoDirectory) { EXPECT_TRUE(ReadCaptures("/nonexistent").empty()); }

TEST(PanelProfiles, ShowWhichCapturesTheyWouldChange)
{
    const Json::Value result = TryProfiles(ReadCaptures(SRCWATCH_CAPTURES_DIR), {}, kProfiles);

    EXPECT_EQ(result["errors"].size(), 0U);
    EXPECT_EQ(Named(result["captures"], "darvex-dvd")["changed"], true);
    EXPECT_EQ(Named(result["captures"], "darvex-dvd")["before"]["type"], 3);
    EXPECT_EQ(Named(result["captures"], "darvex-dvd")["after"]["type_name"], "PC");
    EXPECT_EQ(Named(result["captures"], "voltana-vx-home")["changed"], false);
}

TEST(PanelProfiles, ShowWhatIsWrongWithThem)
{
    for (const char* const text : {"", "{", "[]", R"({"profiles": [{"match": {"vendor": 1}}]})"}) {
        EXPECT_GE(TryProfiles({}, {}, text)["errors"].size(), 1U) << text;
    }
}

TEST(PanelProfiles, OfADirectoryAreItsFiles)
{
    const srcwatch_test::TempDirectory directory;
    srcwatch_test::WriteFile(directory / "b.json", kProfiles);
    srcwatch_test::WriteFile(directory / "a.json", "{}");
    srcwatch_test::WriteFile(directory / "c.txt", "");

    const KnownDevices devices("/nonexistent", {directory.Path(), "/nonexistent/other.json"});

    const Json::Value document = devices.Profiles();
    ASSERT_EQ(document["paths"].size(), 3U);
    EXPECT_EQ(document["paths"][0], directory / "a.json");
    EXPECT_EQ(document["text"], "{}");
    EXPECT_STREQ(devices.ProfilesFrom(), "option");
}

TEST(PanelTar, IsOneThatTarReads)
{
    const srcwatch_test::TempDirectory directory;
    const std::vector<TarFile> files = {
        {"spd.bin", std::string(600, 'x')}, {"empty", ""},         {std::string(200, 'n'), "of a long name"},
        {"\xc3\xa4\xff", "of other bytes"}, {"cec.log", "text\n"},
    };
    const auto tar = PackTar(files);
    ASSERT_TRUE(tar.has_value());
    srcwatch_test::WriteFile(directory / "a.tar", *tar);

    ASSERT_EQ(system(("cd '" + directory.Path() + "' && tar -xf a.tar && rm a.tar").c_str()), 0);

    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.Path()), {}), 5);
    for (const TarFile& file : files) EXPECT_EQ(srcwatch_test::ReadFile(directory / file.name), file.bytes);
}

TEST(PanelJson, ReplacesWhatIsNotUtf8)
{
    Json::Value value;
    value["a\xff"] = "\xc3(\xf0\x28\x8c\xbc\xed\xa0\x80\n\x01</script>";

    EXPECT_EQ(ToText(value), ValidText(ToText(value)));
    EXPECT_TRUE(ParseObject(ToText(value)).has_value());
    EXPECT_THAT(ToText(value), HasSubstr("\xef\xbf\xbd("));
}

}  // namespace
