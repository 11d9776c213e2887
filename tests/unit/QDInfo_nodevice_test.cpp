// SPDX-License-Identifier: Apache-2.0
//
// The query whether a device is connected. Runs with several numbers of HDMI inputs.
#include "PlatformTest.h"
#include "QDInfoCommon.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <climits>

namespace {

using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::PlatformTest;
using testing::ElementsAre;

using Sequence = std::vector<std::string>;

const std::string kHotplugProgress = "memory/srcwatch-service/hotplug_progress";
const std::string kHotplugSupport = "memory/srcwatch-service/hp_auto_detect_support";
const std::string kMvpdSupport = "memory/srcwatch-service/mvpd_auto_detect_support";

const std::string kCalvix = "com.korvane/featureconf/bt_profile_bt_calvix";
const std::string kInfrared = "com.korvane/featureconf/cx_core_ir_tavrin";

std::string Logged(const std::string& function, const std::string& message)
{
    return "E QDInfo.cpp " + function + ": " + message;
}

constexpr int kSourceIds[] = {13, 14, 15, 16, 38, 39, 46, 47};

std::string NoDevice(const std::string& message) { return Logged("srcwatch_is_no_device", message); }

const std::string kEntry = NoDevice("srcwatch_is_no_device!!!\n");
const std::string kReadCalvix = "feature " + kCalvix;
const std::string kReadInfrared = "feature " + kInfrared;
const std::string kSupported10 = NoDevice("TV Model Supports Calvix (1) or IR MBR (0)\n");
const std::string kReadMvpd = "get " + kMvpdSupport;
const std::string kReadHotplug = "get " + kHotplugProgress;
const std::string kMvpdOn = Logged("srcwatch_is_MVPD_enable", "MVPD Enabled\n");
const std::string kMvpdOff = Logged("srcwatch_is_MVPD_enable", "MVPD Disabled\n");
const std::string kHotplugOn = Logged("srcwatch_is_HotPlug_progress", "HotPlug is in Progress\n");
const std::string kHotplugOff = Logged("srcwatch_is_HotPlug_progress", "HotPlug is NOT Progress\n");
const std::string kCreate = "control 1 0";
const std::string kNoCable = NoDevice("There is no connected HDMI Cable!!\n");
const std::string kQueryFailed = NoDevice("Get Ext Source Info Fail\n");
const std::string kCreateFailed = NoDevice("Create Source Control failed!!\n");

class NoDeviceQuery : public PlatformTest {
protected:
    // Reaches the TV service by the shortest way.
    void GivenMvpdOnACalvixTv()
    {
        platform.features[kCalvix] = true;
        platform.features[kInfrared] = false;
        platform.settings.numbers[kMvpdSupport] = 1;
    }

    Sequence UpToTheTvService() const
    {
        return {kEntry, kReadCalvix, kReadInfrared, kSupported10, kReadMvpd, kMvpdOn, kCreate};
    }

    // The inputs that are queried: at most as many as there are identifiers.
    static int Inputs() { return std::clamp(HDMI_PORT_COUNT, 0, 8); }

    static std::string Queried(int input) { return "connected " + std::to_string(kSourceIds[input]); }

    static std::string Connected(int input)
    {
        return NoDevice("HDMI(" + std::to_string(input + 1) + ") is connected!!\n");
    }
};

// For what can only be seen on a TV with HDMI inputs.
class NoDeviceQueryWithInputs : public NoDeviceQuery {
protected:
    void SetUp() override
    {
        if (Inputs() == 0) GTEST_SKIP() << "needs an HDMI input";
    }
};

TEST_F(NoDeviceQuery, RunsWithTheExpectedNumberOfInputs) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

// How a feature switch reads, and what it then counts as.
struct FeatureState {
    const char* name;
    bool readable;
    bool value;
    bool Counts() const { return readable && value; }
};

constexpr FeatureState kFeatureStates[] = {
    {"off", true, false}, {"on", true, true}, {"failing, off", false, false}, {"failing, on", false, true}};

TEST_F(NoDeviceQuery, ReadsBothFeaturesAndEndsIfNeitherCounts)
{
    platform.settings.numbers[kMvpdSupport] = 0;
    platform.settings.numbers[kHotplugProgress] = 0;
    for (const FeatureState& calvix : kFeatureStates) {
        for (const FeatureState& infrared : kFeatureStates) {
            SCOPED_TRACE(std::string(calvix.name) + " / " + infrared.name);
            platform.features.clear();
            platform.failingFeatures.clear();
            (calvix.readable ? platform.features : platform.failingFeatures)[kCalvix] = calvix.value;
            (infrared.readable ? platform.features : platform.failingFeatures)[kInfrared] = infrared.value;
            platform.sequence.clear();
            const bool supported = calvix.Counts() || infrared.Counts();
            const std::string values =
                " Calvix (" + std::to_string(calvix.value) + ") or IR MBR (" + std::to_string(infrared.value) + ")\n";
            Sequence expected = {kEntry, kReadCalvix, kReadInfrared};
            if (supported) {
                expected.push_back(NoDevice("TV Model Supports" + values));
                expected.insert(expected.end(), {kReadMvpd, kMvpdOff, kReadHotplug, kHotplugOff,
                                                 NoDevice("MVPD Option is OFF and HotPlug is NOT Progress!!\n")});
            } else {
                expected.push_back(NoDevice("TV Model does NOT Support" + values));
            }

            EXPECT_TRUE(srcwatch_is_no_device());

            EXPECT_EQ(platform.sequence, expected);
        }
    }
}

TEST_F(NoDeviceQuery, TakesAbsentFeaturesAsOff)
{
    EXPECT_TRUE(srcwatch_is_no_device());

    EXPECT_THAT(platform.sequence, ElementsAre(kEntry, kReadCalvix, kReadInfrared,
                                               NoDevice("TV Model does NOT Support Calvix (0) or IR MBR (0)\n")));
}

TEST_F(NoDeviceQuery, IsTrueWhenMvpdAndHotplugCannotBeRead)
{
    platform.features[kCalvix] = true;

    EXPECT_TRUE(srcwatch_is_no_device());

    EXPECT_THAT(platform.sequence,
                ElementsAre(kEntry, kReadCalvix, kReadInfrared, kSupported10, kReadMvpd,
                            Logged("srcwatch_is_MVPD_enable", "Localset vconf read error\n"), kReadHotplug,
                            Logged("srcwatch_is_HotPlug_progress", "Localset vconf read error\n"),
                            NoDevice("MVPD Option is OFF and HotPlug is NOT Progress!!\n")));
}

TEST_F(NoDeviceQuery, QueriesInputsWithoutMvpdDuringHotplug)
{
    platform.features[kCalvix] = true;
    platform.settings.numbers[kMvpdSupport] = 0;
    platform.settings.numbers[kHotplugProgress] = 1;
    Sequence expected = {kEntry,   kReadCalvix,  kReadInfrared, kSupported10, kReadMvpd,
                         kMvpdOff, kReadHotplug, kHotplugOn,    kCreate};
    for (int input = 0; input < Inputs(); ++input) expected.push_back(Queried(input));
    expected.push_back(kNoCable);

    EXPECT_TRUE(srcwatch_is_no_device());

    EXPECT_EQ(platform.sequence, expected);
}

// Nine inputs included: the identifiers end at eight.
TEST_F(NoDeviceQuery, QueriesInputsInOrderWithMvpdOn)
{
    GivenMvpdOnACalvixTv();
    Sequence expected = UpToTheTvService();
    for (int input = 0; input < Inputs(); ++input) expected.push_back(Queried(input));
    expected.push_back(kNoCable);

    EXPECT_TRUE(srcwatch_is_no_device());

    EXPECT_EQ(platform.sequence, expected);
}

TEST_F(NoDeviceQuery, EndsAtTheFirstConnectedInput)
{
    GivenMvpdOnACalvixTv();
    for (int connected = 0; connected < Inputs(); ++connected) {
        platform.tv.connected = {{kSourceIds[connected], true}};
        platform.sequence.clear();
        Sequence expected = UpToTheTvService();
        for (int input = 0; input <= connected; ++input) expected.push_back(Queried(input));
        expected.push_back(Connected(connected));

        EXPECT_FALSE(srcwatch_is_no_device()) << connected;

        EXPECT_EQ(platform.sequence, expected) << connected;
    }
}

TEST_F(NoDeviceQuery, IgnoresConnectedSourcesThatAreNoInputs)
{
    GivenMvpdOnACalvixTv();
    for (int id = 0; id < 60; ++id) platform.tv.connected[id] = true;
    for (int input = 0; input < Inputs(); ++input) platform.tv.connected[kSourceIds[input]] = false;

    EXPECT_TRUE(srcwatch_is_no_device());
}

TEST_F(NoDeviceQuery, LogsEachFailedQueryAndGoesOn)
{
    GivenMvpdOnACalvixTv();
    for (const int result : {0, -1, INT_MIN}) {
        Sequence expected = UpToTheTvService();
        for (int input = 0; input < Inputs(); ++input) {
            platform.tv.queryResult[kSourceIds[input]] = result;
            expected.insert(expected.end(), {Queried(input), kQueryFailed});
        }
        expected.push_back(kNoCable);
        platform.sequence.clear();

        EXPECT_TRUE(srcwatch_is_no_device()) << result;

        EXPECT_EQ(platform.sequence, expected) << result;
    }
}

TEST_F(NoDeviceQuery, TakesEveryResultFromOneOnAsSuccess)
{
    GivenMvpdOnACalvixTv();
    for (const int id : kSourceIds) platform.tv.queryResult[id] = id == 13 ? 1 : INT_MAX;

    EXPECT_TRUE(srcwatch_is_no_device());

    EXPECT_EQ(std::count(platform.sequence.begin(), platform.sequence.end(), kQueryFailed), 0);
}

TEST_F(NoDeviceQueryWithInputs, TakesWhatAFailedQueryLeft)
{
    GivenMvpdOnACalvixTv();
    platform.tv.connected[13] = true;
    platform.tv.queryResult[13] = 0;
    Sequence expected = UpToTheTvService();
    expected.insert(expected.end(), {Queried(0), kQueryFailed, Connected(0)});

    EXPECT_FALSE(srcwatch_is_no_device());

    EXPECT_EQ(platform.sequence, expected);
}

TEST_F(NoDeviceQueryWithInputs, GoesOnBehindAnInputWhoseQueryFailed)
{
    GivenMvpdOnACalvixTv();
    const int last = Inputs() - 1;
    for (int input = 0; input < last; ++input) platform.tv.queryResult[kSourceIds[input]] = -1;
    platform.tv.connected[kSourceIds[last]] = true;
    Sequence expected = UpToTheTvService();
    for (int input = 0; input < last; ++input) expected.insert(expected.end(), {Queried(input), kQueryFailed});
    expected.insert(expected.end(), {Queried(last), Connected(last)});

    EXPECT_FALSE(srcwatch_is_no_device());

    EXPECT_EQ(platform.sequence, expected);
}

TEST_F(NoDeviceQuery, MakesNoQueryWithoutASourceControl)
{
    GivenMvpdOnACalvixTv();
    for (const int id : kSourceIds) platform.tv.connected[id] = true;
    Sequence expected = UpToTheTvService();
    expected.insert(expected.end(), {kCreateFailed, kNoCable});
    const std::pair<int, bool> failures[] = {{0, true}, {-1, true}, {-1, false}, {1, false}};

    for (const auto& [result, null] : failures) {
        platform.tv.createResult = result;
        platform.tv.createNull = null;
        platform.sequence.clear();

        EXPECT_TRUE(srcwatch_is_no_device()) << result << null;

        EXPECT_EQ(platform.sequence, expected) << result << null;
    }
}

TEST_F(NoDeviceQuery, LogsWithTheFormatsOfItsMessages)
{
    GivenMvpdOnACalvixTv();
    platform.tv.connected[13] = true;

    srcwatch_is_no_device();

    std::vector<std::string> formats;
    for (const srcwatch_test::LogLine& line : platform.log) formats.push_back(line.format);
    const std::string prefix = "%s: %s(%d) > <%ld> ";
    EXPECT_EQ(formats.at(1), prefix + "TV Model Supports Calvix (%d) or IR MBR (%d)\n\n");
    EXPECT_EQ(formats.back(), Inputs() > 0 ? prefix + "HDMI(%d) is connected!!\n\n"
                                           : prefix + "There is no connected HDMI Cable!!\n\n");
}

}  // namespace
