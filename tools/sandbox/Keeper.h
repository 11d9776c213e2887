// SPDX-License-Identifier: Apache-2.0
//
// The process that has everything of a sandbox under it.
#ifndef SRCWATCH_SANDBOX_KEEPER_H
#define SRCWATCH_SANDBOX_KEEPER_H

#include "Child.h"
#include "Installation.h"
#include "Options.h"

#include <csignal>
#include <optional>
#include <string>

namespace sandbox {

/// Exit codes beside the program's own; env(1) and timeout(1) have the same.
enum ExitCode { kFailed = 125, kCannotRun = 126, kNotFound = 127 };

/// Returns the exit code for a status of wait(): 128 plus the signal's number after a signal.
int ExitCodeOf(int status);

/// The signals that are passed on to the program.
constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/// Starts bus, service and program, and ends them: they are its children, and so is what they leave behind, because it
/// is the "child subreaper" of them all.
class Keeper {
public:
    /// @param front          Readable when the process that the user started is gone.
    /// @param blockedBefore  The signals that the program has blocked.
    Keeper(Options options, std::string home, int front, const sigset_t& blockedBefore);
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;

    /// Returns the exit code when everything has ended and the home is removed.
    int Run();

private:
    int RunProgram();
    void StartBus();
    void StartService(const Installation& installation);
    void AwaitDetection();
    void AwaitReadable(int file);
    bool Poll(int file, int milliseconds);
    void HandleSignal();
    void HandleEnds();
    void HandleEndOf(pid_t& daemon, const std::string& name, int status);
    void End();

    const Options m_options;
    const std::string m_home;
    int m_front;
    const sigset_t m_blockedBefore;
    const int m_signals;
    pid_t m_bus = -1;
    pid_t m_service = -1;
    pid_t m_program = -1;
    bool m_isEnding = false;
    std::optional<int> m_code;  ///< once it is known how the sandbox ends
};

}  // namespace sandbox

#endif
