// SPDX-License-Identifier: Apache-2.0
//
// The process's connection to the D-Bus system bus. GLib shares one connection in the process, closes it with its last
// reference, and only queues what is sent: messages that are not flushed are lost with the connection or the process.
#ifndef SRCWATCH_SYSTEMBUS_H
#define SRCWATCH_SYSTEMBUS_H

#include "Handle.h"
#include "QDInfoCommon.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

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

    /// Waits until all queued messages have left the process; 2 s for a bus that hangs, and then not again until it
    /// goes on. Does nothing in a forked child, which lacks GDBus's thread.
    static void Flush(GDBusConnection* connection)
    {
        if (g_object_get_data(G_OBJECT(connection), kProcess) != GINT_TO_POINTER(getpid())) return;
        Flushes& flushes = TheFlushes();
        std::unique_lock<std::mutex> lock(flushes.mutex);
        if (flushes.asked == flushes.done && IsTakenAtOnce(connection)) {
            lock.unlock();
            g_dbus_connection_flush_sync(connection, nullptr, nullptr);  // nothing can be done if it fails
            return;
        }
        const unsigned long number = ++flushes.asked;
        g_thread_pool_push(flushes.pool, g_object_ref(connection), nullptr);
        const auto end = t_exitEnd != 0 ? Clock::time_point(Clock::duration(t_exitEnd)) : Clock::now() + kPatience;
        const auto isDone = [&flushes, number] { return flushes.done >= number; };
        if (flushes.inVain <= flushes.done && flushes.progress.wait_until(lock, end, isDone)) return;
        flushes.inVain = number;
        lock.unlock();
        if (t_exitEnd != 0 && !t_isLossLogged.exchange(true)) QDLOG(QDLOG_ERROR, "Events are lost: the bus hangs");
    }

    /// To be called before so many bytes are queued.
    static void WillQueue(std::size_t size) { t_unflushed += size; }

    /// Flushes a connection when the process exits: a sender that lives then has no destructor that does. During the
    /// exit, when threads and handlers may still send, it is flushed at once.
    static void FlushAtExit(GDBusConnection* connection)
    {
        if (t_exitEnd != 0) return Flush(connection);
        g_weak_ref_set(&t_atExit, connection);
        [[maybe_unused]] static const int registered = std::atexit(&AtExit);  // nothing can be done if it fails
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr char kProcess[] = "srcwatch-process";  // the process that made the connection
    static constexpr std::chrono::seconds kPatience{2};

    // GDBus knows no limit of time for a flush, so one thread of GLib's pool does all that may take long. One that
    // nobody waits for any more goes on, and keeps its connection until then.
    struct Flushes {
        std::mutex mutex;  // guards what follows
        std::condition_variable progress;
        unsigned long asked = 0;
        unsigned long done = 0;
        unsigned long inVain = 0;  // the last one that was not done in time
        GThreadPool* const pool = g_thread_pool_new(&FlushOne, nullptr, 1, FALSE, nullptr);
    };

    static Flushes& TheFlushes()
    {
        alignas(Flushes) static unsigned char place[sizeof(Flushes)];  // never destroyed, and always enough memory
        static auto& flushes = *new (place) Flushes;
        return flushes;
    }

    // A socket to which one can write has room for most of its buffer: for much more than a few events.
    static bool IsTakenAtOnce(GDBusConnection* connection)
    {
        GIOStream* const stream = g_dbus_connection_get_stream(connection);
        if (t_unflushed.exchange(0) > 4096 || G_IS_SOCKET_CONNECTION(stream) == FALSE) return false;
        GSocket* const socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream));
        return (g_socket_condition_check(socket, G_IO_OUT) & G_IO_OUT) != 0;
    }

    static void FlushOne(void* connection, void*)
    {
        g_dbus_connection_flush_sync(static_cast<GDBusConnection*>(connection), nullptr, nullptr);
        g_object_unref(connection);
        const std::lock_guard<std::mutex> lock(TheFlushes().mutex);
        ++TheFlushes().done;
        TheFlushes().progress.notify_all();
    }

    static void AtExit()
    {
        t_exitEnd = (Clock::now() + kPatience).time_since_epoch().count();
        const Connection connection(static_cast<GDBusConnection*>(g_weak_ref_get(&t_atExit)));
        if (connection != nullptr) Flush(connection.get());
    }

    inline static GWeakRef t_atExit{};  // never cleared: threads and exit handlers may send until the process is gone
    inline static std::atomic<Clock::rep> t_exitEnd{0};  // when the process ends nevertheless, while it exits
    inline static std::atomic<bool> t_isLossLogged{false};
    inline static std::atomic<std::size_t> t_unflushed{0};  // bytes, by all connections
};

}  // namespace qdinfo

#endif
