// SPDX-License-Identifier: Apache-2.0
//
// Something to do once what is happening now is over, however often it is asked for meanwhile.
#ifndef SRCWATCH_PANEL_LATER_H
#define SRCWATCH_PANEL_LATER_H

#include <functional>
#include <utility>

#include <glib.h>

namespace panel {

class Later {
public:
    /// @param milliseconds  To wait before it is done.
    Later(unsigned milliseconds, std::function<void()> action)
        : m_milliseconds(milliseconds), m_action(std::move(action))
    {
    }
    Later(const Later&) = delete;
    Later& operator=(const Later&) = delete;
    ~Later() { Cancel(); }

    void Ask()
    {
        if (m_source == 0) m_source = g_timeout_add(m_milliseconds, OnTime, this);
    }
    void Cancel()
    {
        if (m_source != 0) g_source_remove(std::exchange(m_source, 0U));
    }
    bool IsAsked() const { return m_source != 0; }

private:
    static gboolean OnTime(void* self)
    {
        auto& later = *static_cast<Later*>(self);
        later.m_source = 0;
        later.m_action();
        return G_SOURCE_REMOVE;
    }

    const unsigned m_milliseconds;
    const std::function<void()> m_action;
    unsigned m_source = 0;
};

}  // namespace panel

#endif
