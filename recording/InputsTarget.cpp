// SPDX-License-Identifier: Apache-2.0
#include "InputsTarget.h"

#include "InputName.h"

namespace srcwatch {

bool InputsTarget::Wants(const Json::Value& entry) const
{
    return entry["kind"] == "input" || (entry["kind"] == "snapshot" && entry.isMember("inputs"));
}

void InputsTarget::Apply(const Json::Value& entry)
{
    if (entry["kind"] == "input") m_wanted[entry["port"].asInt()] = entry["capture"];
    if (entry["kind"] != "snapshot" || !entry.isMember("inputs")) return;
    for (const int port : kNamedInputs) m_wanted[port] = Json::Value();
    for (const Json::Value& input : entry["inputs"]) m_wanted[input["port"].asInt()] = input["capture"];
}

// The first time, what an earlier replay left is unplugged, too.
void InputsTarget::Settle()
{
    for (const auto& [port, capture] : m_wanted) {
        const auto known = m_set.find(port);
        if (known != m_set.end() && known->second == capture) continue;
        m_set[port] = capture;
        if (capture.isNull() || MayPlug(port)) Check(Set(port, capture));
    }
}

// A device that is plugged in gets the files of the new one. One that stays is left alone, so it is not detected again.
InputOutcome InputsTarget::Set(int port, const Json::Value& capture) const
{
    const auto device = CaptureOf(capture);
    if (!m_inputs.IsOwn(port)) return device ? m_inputs.Plug(port, *device) : InputOutcome{};
    if (!device) return m_inputs.Unplug(port);
    return *device == m_inputs.Read(port) ? InputOutcome{} : m_inputs.Change(port, *device);
}

}  // namespace srcwatch
