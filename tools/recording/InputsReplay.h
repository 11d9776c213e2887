// SPDX-License-Identifier: Apache-2.0
//
// Plugs the devices of a recording into the inputs directory of a detection service, and unplugs them. Their files are
// in the hidden directory ".replayed" of that directory, to which the inputs are links as 'plug' makes them.
#ifndef SRCWATCH_TOOLS_INPUTSREPLAY_H
#define SRCWATCH_TOOLS_INPUTSREPLAY_H

#include "Capture.h"
#include "Replay.h"

#include <string>

namespace ctl {

class InputsReplay : public ReplayTarget {
public:
    /// Throws a Failure if there is no such directory.
    explicit InputsReplay(const std::string& inputs);

    bool Wants(const Json::Value& entry) const override;
    void Apply(const Json::Value& entry) override;

private:
    void Restore(const Json::Value& plugged);
    void Set(const Json::Value& input);
    void Plug(int port, const srcwatch::Capture& capture);
    void Unplug(int port);
    std::string InputPath(int port) const;
    std::string DevicePath(int port) const;
    bool IsReplayed(int port) const;

    const std::string m_inputs;
};

}  // namespace ctl

#endif
