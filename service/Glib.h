// SPDX-License-Identifier: Apache-2.0
//
// Owners of GLib's handles.
#ifndef SRCWATCH_SERVICE_GLIB_H
#define SRCWATCH_SERVICE_GLIB_H

#include <functional>
#include <memory>
#include <utility>

#include <gio/gio.h>

namespace srcwatch {

struct GObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectDeleter>;

struct GErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

struct GFreeDeleter {
    void operator()(gpointer memory) const { g_free(memory); }
};
using GTextPtr = std::unique_ptr<char, GFreeDeleter>;

/// Calls back once after a time, in the default main context. Starting it again begins the time anew.
class Timer {
public:
    Timer() = default;
    ~Timer() { Stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void Start(unsigned milliseconds, std::function<void()> callback)
    {
        Stop();
        m_Callback = std::move(callback);
        m_Id = g_timeout_add(milliseconds, Fire, this);
    }
    void Stop()
    {
        if (m_Id != 0) g_source_remove(std::exchange(m_Id, 0));
    }
    bool IsRunning() const { return m_Id != 0; }

private:
    static gboolean Fire(gpointer self)
    {
        auto* const timer = static_cast<Timer*>(self);
        timer->m_Id = 0;
        const std::function<void()> callback = timer->m_Callback;  // which may start the timer again, or destroy it
        callback();
        return G_SOURCE_REMOVE;
    }

    unsigned m_Id = 0;
    std::function<void()> m_Callback;
};

}  // namespace srcwatch

#endif
