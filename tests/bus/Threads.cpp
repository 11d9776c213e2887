// SPDX-License-Identifier: Apache-2.0
#include "Threads.h"

#include "PrivateBus.h"

#include <cstdio>
#include <cstdlib>

namespace srcwatch_test {

Watchdog::Watchdog() : m_thread([this] { Watch(); }) {}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isDone = true;
    }
    m_done.notify_one();
    m_thread.join();
}

void Watchdog::Watch()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_done.wait_for(lock, 20 * kDeadline, [this] { return m_isDone; })) return;
    static_cast<void>(std::fputs("the test hangs\n", stderr));
    TheBus().Kill();
    std::_Exit(1);
}

LoopThread::LoopThread() : m_context(g_main_context_new()), m_thread([this] { Run(); }) {}

LoopThread::~LoopThread()
{
    m_isEnding = true;
    g_main_context_wakeup(m_context);
    m_thread.join();
    g_main_context_unref(m_context);
}

void LoopThread::Call(const std::function<void()>& body)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_body = &body;
    }
    g_main_context_wakeup(m_context);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_called.wait(lock, [this] { return m_body == nullptr; });
}

void LoopThread::Run()
{
    g_main_context_push_thread_default(m_context);
    while (!m_isEnding) {
        g_main_context_iteration(m_context, TRUE);
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_body == nullptr) continue;
        (*m_body)();
        m_body = nullptr;
        m_called.notify_one();
    }
    while (g_main_context_iteration(m_context, FALSE) != FALSE) {
    }
    g_main_context_pop_thread_default(m_context);
}

}  // namespace srcwatch_test
