// SPDX-License-Identifier: Apache-2.0
//
// The other commands of applications, and the states that the service shows.
#include "QDInfoNames.h"
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <json/json.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

const std::string kCommand = qdinfo::kScanProgressKey;

TEST_F(Service, LogsAnUnknownCommand)
{
    StartService();

    vconf_set_int(kCommand.c_str(), 4711);
    vconf_set_int(kCommand.c_str(), 2018);
    vconf_set_str(kCommand.c_str(), "2001");
    vconf_set_int(kCommand.c_str(), 2028);
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("unknown command 2028") == 1; }));

    EXPECT_EQ(LogLinesWith("unknown command"), 3);
}

TEST_F(Service, ShowsItsSwitchesWhileItServes)
{
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    StartService();

    EXPECT_TRUE(srcwatch_is_HotPlug_enable());
    EXPECT_TRUE(srcwatch_is_MVPD_enable());
    EXPECT_FALSE(srcwatch_is_HotPlug_progress());
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());
    EXPECT_EQ(StopService(SIGTERM), 0);
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    EXPECT_FALSE(srcwatch_is_MVPD_enable());
}

TEST_F(Service, ShowsAHotPlugDetectionWhileItRuns)
{
    StartService({"--quiet-ms", "500"});

    std::filesystem::create_directory(InputPath("hdmi2"));  // a new one is read when it has been quiet
    ASSERT_TRUE(WaitForEvents(kConnection, 1));
    EXPECT_TRUE(srcwatch_is_HotPlug_progress());
    EXPECT_TRUE(srcwatch_Is_hdmi_notification_running());
    EXPECT_EQ(NumberSetting(qdinfo::kActivityIndexKey), 2);
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    EXPECT_TRUE(RunUntil([] { return !srcwatch_is_HotPlug_progress(); }));
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());
}

TEST_F(Service, ShowsNoDetectionOfADeviceThatWentBeforeItsEnd)
{
    StartService({"--quiet-ms", "5000"});
    std::filesystem::create_directory(InputPath("hdmi2"));
    ASSERT_TRUE(WaitForEvents(kConnection, 1));

    Unplug("hdmi2");

    EXPECT_FALSE(srcwatch_is_HotPlug_progress());
    EXPECT_EQ(Saves(), 0U);
}

TEST_F(Service, ReportsConnectedInputsToTheTvService)
{
    StartService();
    EXPECT_TRUE(srcwatch_is_no_device());

    Plug("hdmi4", "tivaro-one");
    EXPECT_FALSE(srcwatch_is_no_device());
    Unplug("hdmi4");

    EXPECT_TRUE(srcwatch_is_no_device());
}

TEST_F(Service, AccompaniesATwcCheckOfASetTopBox)
{
    StartService();
    Plug("hdmi2", "voltana-vx-home");

    srcwatch_TWC_check_start(1);
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_WAITING; }));
    srcwatch_TWC_is_channeltuned(1, 12);
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_TUNED; }));
    srcwatch_TWC_check_end(1);
    RunFor(std::chrono::milliseconds(100));

    EXPECT_EQ(srcwatch_is_TWC(), -1);
}

TEST_F(Service, RefusesATwcCheckOfAPortWithoutASetTopBox)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    for (const int port : {0, 1, 3, 7}) {
        srcwatch_TWC_check_start(port);
        EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_NO_SET_TOP_BOX; })) << port;
        srcwatch_TWC_check_end(port);
        EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == -1; })) << port;
    }
}

}  // namespace
}  // namespace srcwatch_test
