// SPDX-License-Identifier: Apache-2.0
//
// The events that a service announces, as a test expects them.
#ifndef SRCWATCH_TESTKIT_EVENTQUEUE_H
#define SRCWATCH_TESTKIT_EVENTQUEUE_H

#include "srcwatch-testkit/Waiting.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <srcwatch.hpp>

namespace srcwatch_test {

/// Returns an event in words: "Detected: port 1, set-top box, another device, 'VX Home', 'Voltana', ''".
std::string Describe(const srcwatch::Event& event);

/// Receives events beside the application under test: it takes nothing from the callback that a process may register.
/// Events arrive while the main loop runs, from the construction on.
class EventQueue {
public:
    /// Throws std::runtime_error if there is no bus.
    EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;
    ~EventQueue();

    /**
     * Runs the main loop until an event of a kind is there, takes the first one and returns it; those before it stay.
     *
     *     events.ExpectEvent<srcwatch::Detected>([](const auto& device) { return device.port == 1; })
     *
     * @param isMeant  Which events of this kind count; all of them if it is empty.
     * Throws std::runtime_error, which says what has come instead, if there is none when the time is over.
     */
    template <typename Kind>
    Kind ExpectEvent(const std::function<bool(const Kind&)>& isMeant = nullptr,
                     std::chrono::milliseconds limit = kDeadline)
    {
        const auto matches = [&isMeant](const srcwatch::Event& event) {
            const Kind* const kind = std::get_if<Kind>(&event);
            return kind != nullptr && (!isMeant || isMeant(*kind));
        };
        return std::get<Kind>(Take(matches, srcwatch::Event(Kind{}), limit));
    }

    /// The events that have come and were not taken, in their order.
    const std::deque<srcwatch::Event>& Events() const { return m_events; }
    void Clear() { m_events.clear(); }

private:
    struct Receiver;

    srcwatch::Event Take(const std::function<bool(const srcwatch::Event&)>& matches, const srcwatch::Event& kind,
                         std::chrono::milliseconds limit);

    std::deque<srcwatch::Event> m_events;
    std::unique_ptr<Receiver> m_receiver;
};

}  // namespace srcwatch_test

#endif
