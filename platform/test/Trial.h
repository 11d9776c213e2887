// SPDX-License-Identifier: Apache-2.0
//
// Tests in processes of their own, so that a platform may crash, hang or end its process in any of them.
#ifndef SRCWATCH_PLATFORM_TEST_TRIAL_H
#define SRCWATCH_PLATFORM_TEST_TRIAL_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace conformance {

/// Where a test's process reports to, far from the descriptors that a platform opens.
constexpr int kReportDescriptor = 199;
/// What it reports when the promise is kept; anything else is the reason why it is not.
constexpr const char* kKept = "+\n";

/// Reports from within a test; its first report counts.
void Report(const std::string& line);

struct Limits {
    std::chrono::seconds time;
    bool isVerbose;  ///< what the platform prints goes to the standard error stream, not away
};

/// Runs a test in a process of its own, and ends all that is left of it. @return Why it failed; nothing if it held.
std::optional<std::string> Try(const std::function<void()>& test, const Limits& limits);

/// A further process of a test, killed at the end if it still runs.
class Process {
public:
    explicit Process(const std::function<void()>& action);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Waits for the end; throws Broken unless the action was carried out.
    void Join();
    void Kill();

private:
    pid_t m_id;
};

/// Carries an action out in a further process, and waits for its end.
void InProcess(const std::function<void()>& action);

/// Repeats an attempt for at most five seconds. @return True once one succeeded.
bool Eventually(const std::function<bool()>& attempt);

}  // namespace conformance

#endif
