// SPDX-License-Identifier: Apache-2.0
//
// The program behind a test's own message bus.
#ifndef SRCWATCH_TESTKIT_BUSDAEMON_H
#define SRCWATCH_TESTKIT_BUSDAEMON_H

#include <string>
#include <utility>

#include <sys/types.h>

namespace srcwatch_test {

/// A dbus-daemon, or, where SRCWATCH_TEST_BUS is "dbus-broker", a dbus-broker, which its launcher starts as system
/// services are: with the socket that it listens on. It dies with the thread that started it.
class BusDaemon {
public:
    /// Is not started yet. @param directory  Has the configuration "bus.conf", and gets the "socket" and the log.
    explicit BusDaemon(std::string directory) : m_directory(std::move(directory)) {}
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    /// Returns when it accepts connections. Throws std::runtime_error with what it said if it does not.
    void Start();
    /// SIGKILL. Returns when it is gone.
    void Kill();
    /// SIGSTOP. Returns when it is stopped.
    void Pause() const;
    /// SIGCONT
    void Continue() const;

    bool IsRunning() const { return m_child > 0; }
    /// The process that carries the messages.
    pid_t Pid() const { return m_carrier; }

private:
    std::string TryToStart();
    bool StartDaemon(int log);
    bool StartBroker(int log);
    std::string Path(const char* name) const { return m_directory + "/" + name; }

    std::string m_directory;
    pid_t m_child = -1;    ///< what was started here
    pid_t m_carrier = -1;  ///< the same, or its child
};

}  // namespace srcwatch_test

#endif
