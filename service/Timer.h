// SPDX-License-Identifier: Apache-2.0
//
// A timeout of GLib that its owner starts and stops.
#ifndef SRCWATCH_SERVICE_TIMER_H
#define SRCWATCH_SERVICE_TIMER_H

#include <functional>
#include <utility>

#include <glib.h>

namespace srcwatch {

/// Calls back once after a time, in the default main context. Starting it again restarts the time.
class Timer {
public:
    Timer() = default;
    ~Timer() { Stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void Start(unsigned milliseconds, std::function<void()> callback)
    {
        Stop();
        m_callback = std::move(callback);
        m_id = g_timeout_add(milliseconds, Fire, this);
    }
    void Stop()
    {
        if (m_id != 0) g_source_remove(std::exchange(m_id, 0));
    }
    bool IsRunning() const { return m_id != 0; }

private:
    static gboolean Fire(gpointer self)
    {
        auto* const timer = static_cast<Timer*>(self);
        timer->m_id = 0;
        const std::function<void()> callback = timer->m_callback;  // which may start the timer again, or destroy it
        callback();
        return G_SOURCE_REMOVE;
    }

    unsigned m_id = 0;
    std::function<void()> m_callback;
};

}  // namespace srcwatch

#endif
