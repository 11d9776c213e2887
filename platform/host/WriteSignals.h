// SPDX-License-Identifier: Apache-2.0
// Writes that fail without a signal.
#ifndef SRCWATCH_HOST_WRITESIGNALS_H
#define SRCWATCH_HOST_WRITESIGNALS_H

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include <time.h>

namespace host {

/// Keeps the signals of a failed write (reader of the pipe gone, file at its size limit) from ending the program, in
/// this thread only.
class WriteSignalsHeld {
public:
    WriteSignalsHeld()
    {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGPIPE);
        sigaddset(&m_signals, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
        sigpending(&m_pendingBefore);
    }
    ~WriteSignalsHeld() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    WriteSignalsHeld(const WriteSignalsHeld&) = delete;
    WriteSignalsHeld& operator=(const WriteSignalsHeld&) = delete;

    /// Takes back the signal that a failed write has raised, if any; errno stays as it was.
    void Consume() const
    {
        const int error = errno;
        for (const int raised : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&m_pendingBefore, raised) != 0) continue;  // may be anyone's
            sigset_t one;
            sigemptyset(&one);
            sigaddset(&one, raised);
            const timespec noWait = {};
            static_cast<void>(sigtimedwait(&one, nullptr, &noWait));  // fails if it was not raised
        }
        errno = error;
    }

private:
    sigset_t m_signals = {};
    sigset_t m_before = {};
    sigset_t m_pendingBefore = {};
};

}  // namespace host

#endif
