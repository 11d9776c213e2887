// SPDX-License-Identifier: Apache-2.0
//
// Changes and scan state of a port.
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <utility>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

const std::string kKey = kHdmiKey;

class ChangedDevice : public QueryTest {};

TEST_F(ChangedDevice, IsWrittenBeforeItIsLogged)
{
    Json::Value record;
    record["PrevPort"] = 3;
    record["Changed"] = 1;
    GivenRecord(1, record);
    int prevPort = -5;
    bool changed = false;
    std::pair<int, bool> logged{-5, false};
    const LogHook hook([&](const LogLine&) { logged = {prevPort, changed}; });

    srcwatch_get_changed_device_info(1, &prevPort, &changed);

    EXPECT_EQ(logged, std::make_pair(3, true));
}

TEST_F(ChangedDevice, IsReportedWithItsPreviousPort)
{
    struct Case {
        int prevPort;
        int changed;
        bool isChanged;
    };
    for (const Case& c : {Case{3, 5, true}, {-1, -1, true}, {0, 0, false}, {99, INT_MIN, true}, {INT_MAX, 1, true}}) {
        for (const int port : kAcceptedPorts) {
            Json::Value record;
            record["PrevPort"] = c.prevPort;
            record["Changed"] = c.changed;
            GivenRecord(port, record);
            int prevPort = -5;
            bool changed = !c.isChanged;
            ForgetCalls();

            EXPECT_EQ(srcwatch_get_changed_device_info(port, &prevPort, &changed), 0);

            EXPECT_EQ(prevPort, c.prevPort);
            EXPECT_EQ(changed, c.isChanged);
            std::vector<std::string> expected = OneRead(port);
            expected.push_back("E QDInfo.cpp srcwatch_get_changed_device_info: port_index(" + std::to_string(port) +
                               "), API PrevPort(" + std::to_string(c.prevPort) + "), nChanged(" +
                               std::to_string(c.changed) + ")\n");
            EXPECT_EQ(platform.sequence, expected);
            EXPECT_EQ(platform.log.back().format,
                      "%s: %s(%d) > <%ld> port_index(%d), API PrevPort(%d), nChanged(%d)\n\n");
        }
    }
}

TEST_F(ChangedDevice, WritesNothingWhenEitherNumberCannotBeRead)
{
    for (const char* key : {"PrevPort", "Changed"}) {
        Json::Value record;
        record["PrevPort"] = 1;
        record["Changed"] = 1;
        record[key] = "1";
        GivenRecord(0, record);
        int prevPort = -5;
        bool changed = false;
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_changed_device_info(0, &prevPort, &changed), 1);

        EXPECT_EQ(prevPort, -5);
        EXPECT_FALSE(changed);
        const std::string what = JsonErrorOf([&] { static_cast<void>(record[key].asInt()); });
        EXPECT_THAT(platform.LogOf(DLOG_ERROR),
                    ElementsAre("srcwatch_get_changed_device_info: Exception Handled by srcwatch_get_codeset_name: " +
                                what + "\n"));
    }
}

TEST_F(ChangedDevice, IsReadAfterThePreviousPort)
{
    Json::Value record;
    record["PrevPort"] = Json::Int64{INT_MAX} + 1;
    record["Changed"] = "1";
    GivenRecord(0, record);
    ForgetCalls();

    EXPECT_EQ(srcwatch_get_changed_device_info(0, nullptr, nullptr), 1);

    const std::string what = JsonErrorOf([&] { static_cast<void>(record["PrevPort"].asInt()); });
    EXPECT_NE(what, JsonErrorOf([&] { static_cast<void>(record["Changed"].asInt()); }));
    EXPECT_THAT(platform.LogOf(DLOG_ERROR),
                ElementsAre("srcwatch_get_changed_device_info: Exception Handled by srcwatch_get_codeset_name: " +
                            what + "\n"));
}

TEST_F(ChangedDevice, IsRefusedPortFirst)
{
    int prevPort = -5;
    bool changed = true;
    for (const int port : kRefusedPorts) {
        EXPECT_EQ(srcwatch_get_changed_device_info(port, &prevPort, &changed), 2);
        EXPECT_EQ(srcwatch_get_changed_device_info(port, nullptr, nullptr), 2);
    }
    EXPECT_EQ(prevPort, -5);
    EXPECT_TRUE(changed);
    EXPECT_TRUE(platform.sequence.empty());
}

class ScanState : public QueryTest {};

TEST_F(ScanState, IsWrittenBeforeItIsLogged)
{
    Json::Value record;
    record["ScanState"] = 2;
    GivenRecord(1, record);
    int state = -5;
    int logged = -5;
    const LogHook hook([&](const LogLine&) { logged = state; });

    srcwatch_get_oobe_scan_state(1, &state);

    EXPECT_EQ(logged, 2);
}

TEST_F(ScanState, IsReadAndLogged)
{
    for (const int port : kAcceptedPorts) {
        for (const int stored : {INT_MIN, -1, 0, 2, INT_MAX}) {
            Json::Value record;
            record["ScanState"] = stored;
            GivenRecord(port, record);
            int state = -5;
            ForgetCalls();

            EXPECT_EQ(srcwatch_get_oobe_scan_state(port, &state), 0);

            EXPECT_EQ(state, stored);
            std::vector<std::string> expected = OneRead(port);
            expected.push_back("E QDInfo.cpp srcwatch_get_oobe_scan_state: port_index(" + std::to_string(port) +
                               "), API ScanState(" + std::to_string(stored) + ")\n");
            EXPECT_EQ(platform.sequence, expected);
            EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> port_index(%d), API ScanState(%d)\n\n");
        }
    }
}

TEST_F(ScanState, IsLeftWhenItCannotBeRead)
{
    Json::Value record;
    record["ScanState"] = "2";
    GivenRecord(kOptical, record);
    int state = -5;

    EXPECT_EQ(srcwatch_get_oobe_scan_state(kOptical, &state), 1);

    EXPECT_EQ(state, -5);
    const std::string what = JsonErrorOf([&] { static_cast<void>(record["ScanState"].asInt()); });
    EXPECT_THAT(
        platform.LogOf(DLOG_ERROR),
        ElementsAre("srcwatch_get_oobe_scan_state: Exception Handled by srcwatch_get_codeset_name: " + what + "\n"));
}

TEST_F(ScanState, IsRefusedPortFirst)
{
    int state = -5;
    for (const int port : kRefusedPorts) {
        EXPECT_EQ(srcwatch_get_oobe_scan_state(port, &state), 2);
        EXPECT_EQ(srcwatch_get_oobe_scan_state(port, nullptr), 2);
    }
    EXPECT_EQ(state, -5);
    EXPECT_TRUE(platform.sequence.empty());
}

}  // namespace
