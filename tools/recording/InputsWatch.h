// SPDX-License-Identifier: Apache-2.0
//
// What is plugged into the inputs directory of the detection service, and what changes there.
#ifndef SRCWATCH_TOOLS_INPUTSWATCH_H
#define SRCWATCH_TOOLS_INPUTSWATCH_H

#include "DirectoryWatch.h"
#include "InputsDirectory.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <json/value.h>

namespace ctl {

class InputsWatch {
public:
    /// @param onChange  Gets an input that changed, in the main loop; no exception may leave it.
    /// Throws a Failure if the directory cannot be watched.
    InputsWatch(srcwatch::InputsDirectory inputs, std::function<void(const Json::Value& input)> onChange);
    InputsWatch(const InputsWatch&) = delete;
    InputsWatch& operator=(const InputsWatch&) = delete;

    /// Returns the inputs that have a device.
    Json::Value Plugged() const;

private:
    struct Input {
        Input(InputsWatch& owner, int number);

        const int port;
        std::optional<srcwatch::Capture> capture;
        srcwatch::DirectoryWatch watch;  // of the device's directory
    };

    void HandleChange(const std::string& name, std::uint32_t events);
    void Unplug(Input& input);
    void Refresh(Input& input);

    const srcwatch::InputsDirectory m_inputs;
    const std::function<void(const Json::Value& input)> m_onChange;
    std::map<int, Input> m_ports;
    bool m_isReady = false;
    srcwatch::DirectoryWatch m_watch;
};

}  // namespace ctl

#endif
