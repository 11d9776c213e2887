// SPDX-License-Identifier: Apache-2.0
//
// The process's connection to the D-Bus system bus. GLib shares one connection in the process, closes it with its last
// reference, and only queues what is sent: messages that are not flushed are lost with the connection or the process.
#ifndef SRCWATCH_SYSTEMBUS_H
#define SRCWATCH_SYSTEMBUS_H

#include "Handle.h"

#include <atomic>
#include <cstdlib>

#include <gio/gio.h>
#include <unistd.h>

namespace qdinfo {

class Error {
public:
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { g_clear_error(&m_error); }

    GError** Out() { return &m_error; }
    void SetReason(const char* reason) { m_reason = reason; }
    const char* Message() const { return m_error != nullptr ? m_error->message : m_reason; }
    int Code() const { return m_error != nullptr ? m_error->code : 0; }

private:
    GError* m_error = nullptr;
    const char* m_reason = "invalid argument";  // GIO refuses a name that D-Bus does not allow without an error
};

using Connection = srcwatch::Handle<GDBusConnection, g_object_unref>;

class SystemBus {
public:
    /// Returns a reference to the connection; null with the error.
    static GDBusConnection* Connect(Error& error)
    {
        GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error.Out());
        if (connection != nullptr) Adopt(connection);
        return connection;
    }

    /// Prepares a connection that GLib created: the end of the bus must not end the host process.
    static void Adopt(GDBusConnection* connection)
    {
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        if (g_object_get_data(G_OBJECT(connection), kProcess) != nullptr) return;
        g_object_set_data(G_OBJECT(connection), kProcess, GINT_TO_POINTER(getpid()));
    }

    /// Waits until all queued messages have left the process. Does nothing in a forked child, which lacks GDBus's
    /// thread.
    static void Flush(GDBusConnection* connection)
    {
        if (g_object_get_data(G_OBJECT(connection), kProcess) != GINT_TO_POINTER(getpid())) return;
        // Nothing can be done if this fails.
        static_cast<void>(g_dbus_connection_flush_sync(connection, nullptr, nullptr));
    }

    /// Flushes a connection when the process exits: a sender that lives then has no destructor that does. During the
    /// exit, when threads and handlers may still send, it is flushed at once.
    static void FlushAtExit(GDBusConnection* connection)
    {
        if (t_isExiting) return Flush(connection);
        g_weak_ref_set(&t_atExit, connection);
        // Nothing can be done if this fails.
        if (!t_isRegistered.exchange(true)) static_cast<void>(std::atexit(&AtExit));
    }

private:
    static constexpr char kProcess[] = "srcwatch-process";  // the process that made the connection

    static void AtExit()
    {
        t_isExiting = true;
        const Connection connection(static_cast<GDBusConnection*>(g_weak_ref_get(&t_atExit)));
        if (connection != nullptr) Flush(connection.get());
    }

    inline static GWeakRef t_atExit{};  // never cleared: threads and exit handlers may send until the process is gone
    inline static std::atomic<bool> t_isRegistered{false};
    inline static std::atomic<bool> t_isExiting{false};
};

}  // namespace qdinfo

#endif
