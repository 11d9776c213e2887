// SPDX-License-Identifier: Apache-2.0
//
// The queries for one text or one number of a port's record, case by case.
#include "QDInfoServerData.h"
#include "Queries.h"
#include "srcwatch-api.h"

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

class PortQuery : public QueryTest {};

// Sets member of the record of a port, beside others that must not be taken for it.
Json::Value RecordWith(const char* key, const Json::Value& value)
{
    Json::Value record;
    record["sDevType"] = "other";
    record["PortNum"] = 12345;
    record[key] = value;
    return record;
}

struct TextRow {
    int (*query)(char* dst, int port);
    const char* name;
    const char* key;
    const char* blamed;
};

constexpr TextRow kTexts[] = {
    {srcwatch_get_cec_name, "srcwatch_get_cec_name", "CECName", "srcwatch_get_cec_name"},
    {srcwatch_get_model_name, "srcwatch_get_model_name", "ModelName", "srcwatch_get_model_name"},
    {srcwatch_get_manufacturer_name, "srcwatch_get_manufacturer_name", "MFName", "srcwatch_get_manufacturer_name"},
    {srcwatch_get_codeset_name, "srcwatch_get_codeset_name", "CName", "srcwatch_get_codeset_name"},
    {srcwatch_get_logo_mso_name, "srcwatch_get_logo_mso_name", "PRName", "srcwatch_get_infoframe_model_name"},
    {srcwatch_get_cec_device_name, "srcwatch_get_cec_device_name", "CDevName", "srcwatch_get_cec_device_name"},
    {srcwatch_get_aksv_info, "srcwatch_get_aksv_info", "AKSV", "srcwatch_get_codeset_name"},
};

struct NumberRow {
    int (*query)(int port, int* number);
    const char* name;
    const char* key;
    const char* blamed;
};

int OutputFirstDenyCount(int port, int* number) { return srcwatch_get_denycount(number, port); }

constexpr NumberRow kNumbers[] = {
    {srcwatch_get_product_type_name, "srcwatch_get_product_type_name", "DevType", "srcwatch_get_product_type_name"},
    {OutputFirstDenyCount, "srcwatch_get_denycount", "DenyCount", "srcwatch_get_codeset_name"},
    {srcwatch_get_detection_moethod, "srcwatch_get_detection_moethod", "DMethod", "srcwatch_get_cec_device_name"},
};

TEST_F(PortQuery, CopiesTheTextOfItsMember)
{
    for (const TextRow& row : kTexts) {
        for (const int port : kAcceptedPorts) {
            GivenRecord(port, RecordWith(row.key, "Living room"));
            GuardedText dst;

            EXPECT_EQ(row.query(dst.data(), port), 0) << row.name;

            EXPECT_EQ(dst.Content(), "Living room" + std::string(89, '\0')) << row.name;
            EXPECT_TRUE(dst.GuardsHold());
        }
    }
}

TEST_F(PortQuery, FillsTheBufferAsStrncpyWouldWithACountOfOneHundred)
{
    struct Case {
        std::size_t length;
        std::size_t zeros;
    };
    for (const Case& c : {Case{0, 100}, {9, 91}, {10, 90}, {11, 89}, {99, 1}, {100, 0}, {101, 0}, {5000, 0}}) {
        for (const TextRow& row : kTexts) {
            GivenRecord(1, RecordWith(row.key, std::string(c.length, 'n')));
            GuardedText dst;

            EXPECT_EQ(row.query(dst.data(), 1), SRCWATCH_OK);

            EXPECT_EQ(dst.Content(), std::string(100 - c.zeros, 'n') + std::string(c.zeros, '\0')) << c.length;
            EXPECT_TRUE(dst.GuardsHold());
        }
    }
}

TEST_F(PortQuery, CutsATextInsideACharacter)
{
    GivenRecord(1, RecordWith("ModelName", std::string(99, 'n') + "\xc3\xa9"));
    GuardedText dst;

    EXPECT_EQ(srcwatch_get_model_name(dst.data(), 1), 0);

    EXPECT_EQ(dst.Content(), std::string(99, 'n') + "\xc3");
}

TEST_F(PortQuery, RefusesOtherPortsAndNullBuffersPortFirst)
{
    for (const TextRow& row : kTexts) {
        for (const int port : kRefusedPorts) {
            GuardedText dst;
            EXPECT_EQ(row.query(dst.data(), port), 2) << row.name << port;
            EXPECT_EQ(row.query(nullptr, port), 2) << row.name << port;
            EXPECT_TRUE(dst.IsUntouched());
        }
        for (const int port : kAcceptedPorts) EXPECT_EQ(row.query(nullptr, port), 4) << row.name << port;
    }
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(PortQuery, GivesAnEmptyTextWithoutARecord)
{
    for (const TextRow& row : kTexts) {
        for (const int port : kAcceptedPorts) {
            GuardedText dst;
            EXPECT_EQ(row.query(dst.data(), port), 0);
            EXPECT_EQ(dst.Content(), std::string(100, '\0'));
        }
    }
}

TEST_F(PortQuery, LogsATextThatCannotBeReadAndLeavesTheBuffer)
{
    for (const TextRow& row : kTexts) {
        for (const Json::Value& wrong : {Json::Value(Json::objectValue), Json::Value(Json::arrayValue)}) {
            GivenRecord(7, RecordWith(row.key, wrong));
            const std::string what = WhatJsonSays([&] { static_cast<void>(wrong.asString()); });
            ForgetCalls();
            GuardedText dst;

            EXPECT_EQ(row.query(dst.data(), 7), 1) << row.name;

            EXPECT_TRUE(dst.IsUntouched());
            EXPECT_THAT(platform.LogOf(DLOG_ERROR), ElementsAre(std::string(row.name) + ": Exception Handled by " +
                                                                row.blamed + ": " + what + "\n"));
            EXPECT_EQ(platform.log.back().format,
                      std::string("%s: %s(%d) > <%ld> Exception Handled by ") + row.blamed + ": %s\n\n");
        }
    }
}

TEST_F(PortQuery, ReadsNumbersAndSwitchesAsText)
{
    struct Case {
        Json::Value stored;
        const char* text;
    };
    const Case cases[] = {{5, "5"}, {-7, "-7"}, {true, "true"}, {false, "false"}, {Json::Value(), ""}, {0.5, "0.5"}};
    for (const TextRow& row : kTexts) {
        for (const Case& c : cases) {
            GivenRecord(0, RecordWith(row.key, c.stored));
            GuardedText dst;
            EXPECT_EQ(row.query(dst.data(), 0), 0);
            EXPECT_STREQ(dst.Content().c_str(), c.text);
        }
    }
}

TEST_F(PortQuery, GivesTheNumberOfItsMember)
{
    for (const NumberRow& row : kNumbers) {
        for (const int port : kAcceptedPorts) {
            for (const int stored : {INT_MIN, -1, 0, 1, 77, INT_MAX}) {
                GivenRecord(port, RecordWith(row.key, stored));
                int numbers[] = {-5, -5, -5};

                EXPECT_EQ(row.query(port, &numbers[1]), 0) << row.name;

                EXPECT_THAT(numbers, ElementsAre(-5, stored, -5)) << row.name;
            }
        }
    }
}

TEST_F(PortQuery, ReadsWhatCountsAsANumber)
{
    struct Case {
        Json::Value stored;
        int number;
    };
    const Case cases[] = {{3.9, 3}, {-3.9, -3}, {true, 1}, {false, 0}, {Json::Value(), 0}};
    for (const NumberRow& row : kNumbers) {
        for (const Case& c : cases) {
            GivenRecord(0, RecordWith(row.key, c.stored));
            int number = -5;
            EXPECT_EQ(row.query(0, &number), 0);
            EXPECT_EQ(number, c.number);
        }
    }
}

TEST_F(PortQuery, LogsANumberThatCannotBeReadAndLeavesTheOutput)
{
    const Json::Value wrongs[] = {"5",
                                  "",
                                  Json::Value(Json::arrayValue),
                                  Json::Value(Json::objectValue),
                                  Json::Int64{INT_MAX} + 1,
                                  Json::Int64{INT_MIN} - 1,
                                  Json::Int64{UINT_MAX},
                                  Json::Value::maxUInt64,
                                  1e300};
    for (const NumberRow& row : kNumbers) {
        for (const Json::Value& wrong : wrongs) {
            GivenRecord(0, RecordWith(row.key, wrong));
            const std::string what = WhatJsonSays([&] { static_cast<void>(wrong.asInt()); });
            ForgetCalls();
            int number = -5;

            EXPECT_EQ(row.query(0, &number), 1) << row.name << wrong;

            EXPECT_EQ(number, -5);
            EXPECT_THAT(platform.LogOf(DLOG_ERROR), ElementsAre(std::string(row.name) + ": Exception Handled by " +
                                                                row.blamed + ": " + what + "\n"));
        }
    }
}

TEST_F(PortQuery, RefusesOtherPortsAndNullNumbersPortFirst)
{
    for (const NumberRow& row : kNumbers) {
        for (const int port : kRefusedPorts) {
            int number = -5;
            EXPECT_EQ(row.query(port, &number), 2) << row.name << port;
            EXPECT_EQ(row.query(port, nullptr), 2) << row.name << port;
            EXPECT_EQ(number, -5);
        }
        for (const int port : kAcceptedPorts) EXPECT_EQ(row.query(port, nullptr), 4) << row.name << port;
    }
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(PortQuery, TakesTheDenyCountsOutputBeforeItsPort)
{
    GivenRecord(3, RecordWith("DenyCount", 8));
    int count = 0;  // would be a port of its own, had the order been another

    EXPECT_EQ(srcwatch_get_denycount(&count, 3), 0);

    EXPECT_EQ(count, 8);
}

TEST_F(PortQuery, AsksTheLoaderForPortSevenToo)
{
    GivenRecord(7, RecordWith("CECName", "seventh"));
    GuardedText dst;

    EXPECT_EQ(srcwatch_get_cec_name(dst.data(), 7), 0);

    EXPECT_STREQ(dst.Content().c_str(), "seventh");
    EXPECT_EQ(platform.sequence, OneRead(7));
}

TEST_F(PortQuery, AsksOnlyTheOpticalLoaderForPort99)
{
    GivenRecord(0, RecordWith("CECName", "hdmi"));
    GivenRecord(kOptical, RecordWith("CECName", "optical"));
    GuardedText dst;

    EXPECT_EQ(srcwatch_get_cec_name(dst.data(), 99), 0);

    EXPECT_STREQ(dst.Content().c_str(), "optical");
    EXPECT_EQ(platform.sequence, OneRead(kOptical));
}

TEST_F(PortQuery, TakesAFailedLoadForNoRecordAfterTheLoadersLine)
{
    GivenText(2, "[]");
    int type = -5;

    EXPECT_EQ(srcwatch_get_product_type_name(2, &type), 0);

    EXPECT_EQ(type, 0);
    Json::Value array(Json::arrayValue);
    const std::string what = WhatJsonSays([&] { static_cast<void>(array["activity"]); });
    EXPECT_THAT(platform.sequence, ElementsAre("gets db/srcwatch-service/source-activity",
                                               "D QDInfoServerData.cpp t_LoadPortJsonInfoToMemory: "
                                               " get db/srcwatch-service/source-activity succeed! <[]>",
                                               "E QDInfoServerData.cpp t_LoadPortJsonInfoToMemory: "
                                               "Exception Handled by t_LoadActivityInfoToMemory: " +
                                                   what));
}

TEST_F(PortQuery, HasNoCurrentAksv)
{
    EXPECT_EQ(srcwatch_get_current_aksv_info(), -1);
    GivenRecord(0, RecordWith("AKSV", "0123456789"));
    EXPECT_EQ(srcwatch_get_current_aksv_info(), -1);
    EXPECT_TRUE(platform.sequence.empty());
}

// The store is made by the first query, whatever the mode, and the process's mode is not asked for.
TEST(FirstQuery, MakesTheStoreAfterTheArgumentsWereTested)
{
    auto& platform = ThePlatform();
    platform = Platform();
    char dst[SRCWATCH_TEXT_SIZE];
    const std::string made = "E QDInfoCommon.h GetInstance: new......\n";
    const std::string get = "gets db/srcwatch-service/source-activity";
    const std::string failed =
        "E QDInfoServerData.cpp t_LoadPortJsonInfoToMemory: get db/srcwatch-service/source-activity failed!";

    srcwatch_get_cec_name(dst, 8);
    srcwatch_get_cec_name(nullptr, 1);
    EXPECT_THAT(platform.sequence, ElementsAre());
    srcwatch_get_cec_name(dst, 1);
    EXPECT_THAT(platform.sequence, ElementsAre(made, get, failed));
    srcwatch_get_cec_name(dst, 1);
    EXPECT_THAT(platform.sequence, ElementsAre(made, get, failed, get, failed));
    qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance();
}

}  // namespace
