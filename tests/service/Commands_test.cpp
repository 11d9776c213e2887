// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include "QDInfoNames.h"
#include "RoomTest.h"
#include "srcwatch-protocol.h"

#include <gmock/gmock.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;

constexpr int kScanStart = 2001;
constexpr int kScanStop = 2002;
constexpr int kTwcStart = 2010;
constexpr int kTwcEnd = 2020;
constexpr int kMbrDownloadFinished = 3001;
constexpr int kOpticalStart = 5001;
constexpr int kOpticalStop = 5002;

constexpr const char* kScanResult = qdinfo::kScanResultKey;

class CommandsTest : public RoomTest {
protected:
    int m_profileLoads = 0;
    srcwatch::Commands m_commands{
        10, m_ports, m_records, m_detector, m_announcer, m_settings, [this] { ++m_profileLoads; }};
};

TEST_F(CommandsTest, WalkAllInputs)
{
    StartDetector();

    m_commands.Handle(kScanStart);
    ASSERT_TRUE(WaitForAnnouncements(6));

    EXPECT_THAT(m_announcer.events, ElementsAre("progress 0 0", "progress 22 0", "progress 45 1", "progress 67 2",
                                                "progress 90 3", "finished -3 0 0"));
    EXPECT_EQ(NumberSetting(kScanResult), SRCWATCH_SCAN_NOTHING_FOUND);
    EXPECT_EQ(m_records.Get(3).scanState, SRCWATCH_SCAN_EMPTY);
}

TEST_F(CommandsTest, StopAScanThatRuns)
{
    m_commands.StopScan();
    EXPECT_THAT(m_announcer.events, ElementsAre());
    m_commands.Handle(kScanStart);

    m_commands.StopScan();
    m_commands.Handle(kScanStop);  // there is nothing to stop any more

    EXPECT_THAT(m_announcer.events, ElementsAre("progress 0 0", "finished -1 0 0"));
    EXPECT_EQ(m_commands.FirstSetupScan().StateText(), std::string("stopped"));
    m_commands.Reset();
    EXPECT_EQ(NumberSetting(kScanResult), 0);
}

TEST_F(CommandsTest, ScanTheOpticalSource)
{
    StartDetector();
    m_commands.Handle(kOpticalStop);
    m_commands.Handle(kOpticalStart);
    m_commands.Handle(kOpticalStop);
    EXPECT_THAT(m_announcer.events, ElementsAre("progress 0 99", "finished -1 0 99"));
    m_announcer.events.clear();

    m_commands.Handle(kOpticalStart);
    ASSERT_TRUE(WaitForAnnouncements(2));

    EXPECT_THAT(m_announcer.events, ElementsAre("progress 0 99", "finished -3 0 99"));
}

TEST_F(CommandsTest, CheckTheSetTopBoxOfAPort)
{
    static_cast<void>(m_records.Set(1, RecordOfType(SRCWATCH_DEVICE_SET_TOP_BOX)));

    m_commands.Handle(kTwcStart + 1);
    EXPECT_EQ(srcwatch_is_TWC(), SRCWATCH_TWC_WAITING);
    EXPECT_EQ(m_commands.TwcPort(), 1);
    m_commands.Handle(kTwcEnd + 1);
    EXPECT_EQ(srcwatch_is_TWC(), -1);
    m_commands.Handle(kTwcStart + 7);  // the TV has four inputs
    EXPECT_EQ(srcwatch_is_TWC(), SRCWATCH_TWC_NO_SET_TOP_BOX);
}

TEST_F(CommandsTest, LoadProfilesWhenTheDownloadHasFinished)
{
    m_commands.Handle(kMbrDownloadFinished);

    EXPECT_EQ(m_profileLoads, 1);
    EXPECT_EQ(NumberSetting("memory/mbr/mbr-mode"), 1);
}

TEST_F(CommandsTest, IgnoreWhatTheyDoNotKnow)
{
    for (const int command : {0, -1, 2018, 2028, 4711}) m_commands.Handle(command);

    EXPECT_THAT(m_announcer.events, ElementsAre());
    EXPECT_EQ(m_commands.TwcPort(), -1);
}

}  // namespace
}  // namespace srcwatch_test
