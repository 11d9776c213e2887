// SPDX-License-Identifier: Apache-2.0
//
// Threads of the tests: one that runs a main context of its own, one that does a single thing, and one that ends a
// program that hangs.
#ifndef SRCWATCH_TESTS_THREADS_H
#define SRCWATCH_TESTS_THREADS_H

#include "Waiting.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace srcwatch_test {

/// For what must not happen. A test that passes waits for the whole of it.
constexpr std::chrono::milliseconds kMoment(150);

/// Ends the program, which a deadlock would keep from ending, unless it is destroyed in time.
class Watchdog {
public:
    Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

private:
    void Watch();

    std::mutex m_mutex;  ///< guards m_isDone
    std::condition_variable m_done;
    bool m_isDone = false;
    std::thread m_thread;
};

/// A thread that runs a main context of its own until it is destroyed.
class LoopThread {
public:
    LoopThread();
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;
    ~LoopThread();

    /// Runs body there and waits for it.
    void Call(const std::function<void()>& body);

private:
    void Run();

    GMainContext* m_context;
    std::atomic<bool> m_isEnding{false};
    std::mutex m_mutex;  ///< guards m_body
    std::condition_variable m_called;
    const std::function<void()>* m_body = nullptr;
    std::thread m_thread;
};

/// Does one thing in a thread of its own.
class Task {
public:
    explicit Task(std::function<void()> body)
        : m_body(std::move(body)), m_thread([this] {
              m_body();
              m_isDone = true;
          })
    {
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { m_thread.join(); }

    bool IsDoneWithin(std::chrono::milliseconds time) const
    {
        return WaitUntil([this] { return m_isDone.load(); }, time);
    }

private:
    std::function<void()> m_body;
    std::atomic<bool> m_isDone{false};
    std::thread m_thread;
};

}  // namespace srcwatch_test

#endif
