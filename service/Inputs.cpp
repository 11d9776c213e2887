// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Evidence.h"
#include "Handle.h"
#include "InputName.h"
#include "Log.h"
#include "PortSet.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <sys/stat.h>

namespace srcwatch {

namespace {

constexpr int kMostHdmiInputs = 8;
// How long GLib may hold back the notice of a change that follows another; well below any sensible quiet time.
constexpr int kRateLimitMilliseconds = 10;

// A resolved path, or the reason why there is none.
struct Resolved {
    std::string path;
    int error = 0;
};

Resolved Resolve(const std::string& path)
{
    const Handle<char, std::free> resolved(realpath(path.c_str(), nullptr));
    if (!resolved) return Resolved{"", errno};
    return Resolved{resolved.get(), 0};
}

bool Exists(const std::string& path)
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// Whether a directory contains another one, or is the same.
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

// A name with a dot at its front is somebody's file in the making.
bool IsHidden(const std::string& name) { return !name.empty() && name[0] == '.'; }

}  // namespace

struct Inputs::Input {
    Inputs* owner;
    int port;
    std::string name;

    std::string directory;  // empty while nothing is plugged
    dev_t device = 0;
    ino_t inode = 0;
    Handle<GFileMonitor, g_object_unref> monitor;
    Timer quiet;
    std::string refusal;  // the last reason told, so that it is told once

    Input(Inputs* inputs, int portIndex, std::string inputName)
        : owner(inputs), port(portIndex), name(std::move(inputName))
    {
    }
};

Inputs::Inputs(unsigned quietMilliseconds, int hdmiCount, InputsListener& listener)
    : m_quietMilliseconds(quietMilliseconds), m_listener(listener)
{
    for (int port = 0; port < std::min(hdmiCount, kMostHdmiInputs); ++port) {
        m_inputs.push_back(std::make_unique<Input>(this, port, InputName(port)));
    }
    m_inputs.push_back(std::make_unique<Input>(this, SRCWATCH_PORT_OPTICAL, InputName(SRCWATCH_PORT_OPTICAL)));
}

Inputs::~Inputs()
{
    if (m_monitor) g_signal_handlers_disconnect_by_data(m_monitor.get(), this);
    for (const auto& input : m_inputs) {
        if (input->monitor) g_signal_handlers_disconnect_by_data(input->monitor.get(), input.get());
    }
}

std::string Inputs::Start(const std::string& path)
{
    const Resolved resolved = Resolve(path);
    if (resolved.error != 0) return std::strerror(resolved.error);
    m_path = resolved.path;
    std::string error;
    m_monitor = MonitorDirectory(m_path, error);
    if (!m_monitor) return error;
    g_signal_connect(m_monitor.get(), "changed", G_CALLBACK(OnInputsEvent), this);

    error = NoteUnknownThere();
    for (const auto& input : m_inputs) Look(*input);
    return error;
}

std::string Inputs::DirectoryOf(int port) const
{
    const Input* const input = Find(port);
    return input == nullptr ? "" : input->directory;
}

void Inputs::Look(int port)
{
    if (Input* const input = Find(port)) Look(*input);
}

bool Inputs::IsSettling(int port) const
{
    const Input* const input = Find(port);
    return input != nullptr && input->quiet.IsRunning();
}

void Inputs::ForgetSettling(int port)
{
    if (Input* const input = Find(port)) input->quiet.Stop();
}

void Inputs::OnInputsEvent(GFileMonitor* /*monitor*/, GFile* file, GFile* other, GFileMonitorEvent event, gpointer self)
{
    auto* const inputs = static_cast<Inputs*>(self);
    const Handle<char, g_free> path(g_file_get_path(file));
    if (path && inputs->m_path == path.get()) {
        if (!Exists(inputs->m_path)) inputs->m_listener.OnInputsLost();
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
    Input* const input = Find(name);
    if (input == nullptr) return NoteUnknown(name);
    Look(*input);
}

// By the time of the notice another directory may have the name, even with the number of the one that is gone.
void Inputs::HandleGone(const std::string& name)
{
    Input* const input = Find(name);
    if (input == nullptr) return;
    Unplug(*input);
    Look(*input);
}

// What could not be read before may be readable now.
void Inputs::HandleAttributes(const std::string& name)
{
    Input* const input = Find(name);
    if (input == nullptr) return;
    Look(*input);
    if (input->directory.empty()) return;
    WatchDevice(*input);
    BeginQuiet(*input);
}

Inputs::Input* Inputs::Find(const std::string& name) const
{
    const auto input =
        std::find_if(m_inputs.begin(), m_inputs.end(), [&](const auto& candidate) { return candidate->name == name; });
    return input == m_inputs.end() ? nullptr : input->get();
}

Inputs::Input* Inputs::Find(int port) const
{
    const auto input =
        std::find_if(m_inputs.begin(), m_inputs.end(), [&](const auto& candidate) { return candidate->port == port; });
    return input == m_inputs.end() ? nullptr : input->get();
}

void Inputs::Look(Input& input)
{
    const std::string path = m_path + "/" + input.name;
    if (!Exists(path)) {
        input.refusal.clear();
        return Unplug(input);
    }
    const Resolved resolved = Resolve(path);
    if (resolved.error != 0) return Refuse(input, std::strerror(resolved.error));
    struct stat status {};
    if (stat(resolved.path.c_str(), &status) != 0) return Refuse(input, std::strerror(errno));
    if (!S_ISDIR(status.st_mode)) return Refuse(input, "not a directory");
    if (Contains(resolved.path, m_path)) return Refuse(input, "a link loop: it leads to the inputs directory");
    Plug(input, resolved.path, status.st_dev, status.st_ino);
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
    BeginQuiet(input);
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
    SWLOG(DLOG_ERROR, "%s refused: %s", input.name.c_str(), reason.c_str());
}

// The directory is watched by its real path: GLib has one watch for all that name it so, while the watches of two
// links to one directory would end together.
void Inputs::WatchDevice(Input& input)
{
    if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), &input);
    std::string error;
    input.monitor = MonitorDirectory(input.directory, error);
    if (!input.monitor) {
        SWLOG(DLOG_ERROR, "%s: changes will not be seen: %s", input.name.c_str(), error.c_str());
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
        if (event != G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED) device->owner->Look(*device);
        return;
    }
    if (IsEvidenceFile(BaseNameOf(file)) || IsEvidenceFile(BaseNameOf(other))) device->owner->BeginQuiet(*device);
}

void Inputs::BeginQuiet(Input& input)
{
    input.quiet.Start(m_quietMilliseconds, [this, port = input.port] { m_listener.OnSettled(port); });
}

// Thousands of names may come at once: they are told together.
void Inputs::NoteUnknown(const std::string& name)
{
    if (IsHidden(name)) return;
    if (m_unknownCount++ == 0) m_firstUnknown = name;
    m_unknownTimer.Start(m_quietMilliseconds, [this] { TellUnknown(); });
}

void Inputs::TellUnknown()
{
    SWLOG(DLOG_WARN, "%zu unknown name(s) in the inputs directory ignored, such as '%s'", m_unknownCount,
          Printable(m_firstUnknown).c_str());
    m_unknownCount = 0;
}

std::string Inputs::NoteUnknownThere()
{
    const Handle<DIR, closedir> dir(opendir(m_path.c_str()));
    if (!dir) return std::strerror(errno);
    while (const dirent* entry = readdir(dir.get())) {
        if (Find(entry->d_name) == nullptr) NoteUnknown(entry->d_name);
    }
    return "";
}

}  // namespace srcwatch
