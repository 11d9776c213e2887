// SPDX-License-Identifier: Apache-2.0
//
// The service under a stand-in for systemd, with the limits that the unit states: what hangs is ended and started
// again, what works is left alone.
#include "Intruder.h"
#include "NotifySocket.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"

#include <csignal>
#include <sstream>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

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

class SupervisedService : public Service {
protected:
    /// Starts the service, and waits until it is ready.
    void Supervise(milliseconds interval, const std::vector<std::string>& options = {})
    {
        m_interval = interval;
        m_options = options;
        SetLauncher({"sh", "-c", "WATCHDOG_PID=$$ exec \"$@\"", "sh"});
        Launch();
        ASSERT_TRUE(RunUntilSupervised([this] { return m_isReady; })) << m_service->Errors();
    }

    bool RunUntilSupervised(const std::function<bool()>& condition, milliseconds deadline = kDeadline)
    {
        return RunUntil(
            [&] {
                Look();
                return condition();
            },
            deadline);
    }

    int m_restarts = 0;
    std::string m_status;

private:
    void Launch()
    {
        m_isReady = false;
        m_service = LaunchService(m_options, {{"NOTIFY_SOCKET", m_systemd.Path()},
                                              {"WATCHDOG_USEC", std::to_string(m_interval.count() * 1000)}});
    }

    // Reads all that has come before it judges, so that a test that was held up itself ends nothing.
    void Look()
    {
        while (const std::optional<std::string> message = m_systemd.Next()) {
            if (message->rfind("READY=1\n", 0) == 0) {
                m_isReady = true;
                m_lastSign = Clock::now();
            }
            const std::size_t status = message->find("STATUS=");
            if (status != std::string::npos) m_status = message->substr(status);
            if (*message == "WATCHDOG=1") m_lastSign = Clock::now();
        }
        if (m_isReady && Clock::now() - m_lastSign > m_interval) Restart();
    }

    // As systemd does, which lets a stopped process continue so that it can end.
    void Restart()
    {
        m_service->Signal(SIGABRT);
        m_service->Signal(SIGCONT);
        EXPECT_EQ(m_service->Wait(), 128 + SIGABRT);
        ++m_restarts;
        Launch();
    }

    NotifySocket m_systemd;
    milliseconds m_interval{};
    std::vector<std::string> m_options;
    bool m_isReady = false;
    Clock::time_point m_lastSign;
};

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

    EXPECT_TRUE(RunUntilSupervised([this] { return CountOf(kFinished) == 1; }, 2 * kDeadline));
    EXPECT_EQ(m_restarts, 0);
}

// A store that another process keeps locked holds up each attempt to write for a second, which does not get faster
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
