// SPDX-License-Identifier: Apache-2.0
//
// The queries for one text or one number of a port's record, case by case.
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <algorithm>

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

const std::vector<Query> kTexts = TextQueries();

int CallText(const Query& query, char* dst, int port)
{
    return query.call(port, {dst, nullptr, nullptr, nullptr, nullptr});
}

const Query kNumbers[] = {QueryNamed("srcwatch_get_product_type_name"), QueryNamed("srcwatch_get_denycount"),
                          QueryNamed("srcwatch_get_detection_moethod")};

int CallNumber(const Query& query, int port, int* number)
{
    return query.call(port, {nullptr, nullptr, number, nullptr, nullptr});
}

TEST_F(PortQuery, CopiesTheTextOfItsMember)
{
    for (const Query& query : kTexts) {
        for (const int port : kAcceptedPorts) {
            GivenRecord(port, RecordWith(query.key, "Living room"));
            GuardedText dst;

            EXPECT_EQ(CallText(query, dst.data(), port), 0) << query.name;

            EXPECT_EQ(dst.Content(), "Living room" + std::string(89, '\0')) << query.name;
            EXPECT_TRUE(dst.GuardsHold());
        }
    }
}

TEST_F(PortQuery, FillsTheBufferAsStrncpyOfOneHundredWould)
{
    struct Case {
        std::size_t length;
        std::size_t zeros;
    };
    for (const Case& c : {Case{0, 100}, {9, 91}, {10, 90}, {11, 89}, {99, 1}, {100, 0}, {101, 0}, {5000, 0}}) {
        for (const Query& query : kTexts) {
            GivenRecord(1, RecordWith(query.key, std::string(c.length, 'n')));
            GuardedText dst;

            EXPECT_EQ(CallText(query, dst.data(), 1), SRCWATCH_OK);

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
    for (const Query& query : kTexts) {
        for (const int port : kRefusedPorts) {
            GuardedText dst;
            EXPECT_EQ(CallText(query, dst.data(), port), 2) << query.name << port;
            EXPECT_EQ(CallText(query, nullptr, port), 2) << query.name << port;
            EXPECT_TRUE(dst.IsUntouched());
        }
        for (const int port : kAcceptedPorts) EXPECT_EQ(CallText(query, nullptr, port), 4) << query.name << port;
    }
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(PortQuery, ReadsAnEmptyTextWithoutARecord)
{
    for (const Query& query : kTexts) {
        for (const int port : kAcceptedPorts) {
            GuardedText dst;
            EXPECT_EQ(CallText(query, dst.data(), port), 0);
            EXPECT_EQ(dst.Content(), std::string(100, '\0'));
        }
    }
}

TEST_F(PortQuery, LogsATextThatCannotBeReadAndLeavesTheBuffer)
{
    for (const Query& query : kTexts) {
        for (const Json::Value& wrong : {Json::Value(Json::objectValue), Json::Value(Json::arrayValue)}) {
            GivenRecord(7, RecordWith(query.key, wrong));
            const std::string what = JsonErrorOf([&] { static_cast<void>(wrong.asString()); });
            ForgetCalls();
            GuardedText dst;

            EXPECT_EQ(CallText(query, dst.data(), 7), 1) << query.name;

            EXPECT_TRUE(dst.IsUntouched());
            EXPECT_THAT(platform.LogOf(DLOG_ERROR), ElementsAre(std::string(query.name) + ": Exception Handled by " +
                                                                query.blamed + ": " + what + "\n"));
            EXPECT_EQ(platform.log.back().format,
                      std::string("%s: %s(%d) > <%ld> Exception Handled by ") + query.blamed + ": %s\n\n");
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
    for (const Query& query : kTexts) {
        for (const Case& c : cases) {
            GivenRecord(0, RecordWith(query.key, c.stored));
            GuardedText dst;
            EXPECT_EQ(CallText(query, dst.data(), 0), 0);
            EXPECT_STREQ(dst.Content().c_str(), c.text);
        }
    }
}

TEST_F(PortQuery, ReadsTheNumberOfItsMember)
{
    for (const Query& query : kNumbers) {
        for (const int port : kAcceptedPorts) {
            for (const int stored : {INT_MIN, -1, 0, 1, 77, INT_MAX}) {
                GivenRecord(port, RecordWith(query.key, stored));
                int numbers[] = {-5, -5, -5};

                EXPECT_EQ(CallNumber(query, port, &numbers[1]), 0) << query.name;

                EXPECT_THAT(numbers, ElementsAre(-5, stored, -5)) << query.name;
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
    for (const Query& query : kNumbers) {
        for (const Case& c : cases) {
            GivenRecord(0, RecordWith(query.key, c.stored));
            int number = -5;
            EXPECT_EQ(CallNumber(query, 0, &number), 0);
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
    for (const Query& query : kNumbers) {
        for (const Json::Value& wrong : wrongs) {
            GivenRecord(0, RecordWith(query.key, wrong));
            const std::string what = JsonErrorOf([&] { static_cast<void>(wrong.asInt()); });
            ForgetCalls();
            int number = -5;

            EXPECT_EQ(CallNumber(query, 0, &number), 1) << query.name << wrong;

            EXPECT_EQ(number, -5);
            EXPECT_THAT(platform.LogOf(DLOG_ERROR), ElementsAre(std::string(query.name) + ": Exception Handled by " +
                                                                query.blamed + ": " + what + "\n"));
        }
    }
}

TEST_F(PortQuery, RefusesOtherPortsAndNullNumbersPortFirst)
{
    for (const Query& query : kNumbers) {
        for (const int port : kRefusedPorts) {
            int number = -5;
            EXPECT_EQ(CallNumber(query, port, &number), 2) << query.name << port;
            EXPECT_EQ(CallNumber(query, port, nullptr), 2) << query.name << port;
            EXPECT_EQ(number, -5);
        }
        for (const int port : kAcceptedPorts) EXPECT_EQ(CallNumber(query, port, nullptr), 4) << query.name << port;
    }
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(PortQuery, TakesTheDenyCountsOutputBeforeItsPort)
{
    GivenRecord(3, RecordWith("DenyCount", 8));
    int count = 0;  // would be a valid port if the order were another

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
    const std::string what = JsonErrorOf([&] { static_cast<void>(array["activity"]); });
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

// A call that is announced is announced before.
TEST_F(PortQuery, MakesTheStoreWhenItReadsAndNotBefore)
{
    const std::string made = "E QDInfoCommon.h GetInstance: new......\n";
    const auto isOwn = [](const std::string& entry) { return entry.rfind("E QDInfo.cpp ", 0) == 0; };
    for (const Query& query : AllQueries()) {
        qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance();
        ForgetCalls();
        for (const int port : kRefusedPorts) query.call(port, {});
        if (query.testsForNull) query.call(1, {});
        EXPECT_THAT(platform.sequence, testing::Each(testing::StartsWith("E QDInfo.cpp "))) << query.name;

        Ask(query, 1);

        std::vector<std::string> seen = platform.sequence;
        const bool announced = seen[0] ==
                               "E QDInfo.cpp srcwatch_get_device_info: "
                               "srcwatch_get_device_info called for Port (1)\n";
        EXPECT_EQ(seen[announced ? 1 : 0], made) << query.name;
        seen.erase(std::remove_if(seen.begin(), seen.end(), isOwn), seen.end());
        std::vector<std::string> expected = OneRead(1);
        expected.insert(expected.begin(), made);
        EXPECT_EQ(seen, expected) << query.name;  // a port without a record has no codeset, so one read is all
    }
}

// The store is made by the first query, in any mode, and the process's mode is not read.
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
