// SPDX-License-Identifier: Apache-2.0
#include "Replay.h"

#include "Failure.h"

namespace ctl {

namespace {

// A timer that its callback sets.
GSourceFuncs g_timerFunctions = {
    nullptr, nullptr, [](GSource*, GSourceFunc callback, void* data) { return callback(data); },
    nullptr, nullptr, nullptr};

}  // namespace

Replay::Replay(const std::string& file, double speed, const ReplayEnd& end, ReplayTarget& target)
    : m_file(file), m_speed(speed), m_end(end), m_target(target)
{
    const std::unique_ptr<EntrySource> source = OpenRecording(file);
    std::size_t entries = 0;
    while (source->Next()) ++entries;
    if (entries == 0) throw Failure(file + " has no entries");
    m_source = OpenRecording(file);
}

// Entries that are not for the target have no time of their own, but the first one is the beginning.
void Replay::ReadNext()
{
    for (m_next = m_source->Next(); m_next; m_next = m_source->Next()) {
        const double at = m_next->json["at"].asDouble();
        if (!m_isBegun) {
            m_isBegun = true;
            m_begin = at;
            m_start = g_get_monotonic_time();
        }
        if ((m_end.line && m_next->number > *m_end.line) || (m_end.seconds && at - m_begin > *m_end.seconds)) {
            m_next.reset();
        }
        if (!m_next || m_target.Wants(m_next->json)) return;
    }
}

int Replay::Run()
{
    m_loop.emplace();
    ReadNext();
    m_timer = g_source_new(&g_timerFunctions, sizeof(GSource));
    g_source_set_callback(m_timer, OnTime, this, nullptr);
    g_source_set_ready_time(m_timer, 0);
    g_source_attach(m_timer, nullptr);
    const Loop::End end = m_loop->Run(std::nullopt);
    g_source_destroy(m_timer);
    g_source_unref(m_timer);
    if (end == Loop::End::kInterrupted) throw Failure("interrupted after line " + std::to_string(m_last));
    return m_count;
}

gboolean Replay::OnTime(void* self)
{
    auto& replay = *static_cast<Replay*>(self);
    replay.m_loop->Guard([&] { replay.Advance(); });
    return G_SOURCE_CONTINUE;
}

void Replay::Advance()
{
    if (!m_next) return m_loop->Quit();
    const double due = (m_next->json["at"].asDouble() - m_begin) / m_speed;
    const auto time = m_start + static_cast<std::int64_t>(due * 1e6);
    if (time > g_get_monotonic_time()) return g_source_set_ready_time(m_timer, time);
    m_target.Apply(m_next->json);
    m_last = m_next->number;
    ++m_count;
    ReadNext();
    g_source_set_ready_time(m_timer, 0);
}

}  // namespace ctl
