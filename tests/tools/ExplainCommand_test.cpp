// SPDX-License-Identifier: Apache-2.0
//
// explain: the evidence, the profile and the rules.
#include "BusOnlyService.h"
#include "ToolTest.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class ExplainCommand : public ToolTest {};

TEST_F(ExplainCommand, ShowsTheEvidenceOfAPluggedDevice)
{
    ASSERT_EQ(Run({"plug", "0", "tessaly-cable"}).code, 0);

    const Json::Value evidence =
        Document({"explain", "0", "--profiles", SRCWATCH_PROFILES_FILE}, "explain")["evidence"];

    EXPECT_EQ(evidence["items"].size(), 3U);
    EXPECT_EQ(evidence["items"][0]["file"], "spd.bin");
    EXPECT_THAT(evidence["items"][0]["says"].asString(), HasSubstr("TESSALY"));
    EXPECT_EQ(evidence["type"], 1);
    EXPECT_EQ(evidence["method"], 1);
    EXPECT_EQ(evidence["profiles"]["from"], "option");
    EXPECT_EQ(evidence["profile"]["file"], SRCWATCH_PROFILES_FILE);
    EXPECT_EQ(evidence["profile"]["entry"], 1);
    EXPECT_EQ(evidence["rules"].size(), 0U);
}

TEST_F(ExplainCommand, ShowsWhichRulesWereTried)
{
    WriteFile("none.json", R"({"profiles": []})");
    ASSERT_EQ(Run({"plug", "0", "brightpond-stick"}).code, 0);

    const Json::Value evidence = Document({"explain", "0", "--profiles", Path("none.json")}, "explain")["evidence"];

    EXPECT_TRUE(evidence["profile"].isNull());
    ASSERT_EQ(evidence["rules"].size(), 2U);
    EXPECT_EQ(evidence["rules"][0]["found"], "source information 0");
    EXPECT_EQ(evidence["rules"][0]["applies"], false);
    EXPECT_EQ(evidence["rules"][1]["found"], "primary device type 4");
    EXPECT_EQ(evidence["rules"][1]["applies"], true);
}

TEST_F(ExplainCommand, GoesByTheProfilesOfTheRunningService)
{
    WriteFile("mine.json", R"({"profiles": [{"match": {"vendor": "TIVARO"}, "give": {"type": 5}}]})");
    BusOnlyService service;
    service.Answer(0x2005, "{\"paths\": [\"" + Path("mine.json") + "\"]}");
    ASSERT_EQ(Run({"plug", "0", "tivaro-one"}).code, 0);

    const Json::Value evidence = Document({"explain", "0"}, "explain")["evidence"];

    EXPECT_EQ(evidence["profiles"]["from"], "service");
    EXPECT_EQ(evidence["profile"]["file"], Path("mine.json"));
    EXPECT_EQ(evidence["type"], 5);
}

TEST_F(ExplainCommand, ShowsWhichDeviceIsBehindTheOneOnThePort)
{
    std::filesystem::create_directories(Path("receiver"));
    WriteFile("receiver/cec.log", "5f:84:10:00:05\n8f:84:11:00:04\n80:47:50\n");
    ASSERT_EQ(Run({"plug", "0", Path("receiver")}).code, 0);

    const Json::Value evidence = Document({"explain", "0"}, "explain")["evidence"];
    const std::string table = Run({"explain", "0"}).out;

    EXPECT_EQ(evidence["type"], 4);
    ASSERT_EQ(evidence["behind"].size(), 1U);
    EXPECT_EQ(evidence["behind"][0]["physical_address"], "1.1.0.0");
    EXPECT_THAT(table, HasSubstr("logical address 5, physical address 1.0.0.0"));
    EXPECT_THAT(table, HasSubstr("logical address 8, physical address 1.1.0.0, OSD name \"P\""));
}

TEST_F(ExplainCommand, AsksTheServiceForADeviceWithoutADirectory)
{
    BusOnlyService service;
    service.Answer(0x2006, R"({"port": 1, "spd": "", "aksv": "", "cec": "4f:84:20:00:04\n40:47:4b:75:76:6f\n"})");

    const Json::Value evidence = Document({"explain", "1"}, "explain")["evidence"];

    EXPECT_TRUE(evidence["directory"].isNull());
    EXPECT_EQ(evidence["type"], 5);
    EXPECT_THAT(Run({"explain", "1"}).out, HasSubstr("physical address 2.0.0.0, OSD name \"Kuvo\""));
    ASSERT_FALSE(service.calls.empty());
    EXPECT_EQ(service.calls[0].event.args[0], 1);
}

TEST_F(ExplainCommand, HasNoEvidenceWhereNothingWasHeard)
{
    BusOnlyService service;
    for (const char* reply : {R"({"port": 0, "spd": "", "aksv": "", "cec": ""})", R"({"spd": "no"})", "", "[]"}) {
        service.Answer(0x2006, reply);
        EXPECT_TRUE(Document({"explain", "0"}, "explain")["evidence"].isNull()) << reply;
    }
}

TEST_F(ExplainCommand, ShowsWhichEvidenceWasRefused)
{
    ASSERT_EQ(Run({"plug", "0", "malformed"}).code, 0);

    const Outcome outcome = Run({"explain", "0"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.out, HasSubstr("refused: checksum"));
    EXPECT_THAT(outcome.out, HasSubstr("by faulty; the record differs"));
}

}  // namespace
