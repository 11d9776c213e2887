// SPDX-License-Identifier: Apache-2.0
//
// Scan commands and progress. Runs with several numbers of HDMI inputs.
#include "PlatformTest.h"
#include "QDInfoCommon.h"
#include "srcwatch-api.h"

#include <climits>
#include <map>
#include <optional>
#include <thread>

namespace {

using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::LogHook;
using srcwatch_test::LogLine;
using srcwatch_test::PlatformTest;
using testing::ElementsAre;

constexpr char kCommandKey[] = "memory/srcwatch-service/scan_progress";
constexpr char kProgressKey[] = "memory/srcwatch-service/scan_result";

std::string Logged(const std::string& function, const std::string& message)
{
    return "E QDInfo.cpp " + function + ": " + message;
}

std::string Written(int value) { return std::string("set ") + kCommandKey + " " + std::to_string(value); }

// ---------------------------------------------------------------------------------------------------------------------
// Commands

struct Command {
    const char* name;
    void (*command)();
    const char* message;
    int code;
};

const Command kCommands[] = {
    {"srcwatch_oobe_scan_start", srcwatch_oobe_scan_start, "Srcwatch OOBE Scan Start API called\n", 2001},
    {"srcwatch_oobe_scan_stop", srcwatch_oobe_scan_stop, "Srcwatch OOBE Scan Stop API called\n", 2002},
    {"srcwatch_oobe_scan_resume", srcwatch_oobe_scan_resume, "Srcwatch OOBE Scan Resume API called\n", 2003},
    {"srcwatch_optical_scan_start", srcwatch_optical_scan_start, "Srcwatch OPTICAL Scan Start API called\n", 5001},
    {"srcwatch_optical_scan_stop", srcwatch_optical_scan_stop, "Srcwatch OPTICAL Scan Stop API called\n", 5002},
    {"srcwatch_set_MBR_download_finished", srcwatch_set_MBR_download_finished,
     "API: Srcwatch Set MBR Download Finished Called\n", 3001},
};

std::string NameOf(const testing::TestParamInfo<Command>& info) { return info.param.name; }

class ScanCommand : public PlatformTest, public testing::WithParamInterface<Command> {
protected:
    const Command& command = GetParam();
    const std::string logged = Logged(GetParam().name, GetParam().message);
    const std::string written = Written(GetParam().code);
};

INSTANTIATE_TEST_SUITE_P(Each, ScanCommand, testing::ValuesIn(kCommands), NameOf);

TEST_P(ScanCommand, LogsAndThenWritesItsCode)
{
    command.command();

    EXPECT_THAT(platform.sequence, ElementsAre(logged, written));
    EXPECT_EQ(platform.settings.numbers, (srcwatch_test::ByName<int>{{kCommandKey, command.code}}));
}

TEST_P(ScanCommand, IsWrittenAgainAtEachCall)
{
    command.command();
    command.command();

    EXPECT_THAT(platform.sequence, ElementsAre(logged, written, logged, written));
    EXPECT_EQ(platform.settings.numbers.at(kCommandKey), command.code);
}

TEST_P(ScanCommand, IsSilentAboutAFailedWrite)
{
    platform.settings.unwritable.insert(kCommandKey);

    command.command();

    EXPECT_THAT(platform.sequence, ElementsAre(logged, written));
}

// ---------------------------------------------------------------------------------------------------------------------
// Values of this process

class ScanState : public PlatformTest {
protected:
    void TearDown() override
    {
        srcwatch_set_optical_scan_state(0);
        srcwatch_set_running_scan_type(0);
    }
};

// In a new process, where nothing was set.
TEST_F(ScanState, IsOffAndZeroInANewProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_EXIT(
        {
            bool optical = true;
            int type = -1;
            srcwatch_is_optical_scan(&optical);
            srcwatch_get_running_scan_type(&type);
            std::_Exit(!optical && type == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(ScanState, IsOpticalForEveryNumberButZero)
{
    for (const int state : {5, 1, -1, INT_MIN, INT_MAX, 256, 65536}) {
        bool optical = false;
        srcwatch_set_optical_scan_state(state);
        EXPECT_EQ(srcwatch_is_optical_scan(&optical), 0);
        EXPECT_TRUE(optical) << state;

        srcwatch_set_optical_scan_state(0);
        EXPECT_EQ(srcwatch_is_optical_scan(&optical), 0);
        EXPECT_FALSE(optical) << state;
    }
}

TEST_F(ScanState, LogsTheOpticalStateBeforeAndTheResult)
{
    bool optical = false;

    srcwatch_set_optical_scan_state(-5);
    srcwatch_is_optical_scan(&optical);
    srcwatch_set_optical_scan_state(0);
    srcwatch_is_optical_scan(&optical);

    EXPECT_THAT(platform.sequence, ElementsAre(Logged("srcwatch_set_optical_scan_state", "Set Optical state: -5\n"),
                                               Logged("srcwatch_is_optical_scan", "Optical result: 1\n"),
                                               Logged("srcwatch_set_optical_scan_state", "Set Optical state: 0\n"),
                                               Logged("srcwatch_is_optical_scan", "Optical result: 0\n")));
}

TEST_F(ScanState, KeepsEveryRunningScanType)
{
    for (const int type : {7, 0, -1, INT_MIN, INT_MAX}) {
        int running = 1234;
        srcwatch_set_running_scan_type(type);

        EXPECT_EQ(srcwatch_get_running_scan_type(&running), 0);

        EXPECT_EQ(running, type);
    }
}

TEST_F(ScanState, LogsTheScanTypeStoredAndRead)
{
    int running = 0;

    srcwatch_set_running_scan_type(42);
    srcwatch_get_running_scan_type(&running);

    EXPECT_THAT(platform.sequence, ElementsAre(Logged("srcwatch_set_running_scan_type", "Set Scan type : 42\n"),
                                               Logged("srcwatch_get_running_scan_type", "Scan type result: 42\n")));
}

TEST_F(ScanState, KeepsTheTwoValuesApart)
{
    bool optical = true;
    int type = 0;

    srcwatch_set_running_scan_type(3);
    srcwatch_is_optical_scan(&optical);
    EXPECT_FALSE(optical);

    srcwatch_set_optical_scan_state(9);
    srcwatch_get_running_scan_type(&type);
    EXPECT_EQ(type, 3);
}

TEST_F(ScanState, IsLoggedBeforeItIsStoredAsOptical)
{
    bool optical = true;
    const LogHook hook([&](const LogLine&) { srcwatch_is_optical_scan(&optical); });

    srcwatch_set_optical_scan_state(5);

    EXPECT_FALSE(optical);
    srcwatch_is_optical_scan(&optical);
    EXPECT_TRUE(optical);
}

TEST_F(ScanState, IsWrittenBeforeItIsLoggedAsOptical)
{
    bool optical = false;
    bool logged = false;
    srcwatch_set_optical_scan_state(5);
    const LogHook hook([&](const LogLine&) { logged = optical; });

    srcwatch_is_optical_scan(&optical);

    EXPECT_TRUE(logged);
}

TEST_F(ScanState, IsStoredBeforeItIsLoggedAsScanType)
{
    int running = -1;
    const LogHook hook([&](const LogLine&) { srcwatch_get_running_scan_type(&running); });

    srcwatch_set_running_scan_type(7);

    EXPECT_EQ(running, 7);
}

TEST_F(ScanState, IsWrittenBeforeItIsLoggedAsScanType)
{
    int running = -1;
    int logged = -1;
    srcwatch_set_running_scan_type(7);
    const LogHook hook([&](const LogLine&) { logged = running; });

    srcwatch_get_running_scan_type(&running);

    EXPECT_EQ(logged, 7);
}

TEST_F(ScanState, IsThatOfTheProcessAndNotOfAThread)
{
    bool optical = false;
    int running = -1;

    std::thread([] {
        srcwatch_set_optical_scan_state(5);
        srcwatch_set_running_scan_type(7);
    }).join();
    srcwatch_is_optical_scan(&optical);
    srcwatch_get_running_scan_type(&running);
    EXPECT_TRUE(optical);
    EXPECT_EQ(running, 7);

    std::thread([&] {
        srcwatch_is_optical_scan(&optical);
        srcwatch_set_optical_scan_state(0);
        srcwatch_get_running_scan_type(&running);
        srcwatch_set_running_scan_type(8);
    }).join();
    EXPECT_TRUE(optical);
    EXPECT_EQ(running, 7);
    srcwatch_is_optical_scan(&optical);
    srcwatch_get_running_scan_type(&running);
    EXPECT_FALSE(optical);
    EXPECT_EQ(running, 8);
}

TEST_F(ScanState, DoesNotCrashWithoutAnOutput)
{
    EXPECT_EQ(srcwatch_is_optical_scan(nullptr), 0);
    EXPECT_EQ(srcwatch_get_running_scan_type(nullptr), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Progress

constexpr int kUntouched = 4321;

struct Answer {
    int result = -99;
    int percent = kUntouched;
};

// All stored values that mean something, on a TV with that number of inputs.
std::map<int, Answer> MeaningfulValues(int hdmiCount)
{
    std::map<int, Answer> values;
    for (int port = 1; port <= hdmiCount; ++port) values[port] = {port, 90};
    for (int percent = 0; percent <= 90; ++percent) values[100 + percent] = {0, percent};
    values[0] = {0, 0};
    for (const int result : {-1, -2, -3}) values[result] = {result, kUntouched};
    return values;
}

class ScanProgress : public PlatformTest {
protected:
    // The answer to the stored value, log lines included.
    void ExpectAnswer(int stored, const Answer& expected)
    {
        std::vector<std::string> sequence = {std::string("get ") + kProgressKey};
        if (expected.result == -99) {
            sequence.push_back(Logged("srcwatch_get_oobe_stb_scan_progress",
                                      "Undefined progress value: " + std::to_string(stored) + "\n"));
        }
        platform.settings.numbers[kProgressKey] = stored;
        platform.sequence.clear();
        int progress = kUntouched;

        EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), expected.result) << stored;

        EXPECT_EQ(progress, expected.percent) << stored;
        EXPECT_EQ(platform.sequence, sequence) << stored;
    }
};

TEST_F(ScanProgress, RunsWithTheExpectedNumberOfInputs) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

TEST_F(ScanProgress, TranslatesEveryStoredValue)
{
    const std::map<int, Answer> meaningful = MeaningfulValues(ExpectedHdmiCount());
    std::vector<int> stored = {INT_MIN, INT_MIN + 1, INT_MIN + 99, INT_MIN + 100, INT_MAX - 1, INT_MAX};
    for (int value = -200; value <= 300; ++value) stored.push_back(value);

    for (const int value : stored) {
        const auto found = meaningful.find(value);
        ExpectAnswer(value, found != meaningful.end() ? found->second : Answer());
    }
}

TEST_F(ScanProgress, IsThePercentageWhileTheScanRuns)
{
    ExpectAnswer(100, {0, 0});
    ExpectAnswer(101, {0, 1});
    ExpectAnswer(145, {0, 45});
    ExpectAnswer(190, {0, 90});
}

TEST_F(ScanProgress, IsUndefinedBesideThePercentages)
{
    ExpectAnswer(201, {-99, kUntouched});
    if (HDMI_PORT_COUNT < 191) {
        ExpectAnswer(191, {-99, kUntouched});
        ExpectAnswer(200, {-99, kUntouched});
    }
    if (HDMI_PORT_COUNT < 99) ExpectAnswer(99, {-99, kUntouched});
}

TEST_F(ScanProgress, IsZeroBeforeAnyScan) { ExpectAnswer(0, {0, 0}); }

TEST_F(ScanProgress, PassesTheServicesResultsWithoutAPercentage)
{
    ExpectAnswer(-1, {-1, kUntouched});
    ExpectAnswer(-2, {-2, kUntouched});
    ExpectAnswer(-3, {-3, kUntouched});
    ExpectAnswer(-4, {-99, kUntouched});
    ExpectAnswer(-10, {-99, kUntouched});
    ExpectAnswer(-99, {-99, kUntouched});
}

TEST_F(ScanProgress, IsTheFinalStageUpToTheNumberOfInputs)
{
    for (int stored = 1; stored < 100; ++stored) {
        ExpectAnswer(stored, stored <= HDMI_PORT_COUNT ? Answer{stored, 90} : Answer{-99, kUntouched});
    }
}

TEST_F(ScanProgress, IsAPercentageRatherThanAnInputFromAHundredOn)
{
    if (HDMI_PORT_COUNT < 110) GTEST_SKIP() << "needs a TV with very many inputs";
    ExpectAnswer(99, {99, 90});
    ExpectAnswer(100, {0, 0});
    ExpectAnswer(110, {0, 10});
}

TEST_F(ScanProgress, IsTheFinalStageAgainAboveThePercentages)
{
    if (HDMI_PORT_COUNT < 200) GTEST_SKIP() << "needs a TV with even more inputs";
    ExpectAnswer(190, {0, 90});
    ExpectAnswer(191, {191, 90});
    ExpectAnswer(200, {200, 90});
}

TEST_F(ScanProgress, IsUnreadableWhenItsKeyIs)
{
    int progress = kUntouched;

    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), -10);

    EXPECT_EQ(progress, kUntouched);
    EXPECT_THAT(platform.sequence, ElementsAre(std::string("get ") + kProgressKey,
                                               Logged("srcwatch_get_oobe_stb_scan_progress",
                                                      "Vconf get fail: memory/srcwatch-service/scan_result\n")));
    EXPECT_EQ(platform.log.at(0).format, "%s: %s(%d) > <%ld> Vconf get fail: %s\n\n");
}

TEST_F(ScanProgress, IsUnreadableAlsoWhenTheFailedReadLeftAValue)
{
    platform.settings.failingNumbers[kProgressKey] = 150;
    int progress = kUntouched;

    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), -10);

    EXPECT_EQ(progress, kUntouched);
}

TEST_F(ScanProgress, DoesNotCrashWithoutAnOutput)
{
    for (const int stored : {100, 150, 190, 191, 0, 1, 4, 8, -1, -3, -4}) {
        int progress = 0;
        platform.settings.numbers[kProgressKey] = stored;
        const int expected = srcwatch_get_oobe_stb_scan_progress(&progress);

        EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(nullptr), expected) << stored;
    }
    platform.settings.numbers.clear();
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(nullptr), -10);
}

TEST_F(ScanProgress, WritesNothingIntoTheStore)
{
    ExpectAnswer(150, {0, 50});

    EXPECT_EQ(platform.settings.numbers, (srcwatch_test::ByName<int>{{kProgressKey, 150}}));
}

}  // namespace
