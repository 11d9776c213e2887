// SPDX-License-Identifier: Apache-2.0
// System information and TV service of the host platform.
#include "HostTest.h"
#include "TVServiceAPI.h"
#include "srcwatch-host.h"
#include "system_info.h"
#include "vconf.h"

#include <filesystem>
#include <string>

#include <sys/stat.h>

namespace {

constexpr int kUntouched = 4711;
constexpr const char* kCalvix = "com.korvane/featureconf/bt_profile_bt_calvix";
constexpr const char* kTavrin = "com.korvane/featureconf/cx_core_ir_tavrin";

// The number of inputs, or kUntouched when the query fails.
int Inputs()
{
    int value = kUntouched;
    const int result = system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &value);
    EXPECT_EQ(result == 0, value != kUntouched);
    return value;
}

std::string Feature(const char* key)
{
    for (const bool before : {false, true}) {
        bool value = before;
        if (system_info_get_custom_bool(key, &value) == 0) return value ? "on" : "off";
        EXPECT_EQ(value, before) << "touched";
    }
    return "unknown";
}

class SystemInfo : public HostTest {};

TEST_F(SystemInfo, GivesInputsAndFeatures)
{
    WriteFile(ConfPath(),
              "# a TV\n[hdmi]\ninputs=4\n[features]\n" + std::string(kCalvix) + "=true\n" + kTavrin + " = false\n");
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(Inputs(), 4);
        EXPECT_EQ(Feature(kCalvix), "on");
        EXPECT_EQ(Feature(kTavrin), "off");
        EXPECT_EQ(Feature("com.korvane/featureconf/other"), "unknown");
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SystemInfo, KnowsNothingWithoutAFile)
{
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(Inputs(), kUntouched);
        EXPECT_EQ(Feature(kCalvix), "unknown");
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(SystemInfo, KnowsNothingThatTheFileLacks)
{
    for (const char* content : {"", "[hdmi]\n", "[features]\ninputs=4\n", "[HDMI]\ninputs=4\n"}) {
        WriteFile(ConfPath(), content);
        EXPECT_TRUE(InProcess([] {
            EXPECT_EQ(Inputs(), kUntouched);
            EXPECT_EQ(Feature(kCalvix), "unknown");
        })) << content;
    }
    EXPECT_EQ(Log(), "");
}

TEST_F(SystemInfo, FailsForMalformedValuesAndSaysSoOnce)
{
    for (const std::string value : {"", "four", "4x", "4.5", "99999999999", "0x4"}) {
        WriteFile(Path("log"), "");
        WriteFile(ConfPath(), "[hdmi]\ninputs=" + value + "\n[features]\n" + kCalvix + "=" + value + "\n");
        EXPECT_TRUE(InProcess([] {
            for (int round = 0; round < 7; round++) {
                EXPECT_EQ(Inputs(), kUntouched);
                EXPECT_EQ(Feature(kCalvix), "unknown");
            }
        })) << value;
        EXPECT_EQ(LogLines(ConfPath() + ": [hdmi] inputs: ").size(), 1u) << Log();
        EXPECT_EQ(LogLines(ConfPath() + ": [features] " + kCalvix + ": ").size(), 1u) << Log();
    }
}

TEST_F(SystemInfo, FailsForAMalformedFileAndSaysSoOnce)
{
    const std::string binary =
        "\x7f"
        "ELF\x01\xff\n";
    for (const std::string& content : {std::string("inputs=4\n"), std::string("[hdmi]\nno assignment\n"), binary}) {
        WriteFile(Path("log"), "");
        WriteFile(ConfPath(), content);
        EXPECT_TRUE(InProcess([] {
            for (int round = 0; round < 7; round++) EXPECT_EQ(Inputs(), kUntouched);
        })) << content;
        EXPECT_EQ(LogLines(ConfPath() + ": ").size(), 1u) << Log();
    }
}

TEST_F(SystemInfo, FailsWhenTheFileIsNone)
{
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    std::filesystem::create_directory(Path("directory"));
    for (const char* name : {"pipe", "directory"}) {
        GivenEnvironment("SRCWATCH_PLATFORM_CONF", Path(name));
        EXPECT_TRUE(InProcess([] {
            EXPECT_EQ(Inputs(), kUntouched);
            EXPECT_EQ(Inputs(), kUntouched);
        })) << name;
        EXPECT_EQ(LogLines(Path(name) + ": not a regular file").size(), 1u) << Log();
    }
}

TEST_F(SystemInfo, PassesOnCountsAsTheyAre)
{
    for (const int inputs : {0, -1, 1, 9, 2147483647}) {
        WriteFile(ConfPath(), "[hdmi]\ninputs=" + std::to_string(inputs) + "\n");
        EXPECT_TRUE(InProcess([inputs] { EXPECT_EQ(Inputs(), inputs); }));
    }
}

TEST_F(SystemInfo, SeesEveryChangeOfTheFile)
{
    EXPECT_TRUE(InProcess([this] {
        EXPECT_EQ(Inputs(), kUntouched);
        for (int inputs = 1; inputs < 200; inputs++) {
            const std::string content = "[hdmi]\ninputs=" + std::to_string(inputs % 10) + "\n";
            if (inputs % 3 == 0) {
                WriteFile(Path("new"), content);
                std::filesystem::rename(Path("new"), ConfPath());
            } else {
                WriteFile(ConfPath(), content);
            }
            ASSERT_EQ(Inputs(), inputs % 10);
        }
        std::filesystem::remove(ConfPath());
        EXPECT_EQ(Inputs(), kUntouched);
    }));
}

TEST_F(SystemInfo, RefusesOtherKeysAndNullArguments)
{
    WriteFile(ConfPath(), "[hdmi]\ninputs=4\n[features]\nx=true\n");
    EXPECT_TRUE(InProcess([] {
        int number = kUntouched;
        bool isOn = false;
        EXPECT_NE(system_info_get_value_int(static_cast<system_info_key_e>(1), &number), 0);
        EXPECT_NE(system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, nullptr), 0);
        EXPECT_NE(system_info_get_custom_bool("x", nullptr), 0);
        EXPECT_NE(system_info_get_custom_bool(nullptr, &isOn), 0);
        EXPECT_NE(system_info_get_custom_bool("", &isOn), 0);
        EXPECT_NE(system_info_get_custom_bool("a]b=\n\xff", &isOn), 0);
        EXPECT_EQ(number, kUntouched);
        EXPECT_FALSE(isOn);
    }));
}

class TVService : public HostTest {
protected:
    static ISourceControl* Control()
    {
        ISourceControl* control = nullptr;
        EXPECT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, &control), 0);
        return control;
    }

    static std::string State(int sourceId)
    {
        for (const bool before : {false, true}) {
            bool isConnected = before;
            if (Control()->IsExternalSourceConnected(sourceId, &isConnected) >= 1)
                return isConnected ? "connected" : "not connected";
            EXPECT_EQ(isConnected, before) << "touched";
        }
        return "unknown";
    }
};

TEST_F(TVService, TellsWhatWasSetForEachSource)
{
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(State(13), "unknown");
        EXPECT_EQ(srcwatch_host_set_connected(13, true), 0);
        EXPECT_EQ(srcwatch_host_set_connected(14, false), 0);
        EXPECT_EQ(State(13), "connected");
        EXPECT_EQ(State(14), "not connected");
        EXPECT_EQ(State(15), "unknown");
        EXPECT_EQ(srcwatch_host_set_connected(13, false), 0);
        EXPECT_EQ(State(13), "not connected");
        EXPECT_EQ(srcwatch_host_set_connected(-2147483647 - 1, true), 0);
        EXPECT_EQ(State(-2147483647 - 1), "connected");
    }));
}

TEST_F(TVService, TellsWhatAnotherProcessSet)
{
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_set_connected(47, true), 0); }));
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(State(47), "connected"); }));
}

TEST_F(TVService, GivesOneControlToAProcess)
{
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(Control(), Control()); }));
}

TEST_F(TVService, HasOneControlOnly)
{
    EXPECT_TRUE(InProcess([] {
        ISourceControl* control = nullptr;
        EXPECT_NE(TVServiceAPI::CreateSourceControl(static_cast<EProfile>(0), 0, &control), 0);
        EXPECT_NE(TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 1, &control), 0);
        EXPECT_EQ(control, nullptr);
        EXPECT_NE(TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, nullptr), 0);
    }));
}

TEST_F(TVService, FailsWithoutAnOutputOrAReadableState)
{
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(srcwatch_host_set_connected(13, true), 0);
        EXPECT_LT(Control()->IsExternalSourceConnected(13, nullptr), 1);
        EXPECT_EQ(vconf_set_str("memory/tv/source/13/connected", "yes"), 0);
        EXPECT_EQ(State(13), "unknown");
    }));
}

TEST_F(TVService, FailsWhereThereIsNoStore)
{
    WriteFile(Path("file"), "in the way");
    GivenEnvironment("SRCWATCH_RUN_DIR", Path("file/run"));
    EXPECT_TRUE(InProcess([] {
        EXPECT_LT(srcwatch_host_set_connected(13, true), 0);
        EXPECT_EQ(State(13), "unknown");
    }));
}

}  // namespace
