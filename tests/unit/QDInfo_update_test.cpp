// SPDX-License-Identifier: Apache-2.0
//
// Clearing the record of a port.
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <algorithm>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using testing::ElementsAre;
using testing::ElementsAreArray;

const std::string kKey = kHdmiKey;

// A record in which every member has a value of its own.
Json::Value FullRecord(int port)
{
    Json::Value record;
    for (const char* key : {"AKSV", "BName", "CDevName", "CECName", "CName", "DevName", "MFName", "ModelName", "PRName",
                            "UnknownType", "sDevType"}) {
        record[key] = std::string(key) + std::to_string(port);
    }
    for (const char* key : {"Changed", "DMethod", "DenyCount", "DevType", "PortNum", "PrevPort", "ScanState"}) {
        record[key] = port * 100 + static_cast<int>(record.size());
    }
    return record;
}

// The same record after its removal.
Json::Value ClearedRecord(int port)
{
    Json::Value record = FullRecord(port);
    for (const std::string& key : record.getMemberNames()) {
        if (record[key].isString()) record[key] = "";
        if (record[key].isInt() && key != "DenyCount") record[key] = 0;
    }
    return record;
}

class RemoveSourceInfo : public QueryTest {
public:
    ~RemoveSourceInfo() override
    {
        CQDInfoAPI::Create(true);
        CQDInfoAPI::Destroy();
        CQDInfoAPI::Create(false);
    }

protected:
    RemoveSourceInfo()
    {
        Json::Value& activity = document["activity"];
        for (int port = 0; port < HDMI_PORT_COUNT; ++port) activity[port] = FullRecord(port);
        CQDInfoAPI::Create(true);
        ForgetCalls();
    }

    Json::Value Stored()
    {
        Json::Value root;
        EXPECT_TRUE(ParseJson(platform.settings.texts[kKey], root));
        return root;
    }

    static std::string ResetLine(int port)
    {
        return "E QDInfoData.cpp m_ResetSourceInfo: Port(" + std::to_string(port) + ") Reset Source Info";
    }

    // What the removal of a port's record leaves once the table is loaded, and has size records.
    static std::vector<std::string> CallsOfASave(int port, int size, const std::string& written)
    {
        return {ResetLine(port),
                "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = " + std::to_string(size) + " ",
                "sets " + kKey + " " + written,
                "D QDInfoServerData.cpp t_SaveActivityInfoToFile:  set " + kKey + " succeed! <" + written + ">",
                kNoBus};
    }

    static std::vector<int> PortsOutsideTheTable()
    {
        std::vector<int> ports = {INT_MIN, -1, 98, 100, INT_MAX};
        for (int port = std::max(HDMI_PORT_COUNT, 0); port < 20; ++port) ports.push_back(port);
        return ports;
    }

    Json::Value document;
};

TEST_F(RemoveSourceInfo, ClearsTheRecordAndKeepsItsDenyCount)
{
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        const std::string before = TextOf(document);
        GivenText(0, before);
        ForgetCalls();

        srcwatch_remove_source_info(port);

        Json::Value expected = document;
        expected["activity"][port] = ClearedRecord(port);
        EXPECT_EQ(Stored(), expected) << port;
        std::vector<std::string> calls = {"gets " + kKey, "D QDInfoServerData.cpp t_LoadActivityInfoToMemory:  get " +
                                                              kKey + " succeed! <" + before + ">"};
        for (const std::string& call : CallsOfASave(port, HDMI_PORT_COUNT, platform.settings.texts[kKey])) {
            calls.push_back(call);
        }
        EXPECT_EQ(SequenceWithoutBusReason(), calls);
    }
}

TEST_F(RemoveSourceInfo, LeavesEmptyAnswersButForTheDenyCount)
{
    for (int port = 0; port < std::min(HDMI_PORT_COUNT, 8); ++port) {
        GivenText(0, TextOf(document));

        srcwatch_remove_source_info(port);

        for (const Query& query : AllQueries()) {
            if (query.key == nullptr) continue;
            const Outcome outcome = Ask(query, port);
            EXPECT_EQ(outcome.result, 0);
            if (std::string(query.key) == "DenyCount") {
                EXPECT_EQ(outcome.outputs.number1, FullRecord(port)["DenyCount"].asInt());
            } else if (outcome.outputs.text1[0] == '\0') {
                EXPECT_EQ(outcome.outputs.text1, std::string(100, '\0'));
            } else {
                EXPECT_EQ(outcome.outputs.number1, 0) << query.name;
            }
        }
    }
}

TEST_F(RemoveSourceInfo, ClearsTheOpticalRecordInMemoryAlone)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    GivenText(0, TextOf(document));
    GivenText(kOptical, "not looked at");
    CQDInfoData* table = CQDInfoAPI::GetQDInfoUtil();
    table->SetBrandName("brand", kOptical);
    table->SetDenyCount(6, kOptical);
    ForgetCalls();

    srcwatch_remove_source_info(kOptical);

    EXPECT_EQ(Stored(), document);
    EXPECT_EQ(platform.settings.texts[kOpticalKey], "not looked at");
    EXPECT_THAT(platform.SequenceWithoutLog(),
                ElementsAre("gets " + kKey, "sets " + kKey + " " + platform.settings.texts[kKey]));
    EXPECT_STREQ(table->GetBrandName(kOptical), "");
    EXPECT_EQ(table->GetDenyCount(kOptical), 6);
}

TEST_F(RemoveSourceInfo, IsSilentForAPortOutsideTheTable)
{
    const std::string before = TextOf(document);
    GivenText(0, before);
    for (const int port : PortsOutsideTheTable()) {
        srcwatch_remove_source_info(port);
        EXPECT_TRUE(platform.sequence.empty()) << port;
    }
    EXPECT_EQ(platform.settings.texts[kKey], before);
}

TEST_F(RemoveSourceInfo, ChangesNothingOutsideTheService)
{
    CQDInfoAPI::Destroy();
    CQDInfoAPI::Create(false);
    const std::string before = TextOf(document);
    GivenText(0, before);
    for (const int port : {0, 1, 2, 3, 4, 5, 6, 7, kOptical}) {
        ForgetCalls();
        srcwatch_remove_source_info(port);
        EXPECT_TRUE(platform.LogOf(DLOG_ERROR).empty());
        EXPECT_TRUE(platform.SequenceWithoutLog().empty());
    }
    EXPECT_EQ(platform.settings.texts[kKey], before);
}

TEST_F(RemoveSourceInfo, KeepsAnUnreadableTextForAnAbsentRecord)
{
    for (const char* unreadable : {"{\"activity\":[{\"BName\":\"torn", "", "{\"activity\":{}}", "[]", "7"}) {
        GivenText(0, unreadable);
        for (const int port : {0, 1, 2, 3, 4, 7, 8, 11, 98}) {
            srcwatch_remove_source_info(port);
            EXPECT_EQ(platform.settings.texts[kKey], unreadable) << port;
        }
    }
}

// The table is saved with any content, over any stored text.
TEST_F(RemoveSourceInfo, SavesTheEmptyTableForTheOpticalPort)
{
    std::vector<std::string> unread = {"torn", "", "{\"activity\":{}}", "[]", "7"};
    if (HDMI_PORT_COUNT < 1) unread.insert(unread.end(), {TextOf(document), R"({"activity":[{"BName":"brand"}]})"});
    for (const std::string& text : unread) {
        GivenText(0, text);
        ForgetCalls();

        srcwatch_remove_source_info(kOptical);

        EXPECT_EQ(platform.settings.texts[kKey], "null") << text;
        std::vector<std::string> calls = SequenceWithoutBusReason();
        ASSERT_GE(calls.size(), 7U) << text;
        EXPECT_EQ(calls[0], "gets " + kKey);
        calls.erase(calls.begin(), calls.end() - 5);
        EXPECT_THAT(calls, ElementsAreArray(CallsOfASave(kOptical, 0, "null"))) << text;
    }
}

TEST_F(RemoveSourceInfo, SavesTheEmptyTableIfNothingIsStored)
{
    srcwatch_remove_source_info(kOptical);

    std::vector<std::string> calls = {"gets " + kKey,
                                      "E QDInfoServerData.cpp t_LoadActivityInfoToMemory: get " + kKey + " failed!"};
    for (const std::string& call : CallsOfASave(kOptical, 0, "null")) calls.push_back(call);
    EXPECT_EQ(SequenceWithoutBusReason(), calls);
    EXPECT_EQ(platform.settings.texts[kKey], "null");
}

TEST_F(RemoveSourceInfo, DoesNotSaveAPortWithoutARecord)
{
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        ForgetCalls();
        srcwatch_remove_source_info(port);
        EXPECT_THAT(
            platform.sequence,
            ElementsAre("gets " + kKey, "E QDInfoServerData.cpp t_LoadActivityInfoToMemory: get " + kKey + " failed!"));
    }
    EXPECT_EQ(platform.settings.texts.count(kKey), 0U);
}

TEST_F(RemoveSourceInfo, ClearsTheRecordInMemoryWhenNothingIsStored)
{
    CQDInfoData* table = CQDInfoAPI::GetQDInfoUtil();
    for (const int filled : {1, 2}) {  // a table that is filled twice has twice as many records
        table->CreateAndAddNewActivity();
        const int size = filled * std::max(HDMI_PORT_COUNT, 0);
        for (int port = 0; port < size; ++port) {
            table->SetBrandName("brand", port);
            table->SetDenyCount(port + 1, port);
        }
        for (int port = 0; port < size; ++port) {
            platform.settings.texts.clear();
            ForgetCalls();

            srcwatch_remove_source_info(port);

            const std::vector<std::string> calls = SequenceWithoutBusReason();
            ASSERT_EQ(calls.size(), 7U) << port;
            EXPECT_THAT(std::vector<std::string>(calls.begin() + 2, calls.end()),
                        ElementsAreArray(CallsOfASave(port, size, platform.settings.texts[kKey])));
            const Json::Value activity = Stored()["activity"];
            ASSERT_EQ(activity.size(), static_cast<unsigned>(size));
            for (int other = 0; other < size; ++other) {
                EXPECT_EQ(activity[other]["BName"], other <= port ? "" : "brand") << port;
                EXPECT_EQ(activity[other]["DenyCount"], other + 1) << port;
            }
        }
    }
}

TEST_F(RemoveSourceInfo, ChangesNothingOutsideATableFilledTwice)
{
    CQDInfoData* table = CQDInfoAPI::GetQDInfoUtil();
    table->CreateAndAddNewActivity();
    table->CreateAndAddNewActivity();
    const int size = 2 * std::max(HDMI_PORT_COUNT, 0);
    for (int port = 0; port < size; ++port) table->SetBrandName("brand", port);

    for (const int port : {INT_MIN, -1, size, size + 1, 98, 100, INT_MAX}) {
        ForgetCalls();
        srcwatch_remove_source_info(port);
        EXPECT_TRUE(platform.sequence.empty()) << port;
    }
    for (int port = 0; port < size; ++port) EXPECT_STREQ(table->GetBrandName(port), "brand");
}

// What is stored has as many records as there are inputs, so the port is outside once that is loaded.
TEST_F(RemoveSourceInfo, SavesNothingForAPortOutsideTheStoredTable)
{
    CQDInfoData* table = CQDInfoAPI::GetQDInfoUtil();
    table->CreateAndAddNewActivity();
    const std::string before = TextOf(document);
    GivenText(0, before);
    for (int port = std::max(HDMI_PORT_COUNT, 0); port < 2 * HDMI_PORT_COUNT; ++port) {
        table->CreateAndAddNewActivity();
        ForgetCalls();
        srcwatch_remove_source_info(port);
        EXPECT_THAT(platform.SequenceWithoutLog(), ElementsAre("gets " + kKey));
        EXPECT_THAT(platform.LogOf(DLOG_ERROR),
                    testing::Not(testing::Contains(testing::HasSubstr("Reset Source Info"))));
        EXPECT_THAT(SequenceWithoutBusReason(), testing::Not(testing::Contains(kNoBus)));
        EXPECT_EQ(platform.settings.texts[kKey], before) << port;
    }
}

TEST_F(RemoveSourceInfo, AnnouncesAFailedSaveToo)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    const std::string before = TextOf(document);
    GivenText(0, before);
    platform.settings.unwritable.insert(kKey);

    srcwatch_remove_source_info(0);

    EXPECT_EQ(platform.settings.texts[kKey], before);
    EXPECT_EQ(SequenceWithoutBusReason().back(), kNoBus);
}

TEST_F(RemoveSourceInfo, LogsAFailedLoadAndAFailedSaveInOrder)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    GivenText(0, "[]");
    platform.settings.unwritable.insert(kKey);
    Json::Value array(Json::arrayValue);
    const std::string what = JsonErrorOf([&] { static_cast<void>(array["activity"]); });

    srcwatch_remove_source_info(kOptical);

    const std::string store = " QDInfoServerData.cpp ";
    EXPECT_THAT(
        SequenceWithoutBusReason(),
        ElementsAre("gets " + kKey, "D" + store + "t_LoadActivityInfoToMemory:  get " + kKey + " succeed! <[]>",
                    "E QDInfoData.cpp SetActivityInfoFromStream: "
                    "Exception Handled by SetActivityInfoFromStream: " +
                        what,
                    "E" + store + "t_LoadActivityInfoToMemory:  load to file error", ResetLine(kOptical),
                    "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = 0 ", "sets " + kKey + " null",
                    "D" + store + "t_SaveActivityInfoToFile:  set " + kKey + " failed! <null>", kNoBus));
    EXPECT_EQ(platform.settings.texts[kKey], "[]");
}

TEST_F(RemoveSourceInfo, MakesTheStoreOfAServiceThatDestroyedIt)
{
    CQDInfoAPI::Destroy();
    const std::string before = TextOf(document);
    GivenText(0, before);
    ForgetCalls();

    srcwatch_remove_source_info(kOptical);

    std::vector<std::string> calls = {
        "D QDInfoAPI.cpp GetQDInfoUtil: Create Util  !", "E QDInfoCommon.h GetInstance: new......\n", "gets " + kKey,
        "D QDInfoServerData.cpp t_LoadActivityInfoToMemory:  get " + kKey + " succeed! <" + before + ">"};
    for (const std::string& call :
         CallsOfASave(kOptical, std::max(HDMI_PORT_COUNT, 0), platform.settings.texts[kKey])) {
        calls.push_back(call);
    }
    EXPECT_EQ(SequenceWithoutBusReason(), calls);
}

TEST_F(RemoveSourceInfo, ClearsTheRecordOfAServiceThatBecameAClient)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    GivenText(0, TextOf(document));
    CQDInfoAPI::Create(false);

    srcwatch_remove_source_info(0);

    document["activity"][0] = ClearedRecord(0);
    EXPECT_EQ(Stored(), document);
}

}  // namespace
