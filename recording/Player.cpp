// SPDX-License-Identifier: Apache-2.0
#include "Player.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace srcwatch {

namespace {

constexpr double kStepMilliseconds = 20;  // in which it is noticed that time passes

bool IsBehind(const Entry& entry, const PlayEnd& end)
{
    return (end.line && entry.number > *end.line) || (end.seconds && entry.at > *end.seconds);
}

Json::Value NothingPlugged()
{
    Json::Value snapshot;
    snapshot["kind"] = "snapshot";
    snapshot["inputs"] = Json::arrayValue;
    return snapshot;
}

}  // namespace

std::string Player::Load(Opener open, const PlayEnd& end)
{
    const std::unique_ptr<EntrySource> source = open();
    double length = 0;
    while (const std::optional<Entry> entry = source->Next()) {
        if (!IsBehind(*entry, end) && m_target.Wants(entry->json)) length = entry->at;
    }
    if (!source->Fault().empty()) return source->Fault();
    Stop();
    m_open = std::move(open);
    m_end = end;
    m_length = length;
    Rewind();
    return "";
}

std::string Player::Fault() const
{
    if (m_failure) std::rethrow_exception(m_failure);
    return m_source ? m_source->Fault() : "";
}

// ---------------------------------------------------------------------------------------------------------------------
// Entries

void Player::Rewind()
{
    m_at = 0;
    m_source = m_open();
    m_target.Apply(NothingPlugged());  // until the first entry says what is
    ReadNext();
}

// Entries that are not for the target have no time of their own.
void Player::ReadNext()
{
    do {
        m_next = m_source->Next();
        if (m_next && IsBehind(*m_next, m_end)) m_next.reset();
    } while (m_next && !m_target.Wants(m_next->json));
}

void Player::ApplyNext()
{
    m_target.Apply(m_next->json);
    m_line = m_next->number;
    ++m_count;
    ReadNext();
}

// ---------------------------------------------------------------------------------------------------------------------
// Commands

void Player::Play(double speed)
{
    m_at = Now();
    if (m_at >= m_length && !m_next) Rewind();
    m_speed = speed;
    m_started = g_get_monotonic_time();
    StartTimer(0);
    m_onChange();
}

void Player::Pause()
{
    m_at = Now();
    StopTimer();
    m_onChange();
}

void Player::Seek(double seconds)
{
    const double to = std::clamp(seconds, 0.0, m_length);
    if (to < Now()) Rewind();
    while (m_next && m_next->at <= to) ApplyNext();
    m_target.Settle();
    m_at = to;
    if (IsPlaying()) m_started = g_get_monotonic_time();
    m_onChange();
}

void Player::Stop()
{
    StopTimer();
    if (!m_source) return;
    m_target.Apply(NothingPlugged());
    m_target.Settle();
    m_source.reset();
    m_at = m_length = 0;
    m_onChange();
}

// ---------------------------------------------------------------------------------------------------------------------
// Time

double Player::Now() const
{
    if (!IsPlaying()) return m_at;
    const double passed = static_cast<double>(g_get_monotonic_time() - m_started) / G_USEC_PER_SEC;
    return std::min(m_at + passed * m_speed, m_length);
}

// @param seconds  Of the recording, until there is something to do.
void Player::StartTimer(double seconds)
{
    const double milliseconds = std::clamp(std::ceil(seconds / m_speed * 1000), 0.0, kStepMilliseconds);
    if (m_timer != 0) g_source_remove(m_timer);
    m_timer = g_timeout_add(static_cast<unsigned>(milliseconds), OnTime, this);
}

void Player::StopTimer()
{
    m_started = 0;
    if (m_timer != 0) g_source_remove(std::exchange(m_timer, 0U));
}

gboolean Player::OnTime(void* self)
{
    auto& player = *static_cast<Player*>(self);
    player.m_timer = 0;
    try {
        player.Advance();
    } catch (...) {
        player.m_failure = std::current_exception();
        player.Pause();
    }
    return G_SOURCE_REMOVE;
}

// One entry at a time, so that the main loop turns between two. At the end it pauses, with the last devices plugged in.
void Player::Advance()
{
    const double now = Now();
    if (m_next && m_next->at <= now) {
        ApplyNext();
        m_target.Settle();
        return StartTimer(0);
    }
    if (!m_next && now >= m_length) return Pause();
    StartTimer((m_next ? m_next->at : m_length) - now);
    m_onChange();
}

}  // namespace srcwatch
