// SPDX-License-Identifier: Apache-2.0
//
// list, show, get, forget, and the answers of explain.
#include "BusOnlyService.h"
#include "Intruder.h"
#include "ToolTest.h"

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

constexpr int kForget = 0x2003;

Json::Value SetTopBox(const std::string& provider)
{
    Json::Value record;
    record["DevType"] = 1;
    record["PRName"] = provider;
    record["DevName"] = "Box";
    record["BName"] = "Brand";
    record["CName"] = "ABCDEFGHIJKL";
    record["UnknownType"] = "note";
    record["DenyCount"] = 3;
    record["Changed"] = 2;
    record["PrevPort"] = 1;
    return record;
}

const Json::Value& AnswerOf(const Json::Value& document, const std::string& function)
{
    static const Json::Value kNone;
    for (const Json::Value& answer : document["answers"]) {
        if (answer["function"] == function) return answer;
    }
    ADD_FAILURE() << "no answer of " << function;
    return kNone;
}

class PortCommands : public ToolTest {};

TEST_F(PortCommands, ListsEveryPortOfTheTvAlsoWithoutARecord)
{
    const Json::Value ports = Document({"list"}, "list");

    ASSERT_EQ(ports.size(), 5U);
    EXPECT_EQ(ports[0]["port"], 0);
    EXPECT_EQ(ports[0]["input"], "HDMI 1");
    EXPECT_EQ(ports[0]["stored"], false);
    EXPECT_EQ(ports[3]["port"], 3);
    EXPECT_EQ(ports[4]["port"], 99);
    EXPECT_EQ(ports[4]["input"], "optical");
    EXPECT_EQ(ports[0]["record"].size(), 18U);
    EXPECT_EQ(ports[0]["record"]["DevType"], 0);
    EXPECT_EQ(ports[0]["record"]["DevName"], "");
}

TEST_F(PortCommands, FailWhereTheVolatileStoreCannotBeRead)
{
    SetVariable("SRCWATCH_RUN_DIR", "/dev/null/run");

    for (const Words& command : {Words{"list"}, {"get", "0", "DevName"}, {"explain", "0"}, {"scan", "status"}}) {
        EXPECT_TRUE(Fails(Run(command), 1, "cannot be read")) << testing::PrintToString(command);
    }
}

// To the library's queries a store that cannot be read is one with nothing in it.
TEST_F(PortCommands, FailWhereTheStoreCannotBeRead)
{
    SetVariable("SRCWATCH_STATE_DIR", "/dev/null/state");

    for (const Words& command : {Words{"list"},
                                 {"show", "0"},
                                 {"explain", "0"},
                                 {"get", "0", "DevName"},
                                 {"features"},
                                 {"stats"},
                                 {"twc", "status"},
                                 {"scan", "status"}}) {
        EXPECT_TRUE(Fails(Run(command), 1, "cannot be read")) << testing::PrintToString(command);
    }
}

TEST_F(PortCommands, ListsPortsWithRecordsIfNumberOfInputsIsUnknown)
{
    StoreRecord(1, SetTopBox("Provider"));
    Set(kActivityKey, R"({"activity":[{"DevType":9},{"DevType":7}]})");
    WriteFile("platform.conf", "");

    EXPECT_EQ(Document({"list"}, "list").size(), 3U);
}

TEST_F(PortCommands, ListsWhatApplicationsWouldShow)
{
    StoreRecord(2, SetTopBox("Provider"));

    EXPECT_THAT(Run({"list", "-o", "raw"}).out,
                HasSubstr("2\tHDMI 3\tset-top box\tProvider\tnote\tProvider\tABCDEFGHIJ\tdetected\n"));
}

TEST_F(PortCommands, ListSaysThatNoServiceRuns)
{
    const Outcome outcome = Run({"list"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.err, HasSubstr("showing stored records only: no detection service is running"));

    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/bus");
    EXPECT_THAT(Run({"list"}).err, HasSubstr("cannot reach the system bus"));
}

TEST_F(PortCommands, ListSaysNothingWhenAServiceRuns)
{
    const BusOnlyService service;
    EXPECT_EQ(Run({"list"}).err, "");
}

TEST_F(PortCommands, WatchListShowsEachChange)
{
    const auto watch = Start({"watch", "list", "--count", "2", "-o", "jsonl"});
    EXPECT_TRUE(watch->WaitForOutput("empty"));

    StoreRecord(2, SetTopBox("Provider"));

    const Outcome outcome = watch->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    std::istringstream lines(outcome.out);
    std::string before;
    std::string after;
    ASSERT_TRUE(std::getline(lines, before) && std::getline(lines, after));
    EXPECT_TRUE(Matches("watch list", before));
    EXPECT_EQ(Parse(before)[2]["state"], "empty");
    EXPECT_EQ(Parse(after)[2]["state"], "detected");
}

TEST_F(PortCommands, WatchListStaysInItsPlaceOnATerminal)
{
    const Outcome outcome = RunOnTerminal({"watch", "list", "--count", "1"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.out, testing::StartsWith("\x1b[H\x1b[JPORT"));
    EXPECT_TRUE(Fails(Run({"watch", "list", "--timeout", "0.1"}), 3, "time is up"));
}

TEST_F(PortCommands, RefusePortsThatTheTvDoesNotHave)
{
    for (const Words& command : {Words{"show", "4"}, {"show", "hdmi8"}, {"wait", "4"}, {"plug", "7", "tivaro-one"}}) {
        EXPECT_TRUE(Fails(Run(command), 1, "the TV has no input HDMI")) << command[0];
    }
    WriteFile("platform.conf", "");  // how many it has is unknown
    EXPECT_EQ(Run({"show", "7"}).code, 0);
}

TEST_F(PortCommands, ListsTheSameAsJson)
{
    StoreRecord(2, SetTopBox("Provider"));

    const Json::Value ports = Document({"list"}, "list");

    EXPECT_EQ(ports[2]["type_name"], "set-top box");
    EXPECT_EQ(ports[2]["name"], "Provider");
    EXPECT_EQ(ports[2]["detail"], "note");
    EXPECT_EQ(ports[2]["provider"], "Provider");
    EXPECT_EQ(ports[2]["codeset"], "ABCDEFGHIJ");
    EXPECT_EQ(ports[2]["state"], "detected");
    EXPECT_TRUE(ports[0]["type_name"].isNull());
    EXPECT_TRUE(ports[0]["name"].isNull());
    EXPECT_EQ(ports[0]["state"], "empty");
}

TEST_F(PortCommands, ShowsTheRecordAsStored)
{
    StoreRecord(1, SetTopBox("Provider"));

    const Json::Value document = Document({"show", "1"}, "show");

    EXPECT_EQ(document["port"], 1);
    EXPECT_EQ(document["stored"], true);
    EXPECT_EQ(document["record"]["CName"], "ABCDEFGHIJKL");
    EXPECT_EQ(document["record"]["DenyCount"], 3);
    EXPECT_EQ(document["record"]["AKSV"], "");
}

TEST_F(PortCommands, ShowsTheOpticalSource)
{
    StoreRecord(99, SetTopBox("Provider"));

    EXPECT_EQ(Document({"show", "99"}, "show")["record"]["PRName"], "Provider");
}

TEST_F(PortCommands, ShowsWhatEachFunctionAnswers)
{
    StoreRecord(1, SetTopBox("Provider"));

    const Json::Value document = Document({"show", "1"}, "show");

    const Json::Value& info = AnswerOf(document, "srcwatch_get_device_info");
    EXPECT_EQ(info["result"], 0);
    EXPECT_EQ(info["values"]["device_type"], 1);
    EXPECT_EQ(info["values"]["device_info_str1"], "Provider");
    EXPECT_EQ(info["values"]["device_info_str2"], "note");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_codeset_info")["values"]["codeset"], "ABCDEFGHIJ");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_codeset_name")["values"]["CName"], "ABCDEFGHIJKL");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_result_str1_name")["values"]["result_str1"], "Provider");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_denycount")["values"]["DenyCount"], 3);
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_changed_device_info")["values"]["changed"], true);
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_changed_device_info")["values"]["PrevPort"], 1);
}

TEST_F(PortCommands, DistinguishesUntouchedFromEmptyOutputs)
{
    StoreRecord(1, SetTopBox("STB Generic"));

    const Json::Value document = Document({"show", "1"}, "show");

    EXPECT_TRUE(AnswerOf(document, "srcwatch_get_result_str2_name")["values"]["result_str2"].isNull());
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_model_name")["values"]["ModelName"], "");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_codeset_info")["result"], 3);
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_codeset_info")["values"]["has_codeset"], false);
    EXPECT_TRUE(AnswerOf(document, "srcwatch_get_codeset_info")["values"]["codeset"].isNull());
}

TEST_F(PortCommands, ShowsTheResultsForARecordThatIsDamaged)
{
    Json::Value record = SetTopBox("Provider");
    record["DevType"] = "many";
    StoreRecord(0, record);

    const Json::Value document = Document({"show", "0"}, "show");

    EXPECT_EQ(document["readable"], false);
    EXPECT_EQ(document["record"]["DevType"], "many");
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_device_info")["result"], 1);
    EXPECT_EQ(AnswerOf(document, "srcwatch_get_logo_mso_name")["result"], 0);
    EXPECT_THAT(Run({"list", "-o", "raw"}).out, HasSubstr("0\tHDMI 1\tunreadable\t"));
}

TEST_F(PortCommands, RefusesADocumentThatIsNoJson)
{
    Set(kActivityKey, "{");

    EXPECT_TRUE(Fails(Run({"list"}), 1, "srcwatchctl doctor"));
    EXPECT_TRUE(Fails(Run({"show", "0"}), 1, kActivityKey));
    EXPECT_TRUE(Fails(Run({"forget", "0"}), 1, kActivityKey));
    EXPECT_EQ(Get(kActivityKey), "{");
}

TEST_F(PortCommands, GetsOneBareValue)
{
    StoreRecord(0, SetTopBox("STB Generic"));

    EXPECT_EQ(Run({"get", "0", "PRName"}).out, "STB Generic\n");
    EXPECT_EQ(Run({"get", "0", "DenyCount"}).out, "3\n");
    EXPECT_EQ(Run({"get", "0", "Changed"}).out, "2\n");
    EXPECT_EQ(Run({"get", "0", "changed"}).out, "true\n");
    EXPECT_EQ(Run({"get", "0", "device_info_str1"}).out, "Unknown\n");
    EXPECT_EQ(Run({"get", "0", "result_str1"}).out, "STB Generic\n");
    EXPECT_EQ(Run({"get", "0", "has_codeset"}).out, "false\n");
    EXPECT_EQ(Run({"get", "0", "sDevType"}).out, "\n");
    EXPECT_EQ(Document({"get", "0", "DevType"}, "get")["value"], 1);
    EXPECT_EQ(Document({"get", "0", "DevType"}, "get")["source"], "srcwatch_get_product_type_name");
}

TEST_F(PortCommands, FailsToGetWhatNoFunctionReturns)
{
    StoreRecord(0, SetTopBox("STB Generic"));

    EXPECT_TRUE(Fails(Run({"get", "0", "codeset"}), 1, "no codeset is known"));
    EXPECT_TRUE(Fails(Run({"get", "0", "result_str2"}), 1, "srcwatch_get_result_str2_name"));
    EXPECT_TRUE(Fails(Run({"get", "0", "Nonsense"}), 2, "FIELD"));
}

TEST_F(PortCommands, ExplainsWhyTheFunctionsDiffer)
{
    StoreRecord(0, SetTopBox("STB Generic"));

    const Json::Value document = Document({"explain", "0"}, "explain");

    EXPECT_THAT(AnswerOf(document, "srcwatch_get_device_info")["why"].asString(),
                HasSubstr("\"STB Generic\" begins with"));
    EXPECT_THAT(AnswerOf(document, "srcwatch_get_result_str1_name")["why"].asString(), HasSubstr("as stored"));
    EXPECT_THAT(AnswerOf(document, "srcwatch_get_codeset_info")["why"].asString(), HasSubstr("\"ABCDEFGHIJKL\""));
    EXPECT_TRUE(document["evidence"].isNull());
}

TEST_F(PortCommands, ExplainsEveryDeviceType)
{
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -1}) {
        Json::Value record;
        record["DevType"] = type;
        StoreRecord(0, record);

        EXPECT_EQ(Document({"explain", "0"}, "explain")["answers"].size(), 16U) << type;
    }
}

TEST_F(PortCommands, ExplainsADamagedRecord)
{
    Json::Value record;
    record["PRName"] = Json::arrayValue;
    StoreRecord(0, record);

    const Json::Value document = Document({"explain", "0"}, "explain");

    EXPECT_THAT(AnswerOf(document, "srcwatch_get_logo_mso_name")["why"].asString(), HasSubstr("damaged"));
}

TEST_F(PortCommands, ShowsTheDevicesBehindFromTheStatistics)
{
    StoreRecord(0, SetTopBox("Volt TV"));
    Set(kStatisticsKey, R"({"Auto": [{"port": 0, "pri": 1, "behind": [{"logical_address": 8,
        "physical_address": "1.1.0.0", "osd_name": "P", "vendor_id": "", "device_type": "Playback device"}]}]})");

    EXPECT_EQ(Document({"show", "0"}, "show")["behind"][0]["osd_name"], "P");
    EXPECT_THAT(Run({"show", "0"}).out, HasSubstr("P (Playback device)"));
    EXPECT_EQ(Document({"show", "1"}, "show")["behind"].size(), 0U);
}

TEST_F(PortCommands, ForgetsAllButTheDenyCountWhenNoServiceRuns)
{
    Set(kActivityKey, R"({"activity":[{"DevType":9,"DevName":"A","DenyCount":4},{"DevType":7,"DevName":"B"}]})");

    const Json::Value forgotten = Document({"forget", "0"}, "forget");

    EXPECT_EQ(forgotten["record"]["DevType"], 0);
    EXPECT_EQ(forgotten["record"]["DenyCount"], 4);
    EXPECT_EQ(Run({"get", "1", "DevName"}).out, "B\n");
}

TEST_F(PortCommands, ForgetsTheOpticalSourceWhenNoServiceRuns)
{
    StoreRecord(99, SetTopBox("Provider"));

    const Json::Value forgotten = Document({"forget", "99"}, "forget");

    EXPECT_EQ(forgotten["record"]["PRName"], "");
    EXPECT_EQ(forgotten["record"]["DenyCount"], 3);
}

TEST_F(PortCommands, ForgetsNothingWhenAnotherRecordWouldBeLost)
{
    const std::string before = R"({"activity":[{"DevType":9},{"DevType":"damaged"}]})";
    Set(kActivityKey, before);

    EXPECT_TRUE(Fails(Run({"forget", "0"}), 1, kActivityKey));
    EXPECT_EQ(Get(kActivityKey), before);
}

TEST_F(PortCommands, ForgetsNothingIfTheNumberOfInputsIsUnknown)
{
    const std::string before = R"({"activity":[{"DevType":9}]})";
    Set(kActivityKey, before);
    WriteFile("platform.conf", "");

    EXPECT_TRUE(Fails(Run({"forget", "0"}), 1, "HDMI 1"));
    EXPECT_EQ(Get(kActivityKey), before);
}

TEST_F(PortCommands, ForgetsNothingIfTheBusCannotBeAsked)
{
    StoreRecord(0, SetTopBox("Provider"));
    const std::string before = Get(kActivityKey);
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + Path("no-bus"));

    EXPECT_TRUE(Fails(Run({"forget", "0"}), 1, "cannot reach the system bus"));

    EXPECT_EQ(Get(kActivityKey), before);
}

TEST_F(PortCommands, ReportsThatARecordCannotBeForgotten)
{
    StoreRecord(0, SetTopBox("Provider"));
    Intruder intruder(Path("state/settings.db"));
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));

    EXPECT_TRUE(Fails(Run({"forget", "0"}), 1, "could not be written"));

    EXPECT_EQ(Run({"get", "0", "PRName"}).out, "Provider\n");
}

TEST_F(PortCommands, HasNothingToForgetWithoutARecord)
{
    EXPECT_EQ(Run({"forget", "0"}).code, 0);
    EXPECT_TRUE(Fails(Run({"settings", "get", kActivityKey}), 1, "no such setting"));
}

TEST_F(PortCommands, AsksARunningServiceToForget)
{
    const std::string before = R"({"activity":[{"DevType":9}]})";
    Set(kActivityKey, before);
    BusOnlyService service;
    service.Answer(kForget, R"({"port":0,"plugged":false,"record":null})");

    EXPECT_EQ(Run({"forget", "0"}).code, 0);

    ASSERT_EQ(service.calls.size(), 1U);
    EXPECT_EQ(service.calls[0].event.args[0], 0);
    EXPECT_EQ(Get(kActivityKey), before);
}

TEST_F(PortCommands, PassesOnWhyTheServiceDoesNotForget)
{
    BusOnlyService service;
    EXPECT_TRUE(Fails(Run({"forget", "5"}), 1, "does not know this request"));
    service.Answer(kForget, R"({"error":"no such port: 5"})");

    EXPECT_TRUE(Fails(Run({"forget", "5"}), 1, "no such port: 5"));
}

TEST_F(PortCommands, ShowsAConnectedCable)
{
    Set("memory/tv/source/14/connected", "1", "--int");

    const Json::Value ports = Document({"list"}, "list");

    EXPECT_EQ(ports[1]["connected"], true);
    EXPECT_TRUE(ports[0]["connected"].isNull());
    EXPECT_THAT(Run({"list", "-o", "raw"}).out, HasSubstr("1\tHDMI 2\t\t\t\t\t\tconnected\n"));
}

}  // namespace
