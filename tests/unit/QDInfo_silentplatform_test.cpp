// SPDX-License-Identifier: Apache-2.0
//
// A platform that says of every question that it was answered, and answers none: what the library then takes for the
// answer is what it had put there before it asked. This program is that platform.
#include "QDInfoSettingUtil.h"
#include "srcwatch-api.h"

#include <string>

#pragma GCC visibility push(default)  // for the shared library too
#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <vconf.h>

int __dlog_print(int, int, const char*, const char*, ...) { return 0; }
int vconf_get_int(const char*, int*) { return 0; }
int vconf_set_int(const char*, int) { return 0; }
char* vconf_get_str(const char*) { return nullptr; }
int vconf_set_str(const char*, const char*) { return 0; }
int system_info_get_value_int(system_info_key_e, int*) { return 0; }
int system_info_get_custom_bool(const char*, bool*) { return 0; }
int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**) { return 0; }
#pragma GCC visibility pop

#include <gtest/gtest.h>

namespace {

TEST(SilentPlatform, GivesTheServiceItsDefaults)
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
