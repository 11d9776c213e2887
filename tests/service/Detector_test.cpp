// SPDX-License-Identifier: Apache-2.0
#include "Detector.h"

#include "CountedStore.h"
#include "RoomTest.h"
#include "UnknownDevices.h"
#include "srcwatch-protocol.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;

class DetectorTest : public RoomTest {
protected:
    void PlugIn(const std::string& input, const std::string& capture)
    {
        LinkCapture(input, capture);
        ASSERT_TRUE(WaitForAnnouncements(2));
    }
};

TEST_F(DetectorTest, ReadsTheStatisticsOnceForAPluggedDevice)
{
    StartDetector();
    TheStoreReads() = {};

    PlugIn("hdmi1", "tivaro-one");

    EXPECT_THAT(m_announcer.events, ElementsAre("connection 0 1", "detected 0 6"));
    EXPECT_EQ(StoredRecord(0)["Changed"], SRCWATCH_CHANGED_NEW);
    auto reads = TheStoreReads().texts;
    --reads[kActivityKey];  // the test's own, just now
    EXPECT_EQ(reads,
              (std::map<std::string, int>{{kActivityKey, 0}, {kStatisticsKey, 1}, {SRCWATCH_UNKNOWN_DEVICES_KEY, 1}}));
}

TEST_F(DetectorTest, KeepsDevicesThatNoProfileMatches)
{
    const auto count = [] {
        return srcwatch::UnknownDevices(TextSetting(SRCWATCH_UNKNOWN_DEVICES_KEY).value_or("")).All().size();
    };
    StartDetector();
    const std::size_t before = count();

    PlugIn("hdmi1", "voltana-vx-home");
    EXPECT_EQ(count(), before);

    LinkCapture("hdmi2", "meruva-tuner");
    LinkCapture("hdmi3", "meruva-tuner");
    ASSERT_TRUE(WaitForAnnouncements(6));
    EXPECT_EQ(count(), before + 1);
}

TEST_F(DetectorTest, ClearsTheRecordOfAnUnpluggedDevice)
{
    StartDetector();
    PlugIn("hdmi1", "tivaro-one");

    std::filesystem::remove(InputPath("hdmi1"));
    ASSERT_TRUE(WaitForAnnouncements(3));

    EXPECT_EQ(m_announcer.events[2], "connection 0 0");
    EXPECT_FALSE(m_records.Get(0).HasDevice());
    EXPECT_FALSE(m_detector.IsPlugged(0));
}

TEST_F(DetectorTest, ClearsAtItsStartWhatIsNotPluggedIn)
{
    static_cast<void>(m_records.Set(2, RecordOfType(6)));

    StartDetector();

    EXPECT_THAT(m_announcer.events, ElementsAre("connection 2 0"));
    EXPECT_FALSE(m_records.Get(2).HasDevice());
}

TEST_F(DetectorTest, ScansAPortAtOnce)
{
    StartDetector();
    EXPECT_FALSE(m_detector.Scan(0));
    EXPECT_EQ(m_records.Get(0).scanState, SRCWATCH_SCAN_EMPTY);
    LinkCapture("hdmi1", "tivaro-one");

    EXPECT_TRUE(m_detector.Scan(0));

    EXPECT_THAT(m_announcer.events, ElementsAre("connection 0 1", "detected 0 6"));
    EXPECT_EQ(m_records.Get(0).scanState, SRCWATCH_SCAN_FOUND);
}

TEST_F(DetectorTest, AnnouncesADeviceAgainOnlyWhenMoreIsKnown)
{
    StartDetector();
    PlugIn("hdmi1", "voltana-vx-home");
    m_detector.DetectAgain();
    EXPECT_EQ(m_announcer.events.size(), 2U);

    m_detector.LoadProfiles({});
    m_detector.DetectAgain();

    EXPECT_EQ(m_announcer.events.size(), 3U);
    EXPECT_EQ(m_records.Get(0).device.providerName, "");
}

TEST_F(DetectorTest, ReportsThatTheInputsAreLost)
{
    StartDetector();

    std::filesystem::remove_all(m_inputs.Path());

    EXPECT_TRUE(RunUntil([&] { return m_inputsLost; }));
}

TEST_F(DetectorTest, ReportsInputsThatAreReplacedAsLost)
{
    const TempDirectory other;
    StartDetector();

    std::filesystem::rename(m_inputs.Path(), other / "inputs");
    std::filesystem::create_directory(m_inputs.Path());

    EXPECT_TRUE(RunUntil([&] { return m_inputsLost; }));
}

TEST_F(DetectorTest, DoesNotStartWithoutInputs)
{
    std::filesystem::remove(m_inputs.Path());

    EXPECT_EQ(m_detector.Start(),
              "the inputs directory " + m_inputs.Path() + " cannot be watched: No such file or directory");
}

TEST_F(DetectorTest, LoadsProfilesWithoutAWorkingDirectory)
{
    const std::filesystem::path before = std::filesystem::current_path();
    const std::filesystem::path gone = std::filesystem::temp_directory_path() / ("gone-" + std::to_string(getpid()));
    std::filesystem::create_directory(gone);
    std::filesystem::current_path(gone);
    std::filesystem::remove(gone);

    EXPECT_NO_THROW(m_detector.LoadProfiles({SRCWATCH_PROFILES_FILE, "relative.json"}));

    std::filesystem::current_path(before);
}

}  // namespace
}  // namespace srcwatch_test
