// SPDX-License-Identifier: Apache-2.0
#include "Profiles.h"

#include "TempDirectory.h"

#include <fstream>

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

using srcwatch_test::TempDirectory;
using srcwatch_test::WriteFile;

constexpr const char* kGood = R"({"match": {"vendor": "ACME"}, "give": {"type": 5}})";

Profiles FromEntries(const std::string& entries)
{
    Profiles profiles;
    profiles.LoadText("{\"profiles\": [" + entries + "]}", "p.json");
    return profiles;
}

std::string OnlyError(const Profiles& profiles)
{
    return profiles.Errors().size() == 1 ? profiles.Errors()[0].Text()
                                         : std::to_string(profiles.Errors().size()) + " errors";
}

TEST(Profiles, MatchPatternsWithoutRegardToCase)
{
    const Profiles profiles =
        FromEntries(R"({"match": {"vendor": "acme*", "product": "B?x [12]"}, "give": {"type": 5}})");

    EXPECT_NE(profiles.Find("ACME", "box 1", ""), nullptr);
    EXPECT_NE(profiles.Find("Acme Inc", "BUX 2", "whatever"), nullptr);
    EXPECT_EQ(profiles.Find("ACME", "box 3", ""), nullptr);
    EXPECT_EQ(profiles.Find("Other", "box 1", ""), nullptr);
}

TEST(Profiles, MatchTheOsdName)
{
    const Profiles profiles = FromEntries(R"({"match": {"osd": "Stick*"}, "give": {"type": 5}})");

    EXPECT_NE(profiles.Find("", "", "STICK 4"), nullptr);
    EXPECT_EQ(profiles.Find("", "", ""), nullptr);
}

TEST(Profiles, TakeABackslashAsItself)
{
    const Profiles profiles = FromEntries(R"({"match": {"vendor": "A\\B"}, "give": {"type": 5}})");

    EXPECT_NE(profiles.Find("A\\B", "", ""), nullptr);
}

TEST(Profiles, LetTheFirstMatchWin)
{
    const Profiles profiles = FromEntries(R"({"match": {"vendor": "ACME", "product": "Box"}, "give": {"type": 1}},
                                             {"match": {"vendor": "ACME"}, "give": {"type": 5}})");

    EXPECT_EQ(profiles.Find("ACME", "Box", "")->type, 1);
    EXPECT_EQ(profiles.Find("ACME", "Stick", "")->type, 5);
}

struct Malformed {
    const char* entry;
    const char* error;
};

class MalformedEntry : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedEntry, IsLeftOutWithItsReasonAndTheOthersAreUsed)
{
    const Profiles profiles = FromEntries(std::string(kGood) + ", " + GetParam().entry + ", " + kGood);

    EXPECT_EQ(OnlyError(profiles), std::string("p.json: entry 1: ") + GetParam().error);
    EXPECT_EQ(profiles.Count(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, MalformedEntry,
    testing::Values(
        Malformed{"7", "not an object"}, Malformed{"null", "not an object"},
        Malformed{"{}", R"("match" has none of "vendor", "product", "osd")"},
        Malformed{R"({"match": {"vendor": "A"}})", R"("give" has no "type")"},
        Malformed{R"({"match": {}, "give": {"type": 1}})", R"("match" has none of "vendor", "product", "osd")"},
        Malformed{R"({"match": [], "give": {"type": 1}})", R"("match" is not an object)"},
        Malformed{R"({"match": {"vendor": "A"}, "give": {"type": 2}})", R"("type" is none of 1, 3, 4, 5, 6, 7, 8, 9)"},
        Malformed{R"({"match": {"vendor": "A"}, "give": {"type": "1"}})",
                  R"("type" is none of 1, 3, 4, 5, 6, 7, 8, 9)"},
        Malformed{R"({"match": {"vendor": "A"}, "give": {"type": 99999999999}})",
                  R"("type" is none of 1, 3, 4, 5, 6, 7, 8, 9)"},
        Malformed{R"({"match": {"vendor": 5}, "give": {"type": 1}})", R"("vendor" is not a text)"},
        Malformed{R"({"match": {"vendor": ""}, "give": {"type": 1}})", R"("vendor" is empty)"},
        Malformed{R"({"match": {"vender": "A"}, "give": {"type": 1}})", R"("vender" is not known in "match")"},
        Malformed{R"({"match": {"vendor": "A"}, "give": {"type": 1, "colour": "x"}})",
                  R"("colour" is not known in "give")"},
        Malformed{R"({"match": {"vendor": "A"}, "give": {"type": 1, "brand": "a\tb"}})",
                  R"("brand" has control characters)"},
        Malformed{R"({"match": {"vendor": "A"}, "giv": {"type": 1}})", R"("giv" is not known)"}));

TEST(Profiles, RefuseATextThatDoesNotFitAnEvent)
{
    const std::string long99(99, 'x');

    EXPECT_EQ(OnlyError(FromEntries(R"({"match": {"vendor": "A"}, "give": {"type": 1, "brand": ")" + long99 + "x\"}}")),
              "p.json: entry 0: \"brand\" is longer than 99 bytes");
    EXPECT_EQ(FromEntries(R"({"match": {"vendor": "A"}, "give": {"type": 1, "brand": ")" + long99 + "\"}}").Count(),
              1U);
}

TEST(Profiles, RefuseATextThatIsNoJson)
{
    Profiles profiles;
    profiles.LoadText("{\"profiles\": [", "p.json");

    EXPECT_EQ(OnlyError(profiles).substr(0, 16), "p.json: not JSON");
}

TEST(Profiles, RefuseATextNestedTooDeep)
{
    Profiles profiles;
    profiles.LoadText(std::string(5000, '['), "p.json");

    EXPECT_EQ(OnlyError(profiles).substr(0, 16), "p.json: not JSON");
}

TEST(Profiles, RefuseOtherDocuments)
{
    for (const char* text : {"[]", "{}", "{\"profiles\": {}}", "5"}) {
        Profiles profiles;
        profiles.LoadText(text, "p.json");
        EXPECT_EQ(OnlyError(profiles), "p.json: not an object with an array \"profiles\"") << text;
    }
}

TEST(Profiles, ReportAFileThatIsNotThere)
{
    Profiles profiles;
    profiles.Load("/nonexistent/p.json");

    EXPECT_EQ(OnlyError(profiles), "/nonexistent/p.json: no such file");
}

TEST(Profiles, LoadAllFilesOfADirectoryInTheOrderOfTheirNames)
{
    const TempDirectory directory;
    WriteFile(directory / "20-late.json", R"({"profiles": [{"match": {"vendor": "A"}, "give": {"type": 5}}]})");
    WriteFile(directory / "10-early.json", R"({"profiles": [{"match": {"vendor": "A"}, "give": {"type": 1}}]})");
    WriteFile(directory / "30-broken.json", "nonsense");
    WriteFile(directory / "readme.txt", "no profile");

    Profiles profiles;
    profiles.Load(directory.Path());

    EXPECT_EQ(profiles.Count(), 2U);
    EXPECT_EQ(profiles.Find("A", "", "")->type, 1);
    ASSERT_EQ(profiles.Errors().size(), 1U);
    EXPECT_EQ(profiles.Errors()[0].file, directory / "30-broken.json");
}

TEST(Profiles, RefuseAFileOfMoreThanAMegabyte)
{
    const TempDirectory directory;
    WriteFile(directory / "big.json", std::string(1024 * 1024 + 1, ' '));

    Profiles profiles;
    profiles.Load(directory / "big.json");

    EXPECT_EQ(profiles.Errors().at(0).reason, "1048577 bytes, more than 1048576");
}

}  // namespace
}  // namespace srcwatch
