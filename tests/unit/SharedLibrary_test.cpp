// SPDX-License-Identifier: Apache-2.0
//
// The shared library in a program that brings the platform itself: the program's definitions must win over those of
// the platform that the library is linked to.
#include "PlatformTest.h"
#include "QDInfoSettingUtil.h"
#include "srcwatch-api.h"

namespace {

using srcwatch_test::PlatformTest;
using testing::ElementsAre;

class SharedLibrary : public PlatformTest {};

TEST_F(SharedLibrary, OnlyAsksForSevenHdmiCountsAtLoad)
{
    EXPECT_EQ(srcwatch_test::LoadSequence(), std::vector<std::string>(7, "count 122"));
}

TEST_F(SharedLibrary, AsksTheProgramsSystemInformation)
{
    EXPECT_EQ(get_hdmi_count(), 4);

    EXPECT_THAT(platform.sequence, ElementsAre("count 122"));
}

TEST_F(SharedLibrary, UsesTheProgramsSettingsStoreAndLog)
{
    int stateFrom = 0;
    std::string headendId;
    std::string deviceType;
    std::string providerName;

    CQDInfoSettingUtil::SetQDInfoActivateData(5, "headend", "type", "provider");
    platform.settings.texts["db/mbr/DeviceType"] = "stored type";
    CQDInfoSettingUtil::GetQDInfoActivateData(stateFrom, headendId, deviceType, providerName);

    EXPECT_EQ(stateFrom, 5);
    EXPECT_EQ(deviceType, "stored type");
    EXPECT_THAT(platform.sequence, ElementsAre("D QDInfoSettingUtil.cpp SetQDInfoActivateData: "
                                               "set current data is 5, headend, type, provider\n",
                                               "set db/qdinfo/StateFrom 5", "sets db/mbr/HeadendID headend",
                                               "sets db/mbr/DeviceType type", "sets db/mbr/ProviderName provider",
                                               "D QDInfoSettingUtil.cpp GetQDInfoActivateData: get current data \n",
                                               "get db/qdinfo/StateFrom", "gets db/mbr/HeadendID",
                                               "gets db/mbr/DeviceType", "gets db/mbr/ProviderName"));
}

TEST_F(SharedLibrary, UsesTheProgramsFeaturesAndTvService)
{
    platform.features["com.korvane/featureconf/bt_profile_bt_calvix"] = true;
    platform.settings.numbers["memory/srcwatch-service/mvpd_auto_detect_support"] = 1;
    platform.tv.connected[14] = true;

    EXPECT_FALSE(srcwatch_is_no_device());

    EXPECT_THAT(platform.SequenceWithoutLog(), ElementsAre("feature com.korvane/featureconf/bt_profile_bt_calvix",
                                                           "feature com.korvane/featureconf/cx_core_ir_tavrin",
                                                           "get memory/srcwatch-service/mvpd_auto_detect_support",
                                                           "control 1 0", "connected 13", "connected 14"));
}

}  // namespace
