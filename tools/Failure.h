// SPDX-License-Identifier: Apache-2.0
//
// How a command ends when it cannot do what was asked.
#ifndef SRCWATCH_TOOLS_FAILURE_H
#define SRCWATCH_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace ctl {

/// The program's exit codes.
enum ExitCode {
    kDone = 0,
    kFailed = 1,  ///< refused or failed
    kUsage = 2,   ///< wrong usage
    kTimedOut = 3,
    kNoService = 4  ///< no detection service runs, and one is needed
};

/// The end of a message about what the command doctor examines.
constexpr const char* kSeeDoctor = "; run 'srcwatchctl doctor' to find out why";

/// Ends the command: the text becomes the one line on standard error, escaped there.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text, ExitCode code = kFailed) : std::runtime_error(text), m_code(code) {}
    ExitCode Code() const { return m_code; }

private:
    ExitCode m_code;
};

}  // namespace ctl

#endif
