// SPDX-License-Identifier: Apache-2.0
//
// The service under a stand-in for systemd: what gives no sign of life in time is ended and started again.
#ifndef SRCWATCH_TESTS_SUPERVISEDTEST_H
#define SRCWATCH_TESTS_SUPERVISEDTEST_H

#include "NotifySocket.h"
#include "ServiceTest.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace srcwatch_test {

class SupervisedTest : public Service {
protected:
    using Environment = std::map<std::string, std::string>;

    /// Starts the service, and waits until it is ready.
    void Supervise(std::chrono::milliseconds interval, const std::vector<std::string>& options = {},
                   const Environment& environment = {})
    {
        m_interval = interval;
        m_options = options;
        m_environment = environment;
        SetLauncher({"sh", "-c", "WATCHDOG_PID=$$ exec \"$@\"", "sh"});
        Launch();
        ASSERT_TRUE(RunUntilSupervised([this] { return m_isReady; })) << m_service->Errors();
    }

    bool RunUntilSupervised(const std::function<bool()>& condition, std::chrono::milliseconds deadline = kDeadline)
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
        Environment environment = m_environment;
        environment["NOTIFY_SOCKET"] = m_systemd.Path();
        environment["WATCHDOG_USEC"] = std::to_string(m_interval.count() * 1000);
        m_service = LaunchService(m_options, environment);
    }

    // Reads all that has come before it judges, so that a test that was held up itself ends nothing.
    void Look()
    {
        while (const std::optional<std::string> message = m_systemd.Next()) {
            if (message->rfind("READY=1\n", 0) == 0) {
                m_isReady = true;
                m_lastSign = std::chrono::steady_clock::now();
            }
            const std::size_t status = message->find("STATUS=");
            if (status != std::string::npos) m_status = message->substr(status);
            if (*message == "WATCHDOG=1") m_lastSign = std::chrono::steady_clock::now();
        }
        if (m_isReady && std::chrono::steady_clock::now() - m_lastSign > m_interval) Restart();
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
    std::chrono::milliseconds m_interval{};
    std::vector<std::string> m_options;
    Environment m_environment;
    bool m_isReady = false;
    std::chrono::steady_clock::time_point m_lastSign;
};

}  // namespace srcwatch_test

#endif
