// SPDX-License-Identifier: Apache-2.0
// What the tests of watching settings share.
#ifndef SRCWATCH_TESTS_SETTINGSWATCH_H
#define SRCWATCH_TESTS_SETTINGSWATCH_H

#include "HostTest.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <glib.h>

using Heard = std::vector<std::string>;

// A watch that notes what is reported to it, in the main context that is thread-default.
class Listener {
public:
    explicit Listener(const char* key) : m_id(srcwatch_host_watch_setting(key, Note, this)) { EXPECT_NE(m_id, 0u); }
    ~Listener() { srcwatch_host_unwatch_setting(m_id); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    const Heard& All() const { return m_heard; }
    unsigned Id() const { return m_id; }

    // Runs during each call.
    std::function<void()> also;

private:
    static std::string Describe(const srcwatch_host_value* value)
    {
        if (value == nullptr) return " removed";
        return '=' + (value->text != nullptr ? "'" + std::string(value->text) + "'" : std::to_string(value->number));
    }

    static void Note(const char* key, const srcwatch_host_value* value, void* self)
    {
        auto* listener = static_cast<Listener*>(self);
        listener->m_heard.push_back(std::string(key) + Describe(value));
        if (listener->also) listener->also();
    }

    Heard m_heard;
    unsigned m_id;
};

inline bool EventuallyIn(GMainContext* context, const std::function<bool()>& condition)
{
    return Eventually([context, &condition] {
        while (g_main_context_iteration(context, FALSE)) {
        }
        return condition();
    });
}

// Runs the default context until a listener has heard as much as is expected, and all else that is due.
inline Heard HeardBy(const Listener& listener, std::size_t expected)
{
    EXPECT_TRUE(EventuallyIn(nullptr, [&] { return listener.All().size() >= expected; }));
    return listener.All();
}

class SettingsWatch : public HostTest {
protected:
    // For writes.
    void InAnotherProcess(const std::function<void()>& body) const { EXPECT_TRUE(InProcess(body)); }
};

#endif
