// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-sandbox as a process, with a directory for temporary files that nothing may be left in.
#ifndef SRCWATCH_TESTS_SANDBOXTEST_H
#define SRCWATCH_TESTS_SANDBOXTEST_H

#include "Process.h"
#include "TempDirectory.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace srcwatch_test {

using Words = std::vector<std::string>;

constexpr std::chrono::seconds kLongTime(60);

/// Waits until a condition holds. @return False if it does not within a long time.
template <typename Condition>
bool Eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + kLongTime;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

class SandboxTest : public testing::Test {
protected:
    struct Outcome {
        int code;
        std::string output;
        std::string errors;
    };

    SandboxTest() { std::filesystem::create_directory(TempPath()); }

    std::unique_ptr<Process> Start(Words arguments, const std::map<std::string, std::string>& environment = {})
    {
        arguments.insert(arguments.begin(), m_program);
        std::map<std::string, std::string> all = environment;
        all.insert({{"TMPDIR", TempPath()}, {"LC_ALL", "C.UTF-8"}});
        return std::make_unique<Process>(arguments, m_directory / ("run-" + std::to_string(++m_runs)), all);
    }
    Outcome Run(const Words& arguments, const std::map<std::string, std::string>& environment = {})
    {
        const std::unique_ptr<Process> process = Start(arguments, environment);
        const int code = process->Wait(kLongTime).value_or(-1);
        return {code, process->Output(), process->Errors()};
    }
    Outcome RunShell(const std::string& script, Words options = {})
    {
        options.insert(options.end(), {"--", "sh", "-c", script});
        return Run(options);
    }

    /// Whoever inherited the variable TMPDIR from a sandbox of this test, its own process included.
    std::set<pid_t> Processes() const
    {
        std::set<pid_t> processes;
        std::error_code isGone;
        for (const auto& entry : std::filesystem::directory_iterator("/proc", isGone)) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") != std::string::npos) continue;
            if (ReadFile(entry.path() / "environ").find("TMPDIR=" + TempPath() + '\0') != std::string::npos)
                processes.insert(std::stoi(name));
        }
        return processes;
    }
    bool LeavesNothing() const { return Processes().empty() && std::filesystem::is_empty(TempPath()); }

    std::string TempPath() const { return m_directory / "tmp"; }

    TempDirectory m_directory;
    std::string m_program = SRCWATCH_SANDBOX_PROGRAM;

private:
    int m_runs = 0;
};

}  // namespace srcwatch_test

#endif
