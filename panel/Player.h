// SPDX-License-Identifier: Apache-2.0
//
// Plays the devices of a recording: plugs them in and unplugs them at their times, for the detection service that runs.
#ifndef SRCWATCH_PANEL_PLAYER_H
#define SRCWATCH_PANEL_PLAYER_H

#include "Inputs.h"
#include "Recording.h"

#include <functional>
#include <map>
#include <string>

#include <glib.h>
#include <json/value.h>

namespace panel {

class Player {
public:
    /// @param onChange  Is called when Describe() has changed.
    Player(const Inputs& inputs, std::function<void()> onChange) : m_inputs(inputs), m_onChange(std::move(onChange)) {}
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player() { Stop(); }

    /// @name Commands. Times are in seconds of the recording; speeds are times as fast as it was recorded.
    /// @{
    void Load(const std::string& name, Recording recording);
    void Play(double speed);
    void Pause();
    void Seek(double seconds);
    void Stop();  ///< Unplugs what was plugged in.
    /// @}

    const std::string& Name() const { return m_name; }

    /// Returns {name, state, at, length}.
    Json::Value Describe() const;

private:
    static gboolean OnTime(void* self);
    double Now() const;
    void Advance();
    void Show(double seconds);
    void Unplug(int port);
    void StopTimer();

    const Inputs& m_inputs;
    const std::function<void()> m_onChange;
    std::string m_name;
    Recording m_recording;
    std::map<int, const InputChange*> m_plugged;  // by this player
    double m_at = 0;                              // when it was last started or stopped
    gint64 m_started = 0;                         // by the clock, in microseconds; 0 unless it plays
    double m_speed = 1;
    unsigned m_timer = 0;
};

}  // namespace panel

#endif
