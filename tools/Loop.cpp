// SPDX-License-Identifier: Apache-2.0
#include "Loop.h"

#include <csignal>

#include <glib-unix.h>

namespace ctl {

namespace {

gboolean OnSignal(void* loop)
{
    static_cast<Loop*>(loop)->Quit(Loop::End::kInterrupted);
    return G_SOURCE_CONTINUE;
}

gboolean OnTimeout(void* loop)
{
    static_cast<Loop*>(loop)->Quit(Loop::End::kTimedOut);
    return G_SOURCE_CONTINUE;
}

}  // namespace

Loop::Loop() : m_loop(g_main_loop_new(nullptr, FALSE))
{
    AddSource(g_unix_signal_source_new(SIGINT), OnSignal);
    AddSource(g_unix_signal_source_new(SIGTERM), OnSignal);
}

Loop::~Loop()
{
    for (const unsigned source : m_sources) g_source_remove(source);
    g_main_loop_unref(m_loop);
}

void Loop::AddSource(GSource* source, GSourceFunc callback)
{
    g_source_set_callback(source, callback, this, nullptr);
    m_sources.push_back(g_source_attach(source, nullptr));
    g_source_unref(source);
}

Loop::End Loop::Run(std::optional<double> seconds)
{
    if (seconds) AddSource(g_timeout_source_new(static_cast<unsigned>(*seconds * 1000)), OnTimeout);
    if (!m_ended) g_main_loop_run(m_loop);
    if (m_exception) std::rethrow_exception(m_exception);
    return m_end;
}

void Loop::Quit(End end)
{
    if (m_ended) return;
    m_ended = true;
    m_end = end;
    g_main_loop_quit(m_loop);
}

void Loop::Guard(const std::function<void()>& body)
{
    if (m_ended) return;  // what arrives late is not wanted any more
    try {
        body();
    } catch (...) {
        m_exception = std::current_exception();
        Quit();
    }
}

}  // namespace ctl
