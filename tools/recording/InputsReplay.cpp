// SPDX-License-Identifier: Apache-2.0
#include "InputsReplay.h"

#include "InputName.h"
#include "Inputs.h"
#include "Ports.h"

namespace ctl {

InputsReplay::InputsReplay(const std::string& inputs) : m_inputs(OpenInputs(inputs)) {}

bool InputsReplay::Wants(const Json::Value& entry) const
{
    return entry["kind"] == "input" || (entry["kind"] == "snapshot" && entry.isMember("inputs"));
}

void InputsReplay::Apply(const Json::Value& entry)
{
    if (entry["kind"] == "input") return Set(entry);
    Restore(entry["inputs"]);
}

// What an earlier replay left is unplugged.
void InputsReplay::Restore(const Json::Value& plugged)
{
    for (const int port : srcwatch::kNamedInputs) Unplug(port);
    for (const Json::Value& input : plugged) Set(input);
}

void InputsReplay::Set(const Json::Value& input)
{
    const int port = input["port"].asInt();
    RequirePort(port);
    const auto capture = input["capture"].isNull() ? std::nullopt : srcwatch::CaptureOf(input["capture"]);
    if (!capture) return Unplug(port);
    Require(m_inputs.IsOwn(port) ? m_inputs.Change(port, *capture) : m_inputs.Plug(port, *capture));
}

void InputsReplay::Unplug(int port)
{
    if (m_inputs.IsOwn(port)) Require(m_inputs.Unplug(port));
}

}  // namespace ctl
