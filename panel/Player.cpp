// SPDX-License-Identifier: Apache-2.0
#include "Player.h"

#include "Tv.h"

#include <algorithm>
#include <utility>

namespace panel {

namespace {

constexpr unsigned kStepMilliseconds = 20;
constexpr double kShownStep = 0.1;  // in seconds: how exactly the time is shown

}  // namespace

void Player::Load(const std::string& name, Recording recording)
{
    Stop();
    m_name = name;
    m_recording = std::move(recording);
    m_at = 0;
}

void Player::Play(double speed)
{
    m_at = Now() < m_recording.length ? Now() : 0;
    m_speed = speed;
    m_started = g_get_monotonic_time();
    if (m_timer == 0) m_timer = g_timeout_add(kStepMilliseconds, OnTime, this);
    Advance();
}

void Player::Pause()
{
    m_at = Now();
    StopTimer();
    m_onChange();
}

void Player::Seek(double seconds)
{
    m_at = std::clamp(seconds, 0.0, m_recording.length);
    if (m_started != 0) m_started = g_get_monotonic_time();
    Advance();
}

void Player::Stop()
{
    StopTimer();
    m_at = 0;
    while (!m_plugged.empty()) Unplug(m_plugged.begin()->first);
    m_name.clear();
    m_recording = {};
    m_onChange();
}

void Player::StopTimer()
{
    m_started = 0;
    if (m_timer != 0) g_source_remove(std::exchange(m_timer, 0U));
}

double Player::Now() const
{
    if (m_started == 0) return m_at;
    const double passed = static_cast<double>(g_get_monotonic_time() - m_started) / G_USEC_PER_SEC;
    return std::min(m_at + passed * m_speed, m_recording.length);
}

gboolean Player::OnTime(void* self)
{
    static_cast<Player*>(self)->Advance();
    return G_SOURCE_CONTINUE;
}

// At the end it pauses, with the last devices plugged in.
void Player::Advance()
{
    const double now = Now();
    Show(now);
    if (now >= m_recording.length) {
        m_at = now;
        StopTimer();
    }
    m_onChange();
}

// A port that another device has, or that the TV does not have, is passed over.
void Player::Show(double seconds)
{
    const auto wanted = m_recording.PluggedAt(seconds);
    const auto before = m_plugged;
    for (const auto& [port, change] : before) {
        const auto stays = wanted.find(port);
        if (stays == wanted.end() || stays->second != change) Unplug(port);
    }
    for (const auto& [port, change] : wanted) {
        if (m_plugged.count(port) != 0) continue;
        m_plugged[port] = change;
        static_cast<void>(m_inputs.PlugDevice(port, *change->device));
    }
}

void Player::Unplug(int port)
{
    m_plugged.erase(port);
    if (m_inputs.IsComposed(port)) static_cast<void>(m_inputs.Unplug(port));  // it may be gone
}

Json::Value Player::Describe() const
{
    Json::Value json;
    json["name"] = m_name.empty() ? Json::Value() : Json::Value(m_name);
    json["state"] = m_name.empty() ? "stopped" : m_started != 0 ? "playing" : "paused";
    json["at"] = static_cast<double>(static_cast<gint64>(Now() / kShownStep)) * kShownStep;
    json["length"] = m_recording.length;
    return json;
}

}  // namespace panel
