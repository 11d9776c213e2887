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

constexpr const char* kOther = R"({"match": {"vendor": "OTHER"}, "give": {"type": 5}})";

Profiles FromEntries(const std::string& entries)
{
    Profiles profiles;
    profiles.LoadText("{\"profiles\": [" + entries + "]}", "p.json");
    return profiles;
}

const Profile* Found(const Profiles& profiles, const char* vendor, const char* product, const char* osd)
{
    Signs signs;
    signs.vendor = vendor;
    signs.product = product;
    signs.osd = osd;
    return profiles.Find(signs);
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

    EXPECT_NE(Found(profiles, "ACME", "box 1", ""), nullptr);
    EXPECT_NE(Found(profiles, "Acme Inc", "BUX 2", "whatever"), nullptr);
    EXPECT_EQ(Found(profiles, "ACME", "box 3", ""), nullptr);
    EXPECT_EQ(Found(profiles, "Other", "box 1", ""), nullptr);
}

TEST(Profiles, MatchTheOsdName)
{
    const Profiles profiles = FromEntries(R"({"match": {"osd": "Stick*"}, "give": {"type": 5}})");

    EXPECT_NE(Found(profiles, "", "", "STICK 4"), nullptr);
    EXPECT_EQ(Found(profiles, "", "", ""), nullptr);
}

struct Sign {
    const char* match;
    Signs device;
};

class ProfileOfSign : public testing::TestWithParam<Sign> {};

TEST_P(ProfileOfSign, MatchesTheDeviceThatHasIt)
{
    const Profiles profiles =
        FromEntries(std::string(R"({"match": {)") + GetParam().match + R"(}, "give": {"type": 5}})");

    ASSERT_EQ(profiles.Count(), 1U);
    EXPECT_NE(profiles.Find(GetParam().device), nullptr);
    EXPECT_EQ(profiles.Find({"ACME", "Box", "Acme Box", "00903e", "2.0.0.0", "19e63d6d90", 8, 3}), nullptr);
    EXPECT_EQ(profiles.Find({}), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Profiles, ProfileOfSign,
                         testing::Values(Sign{R"("vendor_id": "001A2*")", {"", "", "", "001a2b", "", "", {}, {}}},
                                         Sign{R"("physical_address": "1.*")", {"", "", "", "", "1.0.0.0", "", {}, {}}},
                                         Sign{R"("aksv": "B703")", {"", "", "", "", "", "b70361f714", {}, {}}},
                                         Sign{R"("source_information": 0)", {"", "", "", "", "", "", 0, {}}},
                                         Sign{R"("device_type": 4)", {"", "", "", "", "", "", {}, 4}}));

TEST(Profiles, KnowWhereTheyAreFrom)
{
    const Profiles profiles = FromEntries(std::string("7, ") + kGood);

    EXPECT_EQ(Found(profiles, "ACME", "", "")->file, "p.json");
    EXPECT_EQ(Found(profiles, "ACME", "", "")->entry, 1);
}

TEST(Profiles, OfOneFileDoNotShadowThoseOfAnother)
{
    Profiles profiles = FromEntries(kGood);
    profiles.LoadText(std::string("{\"profiles\": [") + kGood + "]}", "q.json");

    EXPECT_EQ(profiles.Count(), 2U);
    EXPECT_TRUE(profiles.Errors().empty());
}

TEST(Profiles, TakeABackslashAsItself)
{
    const Profiles profiles = FromEntries(R"({"match": {"vendor": "A\\B"}, "give": {"type": 5}})");

    EXPECT_NE(Found(profiles, "A\\B", "", ""), nullptr);
}

TEST(Profiles, LetTheFirstMatchWin)
{
    const Profiles profiles = FromEntries(R"({"match": {"vendor": "ACME", "product": "Box"}, "give": {"type": 1}},
                                             {"match": {"vendor": "ACME"}, "give": {"type": 5}})");

    EXPECT_EQ(Found(profiles, "ACME", "Box", "")->type, 1);
    EXPECT_EQ(Found(profiles, "ACME", "Stick", "")->type, 5);
}

struct Malformed {
    const char* entry;
    const char* error;
};

class MalformedEntry : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedEntry, IsLeftOutWithItsReasonAndTheOthersAreUsed)
{
    const Profiles profiles = FromEntries(std::string(kGood) + ", " + GetParam().entry + ", " + kOther);

    EXPECT_EQ(OnlyError(profiles), std::string("p.json: entry 1: ") + GetParam().error);
    EXPECT_EQ(profiles.Count(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, MalformedEntry,
    testing::Values(
        Malformed{"7", "not an object"}, Malformed{"null", "not an object"},
        Malformed{"{}", R"("match" is missing or empty)"},
        Malformed{R"({"match": {"vendor": "A"}})", R"("give" has no "type")"},
        Malformed{R"({"match": {}, "give": {"type": 1}})", R"("match" is missing or empty)"},
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
        Malformed{R"({"match": {"vendor": "ABCDEFGH?"}, "give": {"type": 1}})",
                  R"("vendor" can never match: it needs 9 characters, and the field has 8)"},
        Malformed{R"({"match": {"osd": "*123456789012345"}, "give": {"type": 1}})",
                  R"("osd" can never match: it needs 15 characters, and the field has 14)"},
        Malformed{R"({"match": {"vendor": "acme", "product": "Box"}, "give": {"type": 1}})",
                  "can never match: entry 0 always matches before"},
        Malformed{R"({"match": {"source_information": 256}, "give": {"type": 1}})",
                  R"("source_information" is not a number from 0 to 255)"},
        Malformed{R"({"match": {"device_type": "4"}, "give": {"type": 1}})",
                  R"("device_type" is not a number from 0 to 7)"},
        Malformed{R"({"match": {"aksv": "b7x"}, "give": {"type": 1}})",
                  R"("aksv" is not the beginning of ten hexadecimal digits)"},
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
    EXPECT_EQ(Found(profiles, "A", "", "")->type, 1);
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
