// SPDX-License-Identifier: Apache-2.0
//
// The requests that clients call, and the statistics.
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <sstream>

#include <gtest/gtest.h>
#include <json/json.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, KeepsStatisticsThatTheLibraryReads)
{
    StartService();
    Plug("hdmi2", "quellon-bdq900");

    srcwatch_kpi_info_s infos[8];
    ASSERT_EQ(srcwatch_get_all_device_kpi_info(infos), SRCWATCH_OK);

    EXPECT_EQ(infos[1].hdmi_no, 2);
    EXPECT_GE(infos[1].t, 0);
    EXPECT_LT(infos[1].t, 5000);
    EXPECT_EQ(infos[1].spd_vendor, "QUELLON");
    EXPECT_EQ(infos[1].spd_product, "BDQ-900");
    EXPECT_EQ(infos[1].result_first, "BDQ-900 Disc Player");
}

TEST_F(Service, KeepsStatisticsWithinBounds)
{
    StartService({"--quiet-ms", "5"});
    Plug("hdmi2", "quellon-bdq900");
    for (int i = 0; i < 12; ++i) {
        Plug("hdmi1", "voltana-vx-home");
        Unplug("hdmi1");
    }

    std::istringstream text(TextSetting(kStatistics).value_or(""));
    Json::Value document;
    text >> document;

    EXPECT_EQ(document["Auto"].size(), 9U);
    for (const Json::Value& entry : document["Auto"]) {
        EXPECT_EQ(entry["spd"].size(), 3U);
        EXPECT_EQ(entry["result"].size(), 3U);
        EXPECT_EQ(entry["pri"].asInt(), 1);
    }
}

TEST_F(Service, AnswersAStatusRequest)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    const Json::Value status = Call(SRCWATCH_REQUEST_STATUS, 0);

    EXPECT_EQ(status["inputs"].asInt(), 4);
    EXPECT_EQ(status["plugged"].size(), 1U);
    EXPECT_EQ(status["plugged"][0].asInt(), 1);
    EXPECT_EQ(status["scan"]["state"].asString(), "idle");
    EXPECT_EQ(status["twc"]["port"].asInt(), -1);
    EXPECT_GT(status["profiles"].asInt(), 0);
}

TEST_F(Service, AnswersARecordRequest)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");

    for (const int port : {1, kOptical}) {
        const Json::Value answer = Call(SRCWATCH_REQUEST_RECORD, port);
        EXPECT_EQ(answer["port"].asInt(), port);
        EXPECT_TRUE(answer["plugged"].asBool());
        EXPECT_EQ(answer["record"], StoredRecord(port));
    }
}

TEST_F(Service, RefusesRequestsForPortsThatTheTvDoesNotHave)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    for (const int port : {-1, 4, 8, 98, 2147483647}) {
        for (const int request : {SRCWATCH_REQUEST_RECORD, SRCWATCH_REQUEST_FORGET, SRCWATCH_REQUEST_DENY}) {
            EXPECT_EQ(Call(request, port)["error"].asString(), "no such port: " + std::to_string(port));
        }
    }
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_GAME_CONSOLE);
}

TEST_F(Service, ForgetsADeviceButNotItsDenials)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");
    for (const int port : {1, kOptical}) {
        EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, port)["record"]["DenyCount"].asInt(), 1);
        EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, port)["record"]["DenyCount"].asInt(), 2);

        const Json::Value answer = Call(SRCWATCH_REQUEST_FORGET, port);

        EXPECT_TRUE(answer["plugged"].asBool());
        EXPECT_EQ(QueryType(port), 0);
        int denials = 0;
        EXPECT_EQ(srcwatch_get_denycount(&denials, port), SRCWATCH_OK);
        EXPECT_EQ(denials, 2);
    }
}

TEST_F(Service, KeepsTheDenyCountWhenADeviceIsReplaced)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Call(SRCWATCH_REQUEST_DENY, 1);

    Unplug("hdmi2");
    Plug("hdmi2", "darvex-dvd");

    EXPECT_EQ(StoredRecord(1)["DenyCount"].asInt(), 1);
}

TEST_F(Service, RefusesADenialWhereNothingWasDetected)
{
    StartService();

    EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, 2)["error"].asString(), "nothing was detected on port 2");
}

TEST_F(Service, DoesNotObeyARequestThatIsBroadcast)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    qdinfo::CQDEventSender sender("qdinfo");
    sender.AppendArgs(1, 0, 0, 0);

    for (const int request : {SRCWATCH_REQUEST_DENY, SRCWATCH_REQUEST_FORGET}) {
        EXPECT_EQ(sender.SendSignal(request), 1);
        EXPECT_EQ(sender.Call(SRCWATCH_EVENT_CONNECTION), 1);  // has an empty reply
        EXPECT_EQ(sender.SendSignal(request), 1);
    }

    const Json::Value record = Call(SRCWATCH_REQUEST_RECORD, 1)["record"];
    EXPECT_EQ(record["DevType"].asInt(), SRCWATCH_DEVICE_GAME_CONSOLE);
    EXPECT_EQ(record["DenyCount"].asInt(), 0);
}

TEST_F(Service, IsNotDisturbedByOddMessages)
{
    StartService();
    qdinfo::CQDEventSender sender("qdinfo");
    std::stringstream reply;

    for (const int type : std::vector<int>{0, -1, 5, SRCWATCH_EVENT_SERVICE_STARTED, SRCWATCH_EVENT_SERVICE_STOPPED}) {
        EXPECT_EQ(sender.Call(type, reply), 1);
        EXPECT_EQ(reply.str(), "");
        EXPECT_EQ(sender.SendSignal(type), 1);
    }
    for (int i = 0; i < 100; ++i) sender.SendEvent(SRCWATCH_REQUEST_STATUS);
    EXPECT_TRUE(Call(SRCWATCH_REQUEST_STATUS, 0).isMember("scan"));
    EXPECT_FALSE(m_service->Result().has_value());
}

}  // namespace
}  // namespace srcwatch_test
