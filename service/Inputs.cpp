// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Evidence.h"
#include "InputName.h"
#include "Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sys/stat.h>

namespace srcwatch {

namespace {

// How long GLib may hold back the notice of a change that follows another; well below any sensible quiet time.
constexpr int kRateLimitMilliseconds = 10;

// Returns true if a directory contains another one or is the same.
bool Contains(const std::string& directory, const std::string& other)
{
    return directory == "/" || other == directory || other.compare(0, directory.size() + 1, directory + "/") == 0;
}

std::string BaseNameOf(GFile* file)
{
    if (file == nullptr) return "";
    const Handle<char, g_free> name(g_file_get_basename(file));
    return name ? name.get() : "";
}

Handle<GFileMonitor, g_object_unref> MonitorDirectory(const std::string& path, std::string& error)
{
    const Handle<GFile, g_object_unref> file(g_file_new_for_path(path.c_str()));
    GError* failure = nullptr;
    Handle<GFileMonitor, g_object_unref> monitor(
        g_file_monitor_directory(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, &failure));
    const Handle<GError, g_error_free> owner(failure);
    if (!monitor) {
        error = failure->message;
        return nullptr;
    }
    g_file_monitor_set_rate_limit(monitor.get(), kRateLimitMilliseconds);
    return monitor;
}

bool IsEvidenceFile(const std::string& name) { return name == kSpdFile || name == kCecFile || name == kAksvFile; }

}  // namespace

Inputs::Inputs(unsigned quietMilliseconds, PortSet ports, InputsListener& listener)
    : m_quietMilliseconds(quietMilliseconds), m_listener(listener)
{
    for (const int port : ports.All()) m_inputs.try_emplace(port, *this, port);
}

Inputs::~Inputs()
{
    if (m_monitor) g_signal_handlers_disconnect_by_data(m_monitor.get(), this);
    for (auto& [port, input] : m_inputs) {
        if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), &input);
    }
}

std::string Inputs::Start(const std::string& path)
{
    std::error_code error;
    m_path = std::filesystem::canonical(path, error);
    if (error) return error.message();
    std::string failure;
    m_monitor = MonitorDirectory(m_path, failure);
    if (!m_monitor) return failure;
    g_signal_connect(m_monitor.get(), "changed", G_CALLBACK(OnInputsEvent), this);

    for (std::filesystem::directory_iterator it(m_path, error), end; !error && it != end; it.increment(error)) {
        CountUnknown(it->path().filename());
    }
    for (auto& [port, input] : m_inputs) Refresh(input);
    return error ? error.message() : "";
}

void Inputs::OnInputsEvent(GFileMonitor* /*monitor*/, GFile* file, GFile* other, GFileMonitorEvent event, gpointer self)
{
    auto* const inputs = static_cast<Inputs*>(self);
    const Handle<char, g_free> path(g_file_get_path(file));
    if (path && inputs->m_path == path.get()) {
        std::error_code error;
        if (!std::filesystem::exists(inputs->m_path, error)) inputs->m_listener.OnInputsLost();
        return;
    }
    inputs->HandleInputsEvent(BaseNameOf(file), BaseNameOf(other), event);
}

void Inputs::HandleInputsEvent(const std::string& name, const std::string& otherName, GFileMonitorEvent event)
{
    switch (event) {
        case G_FILE_MONITOR_EVENT_CREATED:
        case G_FILE_MONITOR_EVENT_MOVED_IN:
            return HandleAppeared(name);
        case G_FILE_MONITOR_EVENT_DELETED:
        case G_FILE_MONITOR_EVENT_MOVED_OUT:
            return HandleGone(name);
        case G_FILE_MONITOR_EVENT_RENAMED:
            HandleGone(name);
            return HandleAppeared(otherName);
        case G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED:
            return HandleAttributes(name);
        default:
            return;
    }
}

void Inputs::HandleAppeared(const std::string& name)
{
    CountUnknown(name);
    if (Input* const input = Find(name)) Refresh(*input);
}

// By the time of the notice another directory may have the name, even with the inode number of the one that is gone.
void Inputs::HandleGone(const std::string& name)
{
    Input* const input = Find(name);
    if (input == nullptr) return;
    Unplug(*input);
    Refresh(*input);
}

// What could not be read before may be readable now.
void Inputs::HandleAttributes(const std::string& name)
{
    Input* const input = Find(name);
    if (input == nullptr) return;
    Refresh(*input);
    if (input->directory.empty()) return;
    WatchDevice(*input);
    RestartQuiet(*input);
}

Inputs::Input* Inputs::Find(const std::string& name)
{
    const auto input = std::find_if(m_inputs.begin(), m_inputs.end(),
                                    [&](const auto& entry) { return InputName(entry.first) == name; });
    return input == m_inputs.end() ? nullptr : &input->second;
}

void Inputs::Refresh(Input& input)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::path(m_path) / InputName(input.port);
    if (std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found) {
        input.refusal.clear();
        return Unplug(input);
    }
    const std::string directory = std::filesystem::canonical(path, error);
    if (error) return Refuse(input, error.message());
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return Refuse(input, std::strerror(errno));
    if (!S_ISDIR(status.st_mode)) return Refuse(input, "not a directory");
    if (Contains(directory, m_path)) return Refuse(input, "a link loop: it leads to the inputs directory");
    Plug(input, directory, status.st_dev, status.st_ino);
}

void Inputs::Plug(Input& input, const std::string& directory, dev_t device, ino_t inode)
{
    input.refusal.clear();
    if (input.directory == directory && input.device == device && input.inode == inode) return;
    Unplug(input);
    input.directory = directory;
    input.device = device;
    input.inode = inode;
    WatchDevice(input);
    RestartQuiet(input);
    m_listener.OnPlugged(input.port);
}

void Inputs::Unplug(Input& input)
{
    if (input.directory.empty()) return;
    if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), &input);
    input.monitor.reset();
    input.quiet.Stop();
    input.directory.clear();
    m_listener.OnUnplugged(input.port);
}

void Inputs::Refuse(Input& input, const std::string& reason)
{
    Unplug(input);
    if (input.refusal == reason) return;
    input.refusal = reason;
    SWLOG(DLOG_ERROR, "%s: refused: %s", InputName(input.port).c_str(), reason.c_str());
}

// The directory is watched by its real path, for which GLib has a single watch, because the watches of two links to one
// directory would end together.
void Inputs::WatchDevice(Input& input)
{
    if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), &input);
    std::string error;
    input.monitor = MonitorDirectory(input.directory, error);
    if (!input.monitor) {
        SWLOG(DLOG_ERROR, "%s: cannot watch for changes: %s", InputName(input.port).c_str(), error.c_str());
        return;
    }
    g_signal_connect(input.monitor.get(), "changed", G_CALLBACK(OnDeviceEvent), &input);
}

void Inputs::OnDeviceEvent(GFileMonitor* /*monitor*/, GFile* file, GFile* other, GFileMonitorEvent event,
                           gpointer input)
{
    auto* const device = static_cast<Input*>(input);
    const Handle<char, g_free> path(g_file_get_path(file));
    if (path && device->directory == path.get()) {
        if (event != G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED) device->owner.Refresh(*device);
        return;
    }
    if (IsEvidenceFile(BaseNameOf(file)) || IsEvidenceFile(BaseNameOf(other))) device->owner.RestartQuiet(*device);
}

void Inputs::RestartQuiet(Input& input)
{
    input.quiet.Start(m_quietMilliseconds, [this, port = input.port] { m_listener.OnSettled(port); });
}

// A name that begins with a dot is a file that is being written. Thousands of names may come at once, so they are
// logged together.
void Inputs::CountUnknown(const std::string& name)
{
    if (name.rfind('.', 0) == 0 || Find(name) != nullptr) return;
    if (m_unknownCount++ == 0) m_firstUnknown = name;
    m_unknownTimer.Start(m_quietMilliseconds, [this] { LogUnknown(); });
}

void Inputs::LogUnknown()
{
    SWLOG(DLOG_WARN, "%zu unknown name(s) in the inputs directory ignored, such as '%s'", m_unknownCount,
          Printable(m_firstUnknown).c_str());
    m_unknownCount = 0;
}

}  // namespace srcwatch
