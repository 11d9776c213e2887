// SPDX-License-Identifier: Apache-2.0
//
// A message bus of a test's own, at the address of the system bus.
#ifndef SRCWATCH_TESTKIT_PRIVATEBUS_H
#define SRCWATCH_TESTKIT_PRIVATEBUS_H

#include <memory>
#include <string>

#include <sys/types.h>

namespace srcwatch_test {

class BusDaemon;

/// A message bus. From its construction on, DBUS_SYSTEM_BUS_ADDRESS names it, so make it before the first connection.
/// Nothing of it is left when it is destroyed, and its daemon dies with the thread that started it: use the main one.
class PrivateBus {
public:
    /// @param policy  Elements of the configuration file that set the policy; everything is allowed by default. Only
    ///                users that it names may connect besides root and the user who runs the test.
    explicit PrivateBus(const std::string& policy = std::string());
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    void Kill();      ///< Every connection breaks. Returns when the daemon is gone.
    void Restart();   ///< A new daemon at the same address, after Kill() if one runs.
    void Pause();     ///< The daemon hangs until Continue().
    void Continue();  ///< after Pause()

    bool IsRunning() const;
    pid_t Pid() const;
    const std::string& Address() const { return m_address; }
    const std::string& Directory() const { return m_directory; }  ///< of the socket and the configuration file

private:
    std::string m_directory;
    std::string m_address;
    std::unique_ptr<BusDaemon> m_daemon;
    pid_t m_owner;  ///< the process that has to clean up, not one that was forked from it
};

/// The bus of this program, started by the first call and ended with the program.
PrivateBus& TheBus();

}  // namespace srcwatch_test

#endif
