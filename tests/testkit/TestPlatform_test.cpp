// SPDX-License-Identifier: Apache-2.0
#include "srcwatch-testkit/TestPlatform.h"

#include "Process.h"
#include "TempDirectory.h"
#include "srcwatch-api.h"
#include "srcwatch-host.h"
#include "srcwatch-testkit/PrivateBus.h"
#include "srcwatch-testkit/Waiting.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <system_info.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

TEST(TestPlatform, IsTheTvOfItsModelFromTheStart)
{
    bool hasInfrared = false;
    bool hasBluetooth = true;

    EXPECT_EQ(get_hdmi_count(), 3);
    EXPECT_EQ(system_info_get_custom_bool("com.korvane/featureconf/cx_core_ir_tavrin", &hasInfrared), 0);
    EXPECT_TRUE(hasInfrared);
    EXPECT_NE(system_info_get_custom_bool("com.korvane/featureconf/bt_profile_bt_calvix", &hasBluetooth), 0);
}

TEST(TestPlatform, KeepsSettingsAndBusInItsOwnPlace)
{
    EXPECT_EQ(srcwatch_host_state_dir(), TestPlatform::Path("state"));
    EXPECT_EQ(srcwatch_host_run_dir(), TestPlatform::Path("run"));
    EXPECT_EQ(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), TheBus().Address());
    EXPECT_EQ(std::getenv("SRCWATCH_INPUTS"), TestPlatform::Path("inputs"));
    EXPECT_STREQ(std::getenv("SRCWATCH_SERVICE_CONF"), "");
}

TEST(TestPlatform, ClearForgetsSettingsCablesAndWhatIsPluggedIn)
{
    int number = 0;
    ASSERT_EQ(vconf_set_int("db/test/number", 1), 0);
    ASSERT_EQ(vconf_set_int("memory/test/number", 1), 0);
    ASSERT_EQ(srcwatch_host_set_connected(13, true), 0);
    std::filesystem::create_directory(TestPlatform::Path("inputs/hdmi1"));

    TestPlatform::Clear();

    EXPECT_EQ(vconf_get_int("db/test/number", &number), -ENOENT);
    EXPECT_EQ(vconf_get_int("memory/test/number", &number), -ENOENT);
    EXPECT_TRUE(srcwatch_is_no_device());
    EXPECT_TRUE(std::filesystem::is_empty(TestPlatform::Path("inputs")));
}

TEST(TestPlatform, EndsAsTheProgramEndsAndLeavesNothing)
{
    const std::vector<std::pair<std::vector<std::string>, int>> ways = {
        {{"exit", "0"}, 0}, {{"exit", "7"}, 7}, {{"raise", std::to_string(SIGKILL)}, 128 + SIGKILL}};
    for (const auto& [way, code] : ways) {
        const TempDirectory directory;
        Process program({"/proc/self/exe", way[0], way[1]}, directory / "run");

        EXPECT_EQ(program.Wait(kDeadline), code);

        ASSERT_NE(program.Output(), "");
        EXPECT_NE(program.Output(), TestPlatform::Path("")) << "a TV of its own";
        EXPECT_FALSE(std::filesystem::exists(program.Output()));
    }
}

}  // namespace
}  // namespace srcwatch_test
