// SPDX-License-Identifier: Apache-2.0
//
// The directory of recordings: what is there, making one, and playing one.
#ifndef SRCWATCH_PANEL_RECORDINGS_H
#define SRCWATCH_PANEL_RECORDINGS_H

#include "Inputs.h"
#include "InputsTarget.h"
#include "Later.h"
#include "PathWatch.h"
#include "Player.h"
#include "Router.h"
#include "State.h"
#include "Tool.h"
#include "Tv.h"

#include <functional>
#include <string>

namespace panel {

class Recordings {
public:
    /// @param onChange  Is called when the state has changed.
    Recordings(std::string directory, const Inputs& inputs, const Tool& tool, State& state,
               std::function<void()> onChange);
    Recordings(const Recordings&) = delete;
    Recordings& operator=(const Recordings&) = delete;
    ~Recordings() { m_player.Stop(); }

    /// Adds the routes to it.
    void AddTo(Routes& routes);

private:
    // A recording ends with its last entry, whatever that is of. Ports that another device has are passed over.
    class Devices : public srcwatch::InputsTarget {
    public:
        using InputsTarget::InputsTarget;
        bool Wants(const Json::Value& /*entry*/) const override { return true; }

    private:
        bool MayPlug(int port) const override { return HasPort(port); }
        void Check(const srcwatch::InputOutcome& /*outcome*/) const override {}
    };

    void Refresh();
    void SetPlayer();
    void SetRecorder();
    void Record(const std::string& command, const Answer& answer);
    void Play(const Json::Value& body, const Answer& answer);
    std::string Load(const std::string& name);
    void Send(const std::string& rest, const Answer& answer) const;
    void SendTimeline(const std::string& name, const Answer& answer) const;
    std::string PathOf(const std::string& name) const;

    const std::string m_directory;
    const Inputs& m_inputs;
    const Tool& m_tool;
    State& m_state;
    const std::function<void()> m_onChange;
    Later m_later;
    PathWatch m_watch;
    Devices m_devices;
    srcwatch::Player m_player;
    std::string m_played;    // name of the recording that is played
    std::string m_recorded;  // name of the recording that is made
    Tool::Run m_recorder;
};

}  // namespace panel

#endif
