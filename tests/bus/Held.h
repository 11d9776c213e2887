// SPDX-License-Identifier: Apache-2.0
//
// Holds the locks of the event channel, for as long as a test needs them held, from within: by a send that gets no
// further and by a callback that does not return. The lock of the senders and that of the receivers are the whole
// process's, so these are on a channel of their own.
#ifndef SRCWATCH_TESTS_HELD_H
#define SRCWATCH_TESTS_HELD_H

#include "BusTest.h"
#include "Threads.h"

#include <functional>
#include <memory>

namespace srcwatch_test {

/// Runs body in this thread inside a send, under the senders' lock.
void RunInsideASend(const std::function<void()>& body);

/// A thread that is inside a send until it is released.
class HeldSender {
public:
    HeldSender();
    HeldSender(const HeldSender&) = delete;
    HeldSender& operator=(const HeldSender&) = delete;
    ~HeldSender() { Release(); }

    void Release() { m_isReleased = true; }

private:
    std::atomic<bool> m_isInside{false};
    std::atomic<bool> m_isReleased{false};
    Task m_thread;
};

/// A thread that is inside a callback until it is released.
class HeldCallback {
public:
    HeldCallback() : HeldCallback([] {}) {}
    /// Returns when body has run in the callback.
    explicit HeldCallback(std::function<void()> body);
    HeldCallback(const HeldCallback&) = delete;
    HeldCallback& operator=(const HeldCallback&) = delete;
    ~HeldCallback();

    void Release() { m_isReleased = true; }

private:
    static void Hold(void* callback, srcwatch_event_s* event);

    const std::function<void()> m_body;
    std::atomic<bool> m_isInside{false};
    std::atomic<bool> m_isReleased{false};
    LoopThread m_loop;
    std::unique_ptr<qdinfo::CQDEventReciever> m_receiver;
};

}  // namespace srcwatch_test

#endif
