// SPDX-License-Identifier: Apache-2.0
//
// What systemd hears of a service.
#ifndef SRCWATCH_TESTS_NOTIFYSOCKET_H
#define SRCWATCH_TESTS_NOTIFYSOCKET_H

#include "TempDirectory.h"
#include "Waiting.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace srcwatch_test {

class NotifySocket {
public:
    NotifySocket() : m_socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        Path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~NotifySocket() { close(m_socket); }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// The value of NOTIFY_SOCKET.
    std::string Path() const { return m_directory / "notify"; }

    /// Returns the next message that has come, if there is one.
    std::optional<std::string> Next()
    {
        char message[256];
        const ssize_t size = recv(m_socket, message, sizeof message, 0);
        if (size <= 0) return std::nullopt;
        const std::string text(message, static_cast<std::size_t>(size));
        m_heard += text + "\n";
        return text;
    }
    /// Returns true if another message has come.
    bool HearsNow() { return Next().has_value(); }
    /// Waits for a message.
    bool Hears(const char* text)
    {
        return RunUntil([&] {
            static_cast<void>(Next());  // it may have been heard before
            return m_heard.find(text) != std::string::npos;
        });
    }
    /// All messages so far.
    const std::string& Heard() const { return m_heard; }

private:
    TempDirectory m_directory;
    int m_socket;
    std::string m_heard;
};

}  // namespace srcwatch_test

#endif
