// SPDX-License-Identifier: Apache-2.0
//
// Plugs the devices of a recording into the inputs directory of a detection service, and unplugs them.
#ifndef SRCWATCH_TOOLS_INPUTSREPLAY_H
#define SRCWATCH_TOOLS_INPUTSREPLAY_H

#include "InputsDirectory.h"
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
    void Unplug(int port);

    const srcwatch::InputsDirectory m_inputs;
};

}  // namespace ctl

#endif
