// SPDX-License-Identifier: Apache-2.0
//
// Switches, the HDMI notification, and the TWC check.
#include "PlatformTest.h"
#include "QDInfoCommon.h"
#include "srcwatch-api.h"

#include <climits>
#include <fstream>

namespace {

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
    const Switch& row = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Each, SwitchQuery, testing::ValuesIn(kSwitches), NameOf);

TEST_P(SwitchQuery, IsOnForOne)
{
    platform.settings.numbers[row.key] = 1;

    EXPECT_TRUE(row.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + row.key, Logged(row.name, row.on)));
}

TEST_P(SwitchQuery, IsOffForEveryOtherValue)
{
    for (const int value : {0, 2, -1, 257, INT_MAX, INT_MIN}) {
        platform.settings.numbers[row.key] = value;
        platform.sequence.clear();

        EXPECT_FALSE(row.query()) << value;

        EXPECT_THAT(platform.sequence, ElementsAre("get " + row.key, Logged(row.name, row.off))) << value;
    }
}

TEST_P(SwitchQuery, IsOffWhenItCannotBeRead)
{
    EXPECT_FALSE(row.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + row.key, Logged(row.name, "Localset vconf read error\n")));
}

TEST_P(SwitchQuery, IsOffAlsoWhenTheFailedReadLeftAOne)
{
    platform.settings.failingNumbers[row.key] = 1;

    EXPECT_FALSE(row.query());

    EXPECT_THAT(platform.sequence, ElementsAre("get " + row.key, Logged(row.name, "Localset vconf read error\n")));
}

// The line of a message that several functions share is one of the function that the message names.
TEST_P(SwitchQuery, LogsAFailedReadWithALineOfItsOwn)
{
    std::ifstream source(SRCWATCH_API_SOURCE);
    std::vector<std::string> lines;
    for (std::string line; std::getline(source, line);) lines.push_back(line);

    row.query();

    const auto logged = static_cast<std::size_t>(platform.log.at(0).line);
    ASSERT_LE(logged, lines.size());
    std::size_t head = logged - 1;
    while (head > 0 && lines[head].compare(0, 1, "{") != 0) --head;
    ASSERT_GT(head, 0U);
    EXPECT_EQ(lines[head - 1], std::string("bool ") + row.name + "(void)");
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
