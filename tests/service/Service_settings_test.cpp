// SPDX-License-Identifier: Apache-2.0
//
// The stored texts: unreadable ones, and those that other processes write.
#include "ServiceTest.h"
#include "srcwatch-host.h"

#include <csignal>

#include <gtest/gtest.h>
#include <json/json.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, KeepsUnreadableRecordsAsideAndBeginsWithEmptyOnes)
{
    vconf_set_str(kActivity.c_str(), "{\"activity\": [");

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), "{\"activity\": [");
    EXPECT_EQ(LogLinesWith("is unreadable (line 1: column "), 1);
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_GAME_CONSOLE);
}

TEST_F(Service, KeepsRecordsAsideThatAreReadableOnlyInPart)
{
    const std::string text = R"({"activity": [{"DevType": 6, "DenyCount": 4}, {"DevName": [1]}, null]})";
    vconf_set_str(kActivity.c_str(), text.c_str());

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), text);
    EXPECT_EQ(LogLinesWith("is unreadable (line 1: activity[1].DevName: is not a text)"), 1);
    EXPECT_EQ(StoredRecord(0)["DenyCount"].asInt(), 4);
}

TEST_F(Service, KeepsEveryKindOfUnreadableTextAside)
{
    for (const char* text : {"[]", "5", "{}", "{\"activity\": {}}", "{\"activity\": 7}", "", "\x01\x02"}) {
        srcwatch_host_unset((kActivity + ".unreadable").c_str());
        vconf_set_str(kActivity.c_str(), text);
        StartService();
        EXPECT_EQ(StopService(SIGTERM), 0) << text;
        EXPECT_EQ(TextSetting(kActivity + ".unreadable"), text);
    }
}

TEST_F(Service, KeepsAnUnreadableOpticalRecordAside)
{
    vconf_set_str(kOpticalActivity.c_str(), "{\"activity\": []}");

    StartService();
    Plug("optical", "ambrelle-soundbar");

    EXPECT_EQ(TextSetting(kOpticalActivity + ".unreadable"), "{\"activity\": []}");
    EXPECT_EQ(QueryType(kOptical), SRCWATCH_DEVICE_HOME_THEATRE);
}

TEST_F(Service, KeepsUnreadableStatisticsAside)
{
    vconf_set_str(kStatistics.c_str(), "oops");

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kStatistics + ".unreadable"), "oops");
    EXPECT_EQ(LogLinesWith("spd_aksv_1 is unreadable"), 1);
}

TEST_F(Service, BeginsWithEmptyRecordsWhenNoneAreStored)
{
    StartService();
    Plug("hdmi4", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), std::nullopt);
    EXPECT_EQ(StoredRecord(0)["DevType"].asInt(), 0);
    EXPECT_EQ(StoredRecord(3)["DevType"].asInt(), 6);
}

TEST_F(Service, TakesOverRecordsThatAnotherProcessWrote)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Plug("hdmi2", "darvex-dvd");

    vconf_set_str(kActivity.c_str(), R"({"activity": [{"DevType": 0}, {"DevType": 3, "DevName": "Mine"}]})");
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("they are taken over") == 1; }));
    Plug("hdmi3", "marrowic-desk");

    EXPECT_EQ(QueryType(0), 0);
    EXPECT_EQ(StoredRecord(1)["DevName"].asString(), "Mine");
    EXPECT_EQ(QueryType(2), SRCWATCH_DEVICE_PC);
}

TEST_F(Service, RestoresRecordsThatAnotherProcessSpoilt)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);

    vconf_set_str(kActivity.c_str(), "spoilt");

    EXPECT_TRUE(RunUntil([&] { return StoredRecord(0) == before; }));
    EXPECT_EQ(LogLinesWith("they are written again"), 1);
    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), "spoilt");
}

}  // namespace
}  // namespace srcwatch_test
