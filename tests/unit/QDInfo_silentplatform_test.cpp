// SPDX-License-Identifier: Apache-2.0
//
// A platform that reports success to every question, and answers none: the library then takes for the answer what it
// had put there before it asked.
#include "PlatformTest.h"
#include "QDInfoSettingUtil.h"
#include "srcwatch-api.h"

#include <string>

// Before the library asks for the number of HDMI inputs.
void srcwatch_test::ConfigurePlatform(Platform& platform)
{
    static const StoreFunctions silent = {[](const char*, int*) { return 0; }, [](const char*, int) { return 0; },
                                          [](const char*) -> char* { return nullptr; },
                                          [](const char*, const char*) { return 0; }};
    platform.settings.other = &silent;
    platform.hdmiCount = {0, std::nullopt};
    platform.otherFeatureResult = 0;
    platform.tv.createNull = true;
}

namespace {

TEST(SilentPlatform, LeavesTheServiceItsDefaults)
{
    EXPECT_EQ(CQDInfoSettingUtil::GetQDInfoActivityIndex(), -2);
    EXPECT_EQ(CQDInfoSettingUtil::GetQDInfoMode(), 0);

    int stateFrom = 7;
    std::string headendId = "head-end";
    std::string deviceType = "type";
    std::string providerName = "provider";
    EXPECT_TRUE(CQDInfoSettingUtil::GetQDInfoActivateData(stateFrom, headendId, deviceType, providerName));
    EXPECT_EQ(stateFrom, 1);
    EXPECT_EQ(headendId, "head-end");
    EXPECT_EQ(deviceType, "type");
    EXPECT_EQ(providerName, "provider");
}

TEST(SilentPlatform, HasNoInputs) { EXPECT_EQ(get_hdmi_count(), -1); }

TEST(SilentPlatform, IsBeforeAnyScan)
{
    int progress = 7;

    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);

    EXPECT_EQ(progress, 0);
}

TEST(SilentPlatform, HasAllSwitchesOff)
{
    EXPECT_FALSE(srcwatch_is_HotPlug_progress());
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    EXPECT_FALSE(srcwatch_is_MVPD_enable());
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());
    EXPECT_TRUE(srcwatch_is_no_device());
}

TEST(SilentPlatform, HasNoTwcStatus) { EXPECT_EQ(srcwatch_is_TWC(), -1); }

}  // namespace
