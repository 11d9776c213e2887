// SPDX-License-Identifier: Apache-2.0
//
// Gives applications the settings and events of a recording, as the detection service gave them.
#ifndef SRCWATCH_TOOLS_TVREPLAY_H
#define SRCWATCH_TOOLS_TVREPLAY_H

#include "Bus.h"
#include "Player.h"

namespace ctl {

class TvReplay : public srcwatch::PlayTarget {
public:
    /// Takes the service's name on the bus. Throws a Failure if a service has it, or if the settings are those of this
    /// machine's TV.
    TvReplay();
    TvReplay(const TvReplay&) = delete;
    TvReplay& operator=(const TvReplay&) = delete;
    /// Sees to it that the last event leaves the process.
    ~TvReplay() override;

    bool Wants(const Json::Value& entry) const override;
    void Apply(const Json::Value& entry) override;

private:
    void TakeName();
    void Restore(const Json::Value& snapshot);
    void Send(const Json::Value& event);

    Connection m_connection;
};

}  // namespace ctl

#endif
