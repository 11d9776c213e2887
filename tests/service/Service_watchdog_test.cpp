// SPDX-License-Identifier: Apache-2.0
//
// The service under a stand-in for systemd, with the limits that the unit states: what hangs is ended and started
// again, what works is left alone.
#include "Intruder.h"
#include "SupervisedTest.h"
#include "srcwatch-host.h"

#include <csignal>
#include <sstream>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// The value of a line of the unit.
std::string UnitValue(const std::string& name)
{
    std::istringstream unit(ReadFile(SRCWATCH_UNIT_FILE));
    for (std::string line; std::getline(unit, line);) {
        if (line.rfind(name + "=", 0) == 0) return line.substr(name.size() + 1);
    }
    ADD_FAILURE() << "the unit has no " << name;
    return "";
}

milliseconds UnitInterval() { return seconds(std::stoi(UnitValue("WatchdogSec"))); }

// So that the tests of a hang take seconds.
constexpr int kTimesFaster = 5;

class SupervisedService : public SupervisedTest {};

TEST(Unit, StartsAgainWhatHangsWithinHalfAMinute)
{
    EXPECT_LT(UnitInterval(), seconds(25));  // the restart has the rest
    EXPECT_EQ(UnitValue("Restart"), "on-failure");
    EXPECT_EQ(UnitValue("RestartSec"), "1s");
    EXPECT_EQ(UnitValue("Type"), "notify");
}

TEST_F(SupervisedService, IsEndedInAHangAndHasItsRecordsAfterwards)
{
    ASSERT_NO_FATAL_FAILURE(Supervise(UnitInterval() / kTimesFaster));
    EXPECT_EQ(m_status, "STATUS=Serving 4 HDMI input(s)");
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);

    m_service->Signal(SIGSTOP);
    ASSERT_TRUE(RunUntilSupervised([this] { return m_restarts == 1; }));

    LinkCapture("hdmi2", "darvex-dvd");
    ASSERT_TRUE(RunUntilSupervised([this] { return CountOf(kDetected) == 2; }));
    EXPECT_EQ(StoredRecord(0), before);
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_EQ(m_restarts, 1);
}

TEST_F(SupervisedService, IsLeftAloneDuringAScanOfSeveralIntervals)
{
    ASSERT_NO_FATAL_FAILURE(Supervise(UnitInterval() / kTimesFaster, {"--scan-step-ms", "2500"}));

    srcwatch_oobe_scan_start();

    EXPECT_TRUE(RunUntilSupervised([this] { return CountOf(kFinished) == 1; }, 10 * kDeadline));
    EXPECT_EQ(m_restarts, 0);
}

// A store that another process keeps locked holds the service up for a second now and then, which does not get faster
// here.
TEST_F(SupervisedService, IsLeftAloneWhileNothingCanBeWritten)
{
    const milliseconds interval = UnitInterval() * 3 / 5;
    ASSERT_NO_FATAL_FAILURE(Supervise(interval));
    Intruder durable{std::string(srcwatch_host_state_dir()) + "/settings.db"};
    Intruder fleeting{std::string(srcwatch_host_run_dir()) + "/volatile.db"};
    ASSERT_TRUE(durable.Run("BEGIN IMMEDIATE"));
    ASSERT_TRUE(fleeting.Run("BEGIN IMMEDIATE"));

    for (const char* input : {"hdmi1", "hdmi2", "hdmi3", "hdmi4"}) LinkCapture(input, "tivaro-one");
    LinkCapture("optical", "ambrelle-soundbar");
    static_cast<void>(RunUntilSupervised([this] { return m_restarts > 0; }, 2 * interval));

    EXPECT_EQ(m_restarts, 0);
    ASSERT_TRUE(durable.Run("COMMIT"));
    ASSERT_TRUE(fleeting.Run("COMMIT"));
    EXPECT_TRUE(RunUntilSupervised([this] { return CountOf(kDetected) == 5; }));
}

}  // namespace
}  // namespace srcwatch_test
