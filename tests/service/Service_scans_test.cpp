// SPDX-License-Identifier: Apache-2.0
//
// The scans that applications command.
#include "ServiceTest.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <csignal>

#include <gtest/gtest.h>
#include <json/json.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, WritesAndAnnouncesTheOpticalDocument)
{
    StartService();

    Plug("optical", "ambrelle-soundbar");

    EXPECT_EQ(EventsOf(kConnection), (std::vector<Event>{{kConnection, {kOptical, 1, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kDetected),
              (std::vector<Event>{{kDetected, {kOptical, 4, 1}, {"SoundBar 30", "AMBRELLE", ""}}}));
    EXPECT_TRUE(RunUntil([&] { return Saves() == 1; }));
    EXPECT_EQ(StoredRecord(kOptical)["PortNum"].asInt(), kOptical);
    EXPECT_EQ(Query(srcwatch_get_cec_name, kOptical), "SoundBar 30");
    EXPECT_EQ(TextSetting(kActivity), std::nullopt);
}

TEST_F(Service, ScansTheOpticalInputOnCommand)
{
    StartService({"--scan-step-ms", "50"});
    Plug("optical", "ambrelle-soundbar");

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kProgress), (std::vector<Event>{{kProgress, {0, kOptical, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kFinished), (std::vector<Event>{{kFinished, {0, 1, kOptical}, kNoTexts}}));
    EXPECT_EQ(CountOf(kDetected), 2U);
    int state = 0;
    EXPECT_EQ(srcwatch_get_oobe_scan_state(kOptical, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_FOUND);
}

TEST_F(Service, StopsAnOpticalScan)
{
    StartService({"--scan-step-ms", "5000"});

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kProgress, 1));
    srcwatch_optical_scan_stop();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-1, 0, kOptical}));
}

TEST_F(Service, FindsNothingOnAnOpticalInputWithoutADevice)
{
    StartService({"--scan-step-ms", "20"});

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-3, 0, kOptical}));
}

// Collects every value of the progress key.
class ScanService : public Service {
protected:
    ScanService()
        : m_watch(srcwatch_host_watch_setting(
              kScanResult.c_str(),
              [](const char*, const srcwatch_host_value* value, void* self) {
                  if (value != nullptr) static_cast<ScanService*>(self)->m_values.push_back(value->number);
              },
              this))
    {
    }
    ~ScanService() override { srcwatch_host_unwatch_setting(m_watch); }

    bool WaitForValue(int value)
    {
        return RunUntil([&] { return !m_values.empty() && m_values.back() == value; });
    }

    std::vector<int> m_values;

private:
    unsigned m_watch;
};

TEST_F(ScanService, WalksAllInputsAndShowsItsProgress)
{
    LinkCapture("hdmi1", "tivaro-one");
    LinkCapture("hdmi3", "marrowic-desk");
    StartService({"--scan-step-ms", "50"});
    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    ASSERT_TRUE(WaitForValue(0));
    m_values.clear();

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));
    ASSERT_TRUE(WaitForValue(0));

    EXPECT_EQ(m_values, (std::vector<int>{100, 122, 145, 167, 190, 2, 0}));
    EXPECT_EQ(EventsOf(kProgress), (std::vector<Event>{{kProgress, {0, 0, 0}, kNoTexts},
                                                       {kProgress, {22, 0, 0}, kNoTexts},
                                                       {kProgress, {45, 1, 0}, kNoTexts},
                                                       {kProgress, {67, 2, 0}, kNoTexts},
                                                       {kProgress, {90, 3, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kFinished), (std::vector<Event>{{kFinished, {0, 2, 0}, kNoTexts}}));
    EXPECT_EQ(CountOf(kDetected), 4U);
}

TEST_F(ScanService, RecordsTheScanStateOfEachPort)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "20"});

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    int state = -1;
    EXPECT_EQ(srcwatch_get_oobe_scan_state(0, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_FOUND);
    EXPECT_EQ(srcwatch_get_oobe_scan_state(1, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_EMPTY);
}

TEST_F(ScanService, IsReadByTheLibraryAtEveryStage)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "300"});
    int progress = -1;
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 0);

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(145));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 45);
    ASSERT_TRUE(WaitForValue(1));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 1);
    EXPECT_EQ(progress, 90);
    ASSERT_TRUE(WaitForValue(0));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 0);
}

TEST_F(ScanService, ReportsThatItFoundNothing)
{
    StartService({"--scan-step-ms", "20"});

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    int progress = 7;
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), -3);
    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-3, 0, 0}));
}

TEST_F(ScanService, CanBeStoppedAndResumedWhereItWas)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "150"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(145));

    srcwatch_oobe_scan_stop();
    ASSERT_TRUE(WaitForValue(-1));
    ASSERT_TRUE(WaitForEvents(kFinished, 1));
    EXPECT_EQ(EventsOf(kFinished).back().args, (std::vector<int>{-1, 1, 0}));
    RunFor(std::chrono::milliseconds(400));
    EXPECT_EQ(m_values.back(), -1);
    m_values.clear();
    srcwatch_oobe_scan_resume();
    ASSERT_TRUE(WaitForEvents(kFinished, 2));
    ASSERT_TRUE(WaitForValue(0));

    EXPECT_EQ(m_values, (std::vector<int>{145, 167, 190, 1, 0}));
    EXPECT_EQ(EventsOf(kFinished).back().args, (std::vector<int>{0, 1, 0}));
}

TEST_F(ScanService, ExecutesTheSameCommandTwice)
{
    StartService({"--scan-step-ms", "100"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(122));
    m_values.clear();

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(m_values, (std::vector<int>{100, 122, 145, 167, 190, -3}));
}

TEST_F(ScanService, IgnoresStopAndResumeWithoutAScan)
{
    StartService();

    srcwatch_oobe_scan_stop();
    srcwatch_oobe_scan_resume();
    srcwatch_optical_scan_stop();
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("no optical scan to stop") == 1; }));

    EXPECT_EQ(LogLinesWith("no scan to stop"), 1);
    EXPECT_EQ(LogLinesWith("no stopped scan to resume"), 1);
    EXPECT_EQ(NumberSetting(kScanResult), 0);
}

TEST_F(ScanService, ShowsAScanThatTheServiceLeavesAsStopped)
{
    StartService({"--scan-step-ms", "5000"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(100));

    EXPECT_EQ(StopService(SIGTERM), 0);

    EXPECT_EQ(NumberSetting(kScanResult), -1);
}

TEST_F(ScanService, ShowsNoScanAfterARestart)
{
    StartService({"--scan-step-ms", "5000"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(100));
    StopService(SIGKILL);

    StartService();

    EXPECT_EQ(NumberSetting(kScanResult), 0);
}

}  // namespace
}  // namespace srcwatch_test
