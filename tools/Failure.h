// SPDX-License-Identifier: Apache-2.0
//
// How a command ends when it does not end well.
#ifndef SRCWATCH_TOOLS_FAILURE_H
#define SRCWATCH_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace ctl {

/// What the program's exit code says.
enum ExitCode {
    kDone = 0,
    kFailed = 1,  ///< refused or failed
    kUsage = 2,   ///< wrong usage
    kTimedOut = 3
};

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
