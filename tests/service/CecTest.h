// SPDX-License-Identifier: Apache-2.0
//
// A CEC adapter of the service on a bus of the test's own, at a pace that suits tests.
#ifndef SRCWATCH_TESTS_CECTEST_H
#define SRCWATCH_TESTS_CECTEST_H

#include "CecInputs.h"
#include "FakeCecBus.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace srcwatch_test {

/// A playback device at 1.0.0.0, and a tuner at 2.0.0.0.
extern const std::vector<std::string> kPlayer;
extern const std::vector<std::string> kTuner;

/// The lines of the service's log since the test began, in this process.
std::vector<std::string>& LogLines();

class CecTest : public testing::Test, protected srcwatch::InputListener {
protected:
    CecTest();

    /// Makes the adapter, as m_times says, and starts it.
    void Start(unsigned quietMilliseconds = 5);
    bool WaitForReports(std::size_t count);
    bool WaitForLog(const std::string& part);
    static int LogLinesWith(const std::string& part);
    /// Waits until all addresses were polled this many times more.
    bool WaitForFullRounds(int count);
    /// Waits until a call was made this many times more; of opening, if it is 0.
    bool WaitForCalls(unsigned long request, int count);
    bool WaitForOpens(int count) { return WaitForCalls(0, count); }

    FakeCecBus m_bus;
    srcwatch::CecTimes m_times;
    std::vector<std::string> m_reports;  // "plugged 0"
    std::unique_ptr<srcwatch::CecInputs> m_inputs;

private:
    void OnPlugged(int port) override { m_reports.push_back("plugged " + std::to_string(port)); }
    void OnUnplugged(int port) override { m_reports.push_back("unplugged " + std::to_string(port)); }
    void OnSettled(int port) override { m_reports.push_back("settled " + std::to_string(port)); }
    void OnInputsLost(const std::string& reason) override { m_reports.push_back("lost: " + reason); }
};

}  // namespace srcwatch_test

#endif
