// SPDX-License-Identifier: Apache-2.0
#include "CecInputs.h"

#include "CecTest.h"
#include "Waiting.h"

#include <gmock/gmock.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Questions.
constexpr int kPoll = -1;
constexpr int kGiveOsdName = 0x46;

constexpr unsigned kVeryLong = 60000;  // a round that does not end during a test

TEST_F(CecTest, DetectsADeviceThatIsThereAtTheStart)
{
    m_bus.Plug(4, kPlayer);

    Start();

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0"));
    const srcwatch::Evidence evidence = m_inputs->ReadEvidence(0);
    ASSERT_NE(evidence.CecDeviceOnPort(), nullptr);
    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "Kuvo");
    EXPECT_EQ(evidence.CecDeviceOnPort()->vendorId, 0x00aabbU);
    EXPECT_EQ(evidence.CecDeviceOnPort()->primaryDeviceType, 4);
    EXPECT_EQ(evidence.CecDeviceOnPort()->version, 5);
    EXPECT_TRUE(evidence.isComplete);
    EXPECT_THAT(evidence.AllRemarks(), IsEmpty());
}

TEST_F(CecTest, ReportsADeviceThatSaysNothingNewOnlyOnce)
{
    m_bus.Plug(4, kPlayer);
    m_bus.Plug(3, kTuner);
    Start();

    ASSERT_TRUE(WaitForFullRounds(3));

    EXPECT_THAT(m_reports, testing::UnorderedElementsAre("plugged 0", "settled 0", "plugged 1", "settled 1"));
    EXPECT_GE(m_bus.SentCount(4, kGiveOsdName), 3);
}

TEST_F(CecTest, FindsALaterDeviceByPolling)
{
    m_bus.mayMonitor = false;
    Start();
    ASSERT_TRUE(WaitForFullRounds(1));

    m_bus.Plug(4, kPlayer);

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0"));
    EXPECT_TRUE(WaitForLog("receives answers only"));
}

TEST_F(CecTest, HearsALaterDeviceAnnounceItself)
{
    m_times.round = kVeryLong;
    Start();
    ASSERT_TRUE(WaitForFullRounds(1));

    m_bus.Plug(4, kPlayer);
    m_bus.Say("4f:84:10:00:04");

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "Kuvo");
    EXPECT_TRUE(WaitForLog("receives all messages"));
}

TEST_F(CecTest, TakesADeviceForGoneAfterTwoPolls)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.Unplug(4);
    const int before = m_bus.SentCount(4, kPoll);

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_reports[2], "unplugged 0");
    EXPECT_EQ(m_bus.SentCount(4, kPoll), before + 2);
    EXPECT_FALSE(m_inputs->IsPlugged(0));
}

TEST_F(CecTest, KeepsADeviceThatMissesOnePoll)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    for (int i = 0; i < 3; ++i) {
        m_bus.missedPolls = 1;
        ASSERT_TRUE(RunUntil([&] { return m_bus.missedPolls == 0; }));
        ASSERT_TRUE(WaitForFullRounds(1));
    }

    EXPECT_EQ(m_reports.size(), 2U);
}

TEST_F(CecTest, PollsOnlyKnownDevicesWhereItHearsAll)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForFullRounds(3));

    EXPECT_GT(m_bus.SentCount(4, kPoll), 2 * m_bus.SentCount(5, kPoll));
    EXPECT_EQ(m_bus.SentCount(0, kPoll), 0);
}

TEST_F(CecTest, PollsAllAddressesWhereItHearsOnlyAnswers)
{
    m_bus.mayMonitor = false;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(14, kPoll) == 4; }));

    EXPECT_EQ(m_bus.SentCount(4, kPoll), 4);
    EXPECT_EQ(m_bus.SentCount(0, kPoll), 0);
}

TEST_F(CecTest, DetectsADeviceAgainThatHasANewName)
{
    m_times.round = kVeryLong;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.Say("40:47:4e:65:77");

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_reports[2], "settled 0");
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "New");
}

TEST_F(CecTest, AsksForANewNameWhereItHearsOnlyAnswers)
{
    m_bus.mayMonitor = false;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.Plug(4, {"4f:84:10:00:04", "40:47:4e:65:77"});

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "New");
}

TEST_F(CecTest, IgnoresMessagesThatDoNotDescribeADevice)
{
    m_times.round = kVeryLong;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    for (const char* message : {"40:04", "4f:82:10:00", "40:44:01", "44", "ff:84:10:00:04", "4f:84:10"}) {
        m_bus.Say(message);
    }
    m_bus.Say("40:47:4e:65:77");

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_reports.size(), 3U);
    EXPECT_TRUE(m_inputs->IsPlugged(0));
}

TEST_F(CecTest, FollowsADeviceToAnotherPort)
{
    m_times.round = kVeryLong;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.Plug(4, {"4f:84:30:00:04", "40:47:4b:75:76:6f"});
    m_bus.Say("4f:84:30:00:04");

    ASSERT_TRUE(WaitForReports(5));
    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0", "unplugged 0", "plugged 2", "settled 2"));
}

TEST_F(CecTest, HasTheDevicesBehindAReceiverOnItsPort)
{
    m_bus.Plug(5, {"5f:84:10:00:05", "50:47:41:56:52"});
    m_bus.Plug(4, {"4f:84:11:00:04", "40:47:4b:75:76:6f"});
    Start();
    ASSERT_TRUE(RunUntil([&] { return m_inputs->IsPlugged(0) && !m_inputs->IsSettling(0); }));
    ASSERT_TRUE(WaitForFullRounds(1));

    const srcwatch::Evidence evidence = m_inputs->ReadEvidence(0);
    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "AVR");
    ASSERT_EQ(evidence.CecDevicesBehind().size(), 1U);
    EXPECT_EQ(evidence.CecDevicesBehind()[0].osdName, "Kuvo");
    const std::size_t reports = m_reports.size();

    m_bus.Unplug(4);

    ASSERT_TRUE(WaitForReports(reports + 1));
    EXPECT_EQ(m_reports.back(), "settled 0");
    EXPECT_THAT(m_inputs->ReadEvidence(0).CecDevicesBehind(), IsEmpty());
}

TEST_F(CecTest, TellsOnceOfADeviceThatIsOnNoInput)
{
    m_bus.Plug(4, {"4f:84:ff:ff:04"});
    m_bus.Plug(8, {"8f:84:00:00:04"});
    m_bus.Plug(11, {"bf:84:50:00:04"});
    Start();

    ASSERT_TRUE(WaitForFullRounds(3));

    EXPECT_THAT(m_reports, IsEmpty());
    EXPECT_EQ(LogLinesWith("logical address 4 is on no input of this TV: its physical address is f.f.f.f"), 1);
    EXPECT_EQ(LogLinesWith("logical address 8 is on no input of this TV: its physical address is 0.0.0.0"), 1);
    EXPECT_EQ(LogLinesWith("logical address 11 is on no input of this TV: its physical address is 5.0.0.0"), 1);
}

TEST_F(CecTest, DetectsADeviceThatRefusesQuestions)
{
    m_bus.Plug(4, {"4f:84:10:00:04", "40:00:46:00", "40:00:8c:00", "40:00:9f:00", "40:00:8f:00"});
    Start();
    ASSERT_TRUE(WaitForFullRounds(3));

    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0"));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->featureAborts.size(), 4U);
    EXPECT_EQ(LogLinesWith("logical address 4 does not report: OSD name (refused), vendor id (refused), "
                           "CEC version (refused), power status (refused)"),
              1);
}

TEST_F(CecTest, AsksADeviceAgainThatDoesNotAnswer)
{
    m_bus.Plug(4, {});
    Start();
    ASSERT_TRUE(WaitForFullRounds(3));
    EXPECT_THAT(m_reports, IsEmpty());
    EXPECT_EQ(LogLinesWith("logical address 4 does not report: physical address (no answer), OSD name (no answer)"), 1);

    m_bus.Plug(4, kPlayer);

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "Kuvo");
}

TEST_F(CecTest, LooksAgainWhenMessagesAreLost)
{
    m_times.round = kVeryLong;
    Start();
    ASSERT_TRUE(WaitForFullRounds(1));
    m_bus.Plug(4, kPlayer);

    m_bus.LoseMessages();

    EXPECT_TRUE(WaitForReports(2));
}

TEST_F(CecTest, LooksAgainWhenAPortIsExamined)
{
    m_times.round = kVeryLong;
    Start();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(14, kPoll) == 1; }));
    m_bus.Plug(4, kPlayer);

    for (int port = 0; port < 4; ++port) m_inputs->Refresh(port);

    EXPECT_TRUE(WaitForReports(2));
}

TEST_F(CecTest, DetectsADeviceThatIsSlowToAnswer)
{
    m_times.questions = 30;
    m_times.answer = kVeryLong;
    m_bus.Plug(4, {"4f:84:10:00:04"});
    m_bus.stopsSendingAfter = kGiveOsdName;
    Start();

    ASSERT_TRUE(WaitForReports(2));

    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0"));
    EXPECT_TRUE(m_inputs->IsSettling(0));  // the questions are not over
}

TEST_F(CecTest, DoesNotSettleWhenThatIsCancelled)
{
    m_bus.Plug(4, kPlayer);
    Start(kVeryLong);
    ASSERT_TRUE(WaitForReports(1));
    ASSERT_TRUE(WaitForFullRounds(1));
    EXPECT_TRUE(m_inputs->IsSettling(0));

    m_inputs->CancelSettling(0);

    EXPECT_FALSE(m_inputs->IsSettling(0));
}

}  // namespace
}  // namespace srcwatch_test
