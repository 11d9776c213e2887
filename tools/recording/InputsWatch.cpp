// SPDX-License-Identifier: Apache-2.0
#include "InputsWatch.h"

#include "Failure.h"
#include "InputName.h"
#include "Inputs.h"

#include <filesystem>

namespace ctl {

namespace {

constexpr int kRateLimitMs = 20;  // of reports on a file that is being written

bool IsSame(const srcwatch::Capture& one, const srcwatch::Capture& other)
{
    return one.spd == other.spd && one.cec == other.cec && one.aksv == other.aksv;
}

std::string NameOf(GFile* file)
{
    const srcwatch::Handle<char, g_free> name(file != nullptr ? g_file_get_basename(file) : nullptr);
    return name ? name.get() : "";
}

// Nothing if there is no device.
std::optional<srcwatch::Capture> ReadInput(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) return std::nullopt;
    srcwatch::Remarks remarks;  // what cannot be read is not known to the service either
    return srcwatch::ReadCapture(path, remarks);
}

}  // namespace

Json::Value InputToJson(int port, const std::optional<srcwatch::Capture>& capture)
{
    Json::Value input;
    input["port"] = port;
    input["capture"] = capture ? srcwatch::ToJson(*capture) : Json::Value();
    return input;
}

InputsWatch::InputsWatch(std::string directory, std::function<void(const Json::Value& input)> onChange)
    : m_directory(std::move(directory)), m_onChange(std::move(onChange))
{
    for (const int port : NamedInputs()) m_inputs[port];
    m_monitor = Watch(m_directory, G_CALLBACK(OnChange));
    if (!m_monitor) throw Failure("the inputs directory " + m_directory + " cannot be watched");
    for (auto& [port, input] : m_inputs) {
        const std::string path = m_directory + "/" + srcwatch::InputName(port);
        input.monitor = Watch(path, G_CALLBACK(OnDeviceChange));
        input.capture = ReadInput(path);
    }
}

InputsWatch::~InputsWatch()
{
    g_signal_handlers_disconnect_by_data(m_monitor.get(), this);
    for (const auto& [port, input] : m_inputs) {
        if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), this);
    }
}

// A link's device is in another place. Null if there is no such directory.
InputsWatch::Monitor InputsWatch::Watch(const std::string& path, GCallback callback)
{
    std::error_code error;
    const std::string place = std::filesystem::canonical(path, error);
    if (error) return nullptr;
    const srcwatch::Handle<GFile, g_object_unref> file(g_file_new_for_path(place.c_str()));
    Monitor monitor(g_file_monitor_directory(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr));
    if (!monitor) return nullptr;
    g_file_monitor_set_rate_limit(monitor.get(), kRateLimitMs);
    g_signal_connect(monitor.get(), "changed", callback, this);
    return monitor;
}

Json::Value InputsWatch::Plugged() const
{
    Json::Value plugged(Json::arrayValue);
    for (const auto& [port, input] : m_inputs) {
        if (input.capture) plugged.append(InputToJson(port, input.capture));
    }
    return plugged;
}

void InputsWatch::Unplug(int port)
{
    Input& input = m_inputs[port];
    if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), this);
    input.monitor.reset();
    if (!input.capture) return;
    input.capture.reset();
    m_onChange(InputToJson(port, std::nullopt));
}

void InputsWatch::Refresh(int port)
{
    const std::string path = m_directory + "/" + srcwatch::InputName(port);
    Input& input = m_inputs[port];
    if (!input.monitor) input.monitor = Watch(path, G_CALLBACK(OnDeviceChange));
    const std::optional<srcwatch::Capture> capture = ReadInput(path);
    if (!capture) return Unplug(port);
    if (input.capture && IsSame(*input.capture, *capture)) return;
    input.capture = capture;
    m_onChange(InputToJson(port, capture));
}

void InputsWatch::OnChange(GFileMonitor* /*monitor*/, GFile* file, GFile* other, GFileMonitorEvent event, void* self)
{
    auto& watch = *static_cast<InputsWatch*>(self);
    const bool isGone = event == G_FILE_MONITOR_EVENT_DELETED || event == G_FILE_MONITOR_EVENT_MOVED_OUT ||
                        event == G_FILE_MONITOR_EVENT_RENAMED;
    for (const auto& entry : watch.m_inputs) {
        const int port = entry.first;
        const std::string name = srcwatch::InputName(port);
        if (name == NameOf(file) && isGone) watch.Unplug(port);  // by now another device may be there
        if (name == NameOf(file) || name == NameOf(other)) watch.Refresh(port);
    }
}

void InputsWatch::OnDeviceChange(GFileMonitor* monitor, GFile* /*file*/, GFile* /*other*/, GFileMonitorEvent /*event*/,
                                 void* self)
{
    auto& watch = *static_cast<InputsWatch*>(self);
    for (const auto& [port, input] : watch.m_inputs) {
        if (input.monitor.get() == monitor) return watch.Refresh(port);
    }
}

}  // namespace ctl
