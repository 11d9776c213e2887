// SPDX-License-Identifier: Apache-2.0
//
// Feature and state queries, and the TWC check. Runs with several numbers of HDMI inputs.
#include "QDInfoCommon.h"
#include "TestPlatform.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <climits>
#include <fstream>
#include <map>

namespace {

using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::PlatformTest;
using testing::ElementsAre;
using testing::IsEmpty;

using Sequence = std::vector<std::string>;

const std::string kHotplugProgress = "memory/srcwatch-service/hotplug_progress";
const std::string kHotplugSupport = "memory/srcwatch-service/hp_auto_detect_support";
const std::string kMvpdSupport = "memory/srcwatch-service/mvpd_auto_detect_support";
const std::string kActivityIndex = "memory/srcwatch-service/source-activity-index";
const std::string kTwcStatus = "memory/srcwatch-service/twc_status_internal";
const std::string kTwcSeqId = "memory/srcwatch-service/twc_seq_id";
const std::string kTwcFrameCount = "memory/srcwatch-service/twc_frame_count";
const std::string kCommandKey = "memory/srcwatch-service/scan_progress";

const std::string kCalvix = "com.korvane/featureconf/bt_profile_bt_calvix";
const std::string kInfrared = "com.korvane/featureconf/cx_core_ir_tavrin";

std::string Logged(const std::string& function, const std::string& message)
{
    return "E QDInfo.cpp " + function + ": " + message;
}

std::string Written(const std::string& key, int value) { return "set " + key + " " + std::to_string(value); }

// ---------------------------------------------------------------------------------------------------------------------
// Switches

struct Switch {
    const char* name;
    bool (*query)();
    const std::string& key;
    const char* on;
    const char* off;
};

const Switch kSwitches[] = {
    {"srcwatch_is_HotPlug_progress", srcwatch_is_HotPlug_progress, kHotplugProgress, "HotPlug is in Progress\n",
     "HotPlug is NOT Progress\n"},
    {"srcwatch_is_HotPlug_enable", srcwatch_is_HotPlug_enable, kHotplugSupport, "HotPlug Enabled\n",
     "HotPlug Disabled\n"},
    {"srcwatch_is_MVPD_enable", srcwatch_is_MVPD_enable, kMvpdSupport, "MVPD Enabled\n", "MVPD Disabled\n"},
};

std::string NameOf(const testing::TestParamInfo<Switch>& info) { return info.param.name; }

class SwitchQuery : public PlatformTest, public testing::WithParamInterface<Switch> {
protected:
    const Switch& given = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Each, SwitchQuery, testing::ValuesIn(kSwitches), NameOf);

TEST_P(SwitchQuery, IsOnForOne)
{
    platform.settings.numbers[given.key] = 1;

    EXPECT_TRUE(given.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + given.key, Logged(given.name, given.on)));
}

TEST_P(SwitchQuery, IsOffForEveryOtherValue)
{
    for (const int value : {0, 2, -1, 257, INT_MAX, INT_MIN}) {
        platform.settings.numbers[given.key] = value;
        platform.sequence.clear();

        EXPECT_FALSE(given.query()) << value;

        EXPECT_THAT(platform.sequence, ElementsAre("get " + given.key, Logged(given.name, given.off))) << value;
    }
}

TEST_P(SwitchQuery, IsOffWhenItCannotBeRead)
{
    EXPECT_FALSE(given.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + given.key, Logged(given.name, "Localset vconf read error\n")));
}

TEST_P(SwitchQuery, IsOffAlsoWhenTheFailedReadLeftAOne)
{
    platform.settings.failingNumbers[given.key] = 1;

    EXPECT_FALSE(given.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + given.key, Logged(given.name, "Localset vconf read error\n")));
}

// The line of a message that several functions share is one of the function that the message names.
TEST_P(SwitchQuery, LogsAFailedReadWithALineOfItsOwn)
{
    std::ifstream source(SRCWATCH_API_SOURCE);
    std::vector<std::string> lines;
    for (std::string line; std::getline(source, line);) lines.push_back(line);

    given.query();

    const auto logged = static_cast<std::size_t>(platform.log.at(0).line);
    ASSERT_LE(logged, lines.size());
    std::size_t head = logged - 1;
    while (head > 0 && lines[head].compare(0, 1, "{") != 0) --head;
    ASSERT_GT(head, 0U);
    EXPECT_EQ(lines[head - 1], std::string("bool ") + given.name + "(void)");
}

// ---------------------------------------------------------------------------------------------------------------------
// HDMI notification

class HdmiNotification : public PlatformTest {};

TEST_F(HdmiNotification, RunsForEveryIndexButZeroAndLogsNothing)
{
    for (const int index : {1, 2, -1, 65536, INT_MIN, INT_MAX}) {
        platform.settings.numbers[kActivityIndex] = index;
        EXPECT_TRUE(srcwatch_Is_hdmi_notification_running()) << index;
    }
    platform.settings.numbers[kActivityIndex] = 0;
    platform.sequence.clear();

    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + kActivityIndex));
    EXPECT_THAT(platform.log, IsEmpty());
}

TEST_F(HdmiNotification, DoesNotRunWhenItCannotBeReadAndLogsNothing)
{
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + kActivityIndex));
}

TEST_F(HdmiNotification, TakesWhatAFailedReadLeft)
{
    platform.settings.failingNumbers[kActivityIndex] = 3;

    EXPECT_TRUE(srcwatch_Is_hdmi_notification_running());
}

// ---------------------------------------------------------------------------------------------------------------------
// No device

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
    // Up to the TV service, by the shortest way.
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

    // The inputs that are looked at: no more than there are identifiers.
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

TEST_F(NoDeviceQuery, RunsWithTheGivenNumberOfInputs) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

// How a feature switch reads, and what it then counts as.
struct FeatureState {
    const char* name;
    bool readable;
    bool value;
    bool Counts() const { return readable && value; }
};

constexpr FeatureState kFeatureStates[] = {
    {"off", true, false}, {"on", true, true}, {"failing, off", false, false}, {"failing, on", false, true}};

TEST_F(NoDeviceQuery, AlwaysReadsBothFeaturesAndEndsWhenNeitherCounts)
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

TEST_F(NoDeviceQuery, LooksForCablesWithoutMvpdWhileHotplugIsInProgress)
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
TEST_F(NoDeviceQuery, AsksForEachInputInOrderAndNotForHotplugWithMvpdOn)
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

TEST_F(NoDeviceQueryWithInputs, TakesTheConnectionThatAFailedQueryLeft)
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

// ---------------------------------------------------------------------------------------------------------------------
// TWC check

class TwcCheck : public PlatformTest {};

constexpr int kUnknownPorts[] = {-1, 8, 9, 99, INT_MIN, INT_MAX};

TEST_F(TwcCheck, HasTheStatusThatTheServiceWrote)
{
    for (const int status : {0, 1, -1, 7, INT_MIN, INT_MAX}) {
        platform.settings.numbers[kTwcStatus] = status;
        platform.sequence.clear();

        EXPECT_EQ(srcwatch_is_TWC(), status);

        EXPECT_THAT(platform.sequence,
                    ElementsAre("get " + kTwcStatus,
                                Logged("srcwatch_is_TWC", "srcwatch_is_TWC return " + std::to_string(status) + "\n")));
    }
}

TEST_F(TwcCheck, HasTheStatusMinusOneWhenItCannotBeRead)
{
    EXPECT_EQ(srcwatch_is_TWC(), -1);

    EXPECT_THAT(platform.sequence,
                ElementsAre("get " + kTwcStatus, Logged("srcwatch_is_TWC", "srcwatch_is_TWC return -1\n")));
}

TEST_F(TwcCheck, HasTheStatusThatAFailedReadLeft)
{
    platform.settings.failingNumbers[kTwcStatus] = 5;

    EXPECT_EQ(srcwatch_is_TWC(), 5);
}

TEST_F(TwcCheck, StartsWithTheStatusClearedBeforeTheCommand)
{
    for (int port = 0; port <= 7; ++port) {
        const std::string number = std::to_string(port);
        platform.sequence.clear();

        srcwatch_TWC_check_start(port);

        EXPECT_THAT(
            platform.sequence,
            ElementsAre(Logged("srcwatch_TWC_check_start", "Srcwatch TWC Check Start API called " + number + "\n"),
                        Written(kTwcStatus, -1), Written(kCommandKey, 2010 + port),
                        Logged("srcwatch_TWC_check_start", "srcwatch_TWC_check_start end " + number + "\n")));
    }
}

TEST_F(TwcCheck, StartsNothingOnAnUnknownPortButClearsTheStatus)
{
    for (const int port : kUnknownPorts) {
        const std::string number = std::to_string(port);
        platform.sequence.clear();

        srcwatch_TWC_check_start(port);

        EXPECT_THAT(
            platform.sequence,
            ElementsAre(Logged("srcwatch_TWC_check_start", "Srcwatch TWC Check Start API called " + number + "\n"),
                        Written(kTwcStatus, -1),
                        Logged("srcwatch_TWC_check_start", "Unknown port index " + number + "\n"),
                        Logged("srcwatch_TWC_check_start", "srcwatch_TWC_check_start end " + number + "\n")));
    }
}

TEST_F(TwcCheck, EndsWithTheCommandBeforeTheThreeValuesAreReset)
{
    for (int port = 0; port <= 7; ++port) {
        platform.settings.numbers.clear();
        platform.sequence.clear();

        srcwatch_TWC_check_end(port);

        EXPECT_THAT(
            platform.sequence,
            ElementsAre(Logged("srcwatch_TWC_check_end", "Srcwatch TWC Check End API called\n"),
                        Written(kCommandKey, 2020 + port), Written(kTwcSeqId, -1), Written(kTwcFrameCount, 3),
                        Written(kTwcStatus, -1), Logged("srcwatch_TWC_check_end", "Srcwatch TWC Check End API End\n")));
        EXPECT_EQ(platform.settings.numbers,
                  (srcwatch_test::ByName<int>{
                      {kCommandKey, 2020 + port}, {kTwcSeqId, -1}, {kTwcFrameCount, 3}, {kTwcStatus, -1}}));
    }
}

TEST_F(TwcCheck, EndsNothingOnAnUnknownPortButResetsTheThreeValues)
{
    for (const int port : kUnknownPorts) {
        platform.sequence.clear();

        srcwatch_TWC_check_end(port);

        EXPECT_THAT(platform.sequence,
                    ElementsAre(Logged("srcwatch_TWC_check_end", "Srcwatch TWC Check End API called\n"),
                                Logged("srcwatch_TWC_check_end", "Unknown port index " + std::to_string(port) + "\n"),
                                Written(kTwcSeqId, -1), Written(kTwcFrameCount, 3), Written(kTwcStatus, -1),
                                Logged("srcwatch_TWC_check_end", "Srcwatch TWC Check End API End\n")));
    }
}

TEST_F(TwcCheck, WritesATunedChannelAndThenLogsIt)
{
    srcwatch_TWC_is_channeltuned(12, -34);

    EXPECT_THAT(platform.sequence,
                ElementsAre(Written(kTwcSeqId, 12), Written(kTwcFrameCount, -34),
                            Logged("srcwatch_TWC_is_channeltuned", "(twc_seq_id , twc_frame_count) = (12, -34)\n")));
}

TEST_F(TwcCheck, DoesAllItsStepsWhenTheStoreTakesNoWrites)
{
    platform.settings.unwritable = {kTwcStatus, kTwcSeqId, kTwcFrameCount, kCommandKey};

    srcwatch_TWC_check_start(0);
    srcwatch_TWC_is_channeltuned(1, 2);
    srcwatch_TWC_check_end(0);

    EXPECT_THAT(platform.SequenceWithoutLog(),
                ElementsAre(Written(kTwcStatus, -1), Written(kCommandKey, 2010), Written(kTwcSeqId, 1),
                            Written(kTwcFrameCount, 2), Written(kCommandKey, 2020), Written(kTwcSeqId, -1),
                            Written(kTwcFrameCount, 3), Written(kTwcStatus, -1)));
    EXPECT_EQ(platform.log.size(), 5U);
    EXPECT_THAT(platform.settings.numbers, IsEmpty());
}

}  // namespace
