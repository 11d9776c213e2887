// SPDX-License-Identifier: Apache-2.0
#include "QDInfoCommon.h"

#include "Pattern.h"
#include "PlatformTest.h"
#include "QDInfoServerData.h"

#include <climits>
#include <ctime>
#include <fstream>
#include <optional>
#include <type_traits>

// What gettimeofday() answers while it is set; the clock otherwise. This definition wins over the C library's.
static std::optional<timeval> g_fixedTime;

extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    if (g_fixedTime) {
        *now = *g_fixedTime;
        return 0;
    }
    timespec clock{};
    clock_gettime(CLOCK_REALTIME, &clock);
    now->tv_sec = clock.tv_sec;
    now->tv_usec = clock.tv_nsec / 1000;
    return 0;
}

namespace {

using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::LoadSequence;
using srcwatch_test::LogLine;
using srcwatch_test::PlatformTest;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// Constants

struct Constant {
    const char* name;
    const std::string& value;
    const char* expected;
};

const Constant kConstants[] = {
    {"VCONF_SOURCE_ACTIVITY", VCONF_SOURCE_ACTIVITY, "db/srcwatch-service/source-activity"},
    {"VCONF_OPTICAL_SOURCE_ACTIVITY", VCONF_OPTICAL_SOURCE_ACTIVITY, "db/srcwatch-service/optical-source-activity"},
    {"VCONF_SOURCE_ACTIVITY_CHANGED", VCONF_SOURCE_ACTIVITY_CHANGED,
     "memory/srcwatch-service/source-activity-chagned"},  // sic
    {"VCONF_SOURCE_ACTIVITY_INDEX", VCONF_SOURCE_ACTIVITY_INDEX, "memory/srcwatch-service/source-activity-index"},
    {"VCONF_PORT_CHANGE_FLAG_1", VCONF_PORT_CHANGE_FLAG_1, "db/srcwatch-service/port1_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_2", VCONF_PORT_CHANGE_FLAG_2, "db/srcwatch-service/port2_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_3", VCONF_PORT_CHANGE_FLAG_3, "db/srcwatch-service/port3_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_4", VCONF_PORT_CHANGE_FLAG_4, "db/srcwatch-service/port4_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_5", VCONF_PORT_CHANGE_FLAG_5, "db/srcwatch-service/port5_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_6", VCONF_PORT_CHANGE_FLAG_6, "db/srcwatch-service/port6_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_7", VCONF_PORT_CHANGE_FLAG_7, "db/srcwatch-service/port7_change_flag"},
    {"VCONF_PORT_CHANGE_FLAG_8", VCONF_PORT_CHANGE_FLAG_8, "db/srcwatch-service/port8_change_flag"},
    {"VCONF_PROVIDER_DATA", VCONF_PROVIDER_DATA, "memory/srcwatch-service/provider_data"},
    {"VCONF_AUTO_DETECTION_COMPLETE", VCONF_AUTO_DETECTION_COMPLETE, "memory/srcwatch-service/auto_detection_complete"},
    {"VCONF_SCAN_PROGRESS", VCONF_SCAN_PROGRESS, "memory/srcwatch-service/scan_progress"},
    {"VCONF_SCAN_RESULT", VCONF_SCAN_RESULT, "memory/srcwatch-service/scan_result"},
    {"VCONF_WIZARD_MODE", VCONF_WIZARD_MODE, "memory/wizard/wizard_mode"},
    {"VCONF_MVPD_AUTO_DETECT_SUPPORT", VCONF_MVPD_AUTO_DETECT_SUPPORT,
     "memory/srcwatch-service/mvpd_auto_detect_support"},
    {"VCONF_HP_AUTO_DETECT_SUPPORT", VCONF_HP_AUTO_DETECT_SUPPORT, "memory/srcwatch-service/hp_auto_detect_support"},
    {"VCONF_HOTPLUG_PROGRESS", VCONF_HOTPLUG_PROGRESS, "memory/srcwatch-service/hotplug_progress"},
    {"VCONF_TWC_SEQ_ID", VCONF_TWC_SEQ_ID, "memory/srcwatch-service/twc_seq_id"},
    {"VCONF_TWC_FRAME_COUNT", VCONF_TWC_FRAME_COUNT, "memory/srcwatch-service/twc_frame_count"},
    {"VCONF_TWC_STATUS_INTERNAL", VCONF_TWC_STATUS_INTERNAL, "memory/srcwatch-service/twc_status_internal"},
    {"VCONF_SPD_UNIQUE_DATA_2", VCONF_SPD_UNIQUE_DATA_2, "memory/srcwatch-service/spd_unique_data_2"},
    {"VCONF_SPD_UNIQUE_DATA_3", VCONF_SPD_UNIQUE_DATA_3, "memory/srcwatch-service/spd_unique_data_3"},
    {"VCONF_SPD_AKSV_1", VCONF_SPD_AKSV_1, "db/srcwatch-service/spd_aksv_1"},
    {"VCONF_PORT_DEVICE_INFO", VCONF_PORT_DEVICE_INFO, "db/srcwatch-service/port_device_info"},
    {"STB_TOP_MANUFACTURER_PROFILE_PATH", STB_TOP_MANUFACTURER_PROFILE_PATH,
     "/usr/share/mirelda/data/QDInfoSTBTopManufacturerProfile.dat"},
    {"CMD_CONF_PATH", CMD_CONF_PATH, "/usr/share/mirelda/cmd.conf"},
    {"QDINFO_BUS_NAME", QDINFO_BUS_NAME, "qdinfo"},
    {"QDINFO_CHANNEL_NAME", QDINFO_CHANNEL_NAME, "qdinfo"},
    {"QDINFO_TAG", QDINFO_TAG, "QDINFO"},
    {"QDINFO_FIELD_SEPARATOR", QDINFO_FIELD_SEPARATOR, "\t"},
    {"QDINFO_EMPTY_FIELD", QDINFO_EMPTY_FIELD, "UNKNOWN"},
    {"QDINFO_SERVICE_NAME", QDINFO_SERVICE_NAME, "org.nalto.srcwatch-service.service"},
};

static_assert(std::size(kConstants) == 35);
static_assert(std::is_same_v<decltype(VCONF_SOURCE_ACTIVITY), const std::string>);
static_assert(std::is_same_v<decltype(QDINFO_SERVICE_NAME), const std::string>);
static_assert(std::is_same_v<decltype(HDMI_PORT_COUNT), const int>);
static_assert(OPTICAL_PORT == 99);

TEST(Constants, HaveTheirValues)
{
    for (const Constant& constant : kConstants) EXPECT_EQ(constant.value, constant.expected) << constant.name;
}

// A file's constants are constructed in the order of their declarations, and the HDMI count before them all.
TEST(Constants, AreDeclaredInOrderAfterTheHdmiCount)
{
    std::vector<std::string> expected = {"HDMI_PORT_COUNT"};
    for (const Constant& constant : kConstants) expected.emplace_back(constant.name);
    std::ifstream header(SRCWATCH_COMMON_HEADER);
    std::vector<std::string> declared;

    for (std::string line; std::getline(header, line);) {
        const auto found = srcwatch_test::FindPattern("^const (std::string|int) ([A-Z0-9_]+) =", line);
        if (!found.empty() && found[2] != "OPTICAL_PORT") declared.push_back(found[2]);
    }

    EXPECT_EQ(declared, expected);
}

// ---------------------------------------------------------------------------------------------------------------------
// Log lines

class LogFormat : public PlatformTest {
protected:
    LogFormat() { ownFiles = {"QDInfoCommon_test.cpp"}; }
    void TearDown() override { g_fixedTime.reset(); }

    const LogLine& Line() const
    {
        EXPECT_EQ(platform.log.size(), 1U);
        return platform.log.at(0);
    }

    long StampAt(time_t seconds, suseconds_t microseconds)
    {
        g_fixedTime = timeval{seconds, microseconds};
        QDLOG(QDLOG_DEBUG, "stamp");
        return platform.log.back().stamp;
    }
};

std::uint32_t Milliseconds()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<std::uint32_t>(static_cast<long long>(now.tv_sec) * 1000 + now.tv_usec / 1000);
}

int LogSample()
{
    QDLOG(QDLOG_ERROR, "sample %d of %s", 7, "many");
    return __LINE__ - 1;
}

struct Speaker {
    static int Speak(int priority)
    {
        QDLOG(priority, "spoken");
        return __LINE__ - 1;
    }
};

TEST_F(LogFormat, CarriesIdTagPrefixAndMessageInOneFormat)
{
    LogSample();

    EXPECT_EQ(Line().id, 0);
    EXPECT_EQ(Line().tag, "qdinfo");
    EXPECT_EQ(Line().format, "%s: %s(%d) > <%ld> sample %d of %s\n");
    EXPECT_EQ(Line().message, "sample 7 of many");
}

TEST_F(LogFormat, CarriesTheFilesBaseNameTheFunctionAndTheLine)
{
    const int line = LogSample();

    EXPECT_EQ(Line().file, "QDInfoCommon_test.cpp");
    EXPECT_EQ(Line().function, "LogSample");
    EXPECT_EQ(Line().line, line);
}

TEST_F(LogFormat, NamesAMemberFunctionWithoutItsClass)
{
    const int line = Speaker::Speak(QDLOG_DEBUG);

    EXPECT_EQ(Line().function, "Speak");
    EXPECT_EQ(Line().line, line);
}

TEST_F(LogFormat, CarriesThePriorityOfTheCall)
{
    Speaker::Speak(3);
    Speaker::Speak(6);

    EXPECT_EQ(platform.log.at(0).priority, QDLOG_DEBUG);
    EXPECT_EQ(platform.log.at(1).priority, QDLOG_ERROR);
}

TEST_F(LogFormat, EvaluatesItsArgumentsOnce)
{
    int count = 0;
    QDLOG(QDLOG_DEBUG, "count %d", ++count);

    EXPECT_EQ(Line().message, "count 1");
    EXPECT_EQ(count, 1);
}

TEST_F(LogFormat, TakesUpTo15Arguments)
{
    QDLOG(QDLOG_DEBUG, "none");
    QDLOG(QDLOG_DEBUG, "%d%d%d%d%d%d%d%d%d%d%d%d%d%d%d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);

    EXPECT_EQ(platform.log.at(0).message, "none");
    EXPECT_EQ(platform.log.at(1).message, "123456789101112131415");
}

TEST_F(LogFormat, AddsItsOwnNewlineToThatOfTheMessage)
{
    QDLOG(QDLOG_DEBUG, "two\n");

    EXPECT_EQ(Line().format, "%s: %s(%d) > <%ld> two\n\n");
}

TEST_F(LogFormat, StampsTheTimeOfTheCall)
{
    const std::uint32_t before = Milliseconds();
    LogSample();
    const std::uint32_t after = Milliseconds();

    const auto stamp = static_cast<std::uint32_t>(Line().stamp);
    EXPECT_LE(stamp - before, after - before);
}

TEST_F(LogFormat, StampsMillisecondsThatWrapAroundIn32Bits)
{
    EXPECT_EQ(StampAt(0, 0), 0);
    EXPECT_EQ(StampAt(0, 999), 0);
    EXPECT_EQ(StampAt(1, 1999), 1001);
    EXPECT_EQ(StampAt(2147483, 647999), INT32_MAX);
    EXPECT_EQ(StampAt(2147483, 648000), INT32_MIN);
    EXPECT_EQ(StampAt(4294967, 295999), -1);
    EXPECT_EQ(StampAt(4294967, 296000), 0);
    EXPECT_EQ(StampAt(1700000000, 0), -807049216);
    EXPECT_EQ(StampAt(INT32_MAX, 999999), -1);
}

// The library has its own copy of the code of the stamp.
TEST_F(LogFormat, StampsTheLinesOfTheLibraryToo)
{
    g_fixedTime = timeval{1700000001, 999998};

    srcwatch_set_running_scan_type(0);

    EXPECT_EQ(Line().stamp, -807049216 + 1999);
    EXPECT_EQ(Line().id, 0);
    EXPECT_EQ(Line().tag, "qdinfo");
    EXPECT_EQ(Line().file, "QDInfo.cpp");
}

TEST(BaseName, IsThePartAfterTheLastSlash)
{
    EXPECT_STREQ(qdinfo::detail::BaseName("/a/b.d/c.cpp"), "c.cpp");
    EXPECT_STREQ(qdinfo::detail::BaseName("c.cpp"), "c.cpp");
    EXPECT_STREQ(qdinfo::detail::BaseName("a/"), "");
    EXPECT_STREQ(qdinfo::detail::BaseName(""), "");
}

// ---------------------------------------------------------------------------------------------------------------------
// Number of HDMI inputs

constexpr char kQueryFailed[] = "E QDInfo.cpp get_hdmi_count: System Info get fails (SYSTEM_INFO_KEY_NUM_OF_HDMI)";
constexpr char kNoCount[] = "E QDInfo.cpp get_hdmi_count: HDMI count < 0";

struct HdmiAnswer {
    srcwatch_test::NumberAnswer answer;
    int count;
    std::vector<std::string> sequence;
};

const std::vector<std::string> kSilent = {"count 122"};
const std::vector<std::string> kWithoutCount = {"count 122", kNoCount};
const std::vector<std::string> kFailed = {"count 122", kQueryFailed, kNoCount};

const HdmiAnswer kHdmiAnswers[] = {
    {{0, INT_MIN}, -1, kWithoutCount},
    {{0, -5}, -1, kWithoutCount},
    {{0, -1}, -1, kWithoutCount},
    {{0, 0}, -1, kWithoutCount},
    {{0, 1}, 1, kSilent},
    {{0, 4}, 4, kSilent},
    {{0, 8}, 8, kSilent},
    {{0, 9}, 9, kSilent},
    {{0, INT_MAX}, INT_MAX, kSilent},
    {{-1, 7}, -1, kFailed},
};

class HdmiCount : public PlatformTest, public testing::WithParamInterface<HdmiAnswer> {};

TEST_P(HdmiCount, IsAskedForWithItsLogLines)
{
    platform.hdmiCount = GetParam().answer;

    EXPECT_EQ(get_hdmi_count(), GetParam().count);

    EXPECT_EQ(platform.sequence, GetParam().sequence);
    for (const LogLine& line : platform.log) EXPECT_EQ(line.format, "%s: %s(%d) > <%ld> " + line.message + "\n");
}

INSTANTIATE_TEST_SUITE_P(Answers, HdmiCount, testing::ValuesIn(kHdmiAnswers));

TEST_F(HdmiCount, IsAskedForAtEachCall)
{
    platform.hdmiCount = {0, 2};
    const int before = get_hdmi_count();
    platform.hdmiCount = {0, 6};

    EXPECT_EQ(before, 2);
    EXPECT_EQ(get_hdmi_count(), 6);
    EXPECT_THAT(platform.sequence, ElementsAre("count 122", "count 122"));
}

TEST_F(HdmiCount, IsFixedWhenTheProgramStarts)
{
    const int atStart = HDMI_PORT_COUNT;
    platform.hdmiCount = {0, 6};

    EXPECT_EQ(HDMI_PORT_COUNT, atStart);
    EXPECT_THAT(platform.sequence, IsEmpty());
}

// ---------------------------------------------------------------------------------------------------------------------
// Loading

class Loading : public PlatformTest {};

TEST_F(Loading, FixesTheHdmiCount) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

// Each source file of the library, and this one, has its own count; nothing else happens.
TEST_F(Loading, AsksOnlyForTheHdmiCountOncePerSourceFile)
{
    const bool fails = srcwatch_test::HdmiCountOfEnvironment().result != 0;
    const std::vector<std::string>& once = fails ? kFailed : ExpectedHdmiCount() > 0 ? kSilent : kWithoutCount;
    std::vector<std::string> expected;
    for (int file = 0; file < SRCWATCH_LIBRARY_SOURCES + 1; ++file) {
        expected.insert(expected.end(), once.begin(), once.end());
    }

    EXPECT_THAT(LoadSequence(), ElementsAreArray(expected));
}

}  // namespace
