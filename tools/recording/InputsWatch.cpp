// SPDX-License-Identifier: Apache-2.0
#include "InputsWatch.h"

#include "Failure.h"
#include "InputName.h"

#include <filesystem>

namespace ctl {

namespace {

using srcwatch::DirectoryWatch;

// An input as a recording has it; nothing for a capture is an input without a device.
Json::Value InputToJson(int port, const std::optional<srcwatch::Capture>& capture)
{
    Json::Value input;
    input["port"] = port;
    input["capture"] = capture ? srcwatch::ToJson(*capture) : Json::Value();
    return input;
}

}  // namespace

InputsWatch::Input::Input(InputsWatch& owner, int number)
    : port(number), watch([&owner, this](const std::string& /*name*/, std::uint32_t events) {
          if ((events & DirectoryWatch::kGone) != 0) watch.Stop();
          owner.Refresh(*this);
      })
{
}

InputsWatch::InputsWatch(srcwatch::InputsDirectory inputs, std::function<void(const Json::Value& input)> onChange)
    : m_inputs(std::move(inputs)),
      m_onChange(std::move(onChange)),
      m_watch([this](const std::string& name, std::uint32_t events) { HandleChange(name, events); })
{
    if (m_watch.Start(m_inputs.Path())) {
        throw Failure("the inputs directory " + m_inputs.Path() + " cannot be watched");
    }
    for (const int port : srcwatch::kNamedInputs) Refresh(m_ports.try_emplace(port, *this, port).first->second);
    m_isReady = true;
}

Json::Value InputsWatch::Plugged() const
{
    Json::Value plugged(Json::arrayValue);
    for (const auto& [port, input] : m_ports) {
        if (input.capture) plugged.append(InputToJson(port, input.capture));
    }
    return plugged;
}

void InputsWatch::Unplug(Input& input)
{
    input.watch.Stop();
    if (!input.capture) return;
    input.capture.reset();
    m_onChange(InputToJson(input.port, std::nullopt));
}

void InputsWatch::Refresh(Input& input)
{
    std::error_code error;
    const std::string path = m_inputs.PathOf(input.port);
    if (!std::filesystem::is_directory(path, error)) return Unplug(input);
    // One that cannot be watched is there nevertheless.
    if (!input.watch.IsRunning()) static_cast<void>(input.watch.Start(path));
    srcwatch::Capture capture = m_inputs.Read(input.port);
    if (input.capture && *input.capture == capture) return;
    input.capture = std::move(capture);
    if (m_isReady) m_onChange(InputToJson(input.port, input.capture));
}

void InputsWatch::HandleChange(const std::string& name, std::uint32_t events)
{
    for (auto& [port, input] : m_ports) {
        const bool isMeant = name == srcwatch::InputName(port);
        if (isMeant) input.watch.Stop();
        if (isMeant && (events & (IN_DELETE | IN_MOVED_FROM)) != 0) Unplug(input);  // by now another may be there
        if (isMeant || (events & DirectoryWatch::kUnknown) != 0) Refresh(input);
    }
}

}  // namespace ctl
