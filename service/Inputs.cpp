// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Evidence.h"
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
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
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
    const GTextPtr name(g_file_get_basename(file));
    return name ? name.get() : "";
}

GObjectPtr<GFileMonitor> MonitorDirectory(const std::string& path, std::string& error)
{
    const GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
    GError* failure = nullptr;
    GObjectPtr<GFileMonitor> monitor(
        g_file_monitor_directory(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, &failure));
    const GErrorPtr owner(failure);
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
    GObjectPtr<GFileMonitor> monitor;
    Timer quiet;
    std::string refusal;  // the last reason told, so that it is told once

    Input(Inputs* inputs, int portIndex, std::string inputName)
        : owner(inputs), port(portIndex), name(std::move(inputName))
    {
    }
};

Inputs::Inputs(unsigned quietMilliseconds, int hdmiCount, InputsListener& listener)
    : m_QuietMilliseconds(quietMilliseconds), m_Listener(listener)
{
    for (int port = 0; port < std::min(hdmiCount, kMostHdmiInputs); ++port) {
        m_Inputs.push_back(std::make_unique<Input>(this, port, InputName(port)));
    }
    m_Inputs.push_back(std::make_unique<Input>(this, SRCWATCH_PORT_OPTICAL, InputName(SRCWATCH_PORT_OPTICAL)));
}

Inputs::~Inputs()
{
    if (m_Monitor) g_signal_handlers_disconnect_by_data(m_Monitor.get(), this);
    for (const auto& input : m_Inputs) {
        if (input->monitor) g_signal_handlers_disconnect_by_data(input->monitor.get(), input.get());
    }
}

std::string Inputs::Start(const std::string& path)
{
    const Resolved resolved = Resolve(path);
    if (resolved.error != 0) return std::strerror(resolved.error);
    m_Path = resolved.path;
    std::string error;
    m_Monitor = MonitorDirectory(m_Path, error);
    if (!m_Monitor) return error;
    g_signal_connect(m_Monitor.get(), "changed", G_CALLBACK(OnInputsEvent), this);

    error = NoteUnknownThere();
    for (const auto& input : m_Inputs) Look(*input);
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
    const GTextPtr path(g_file_get_path(file));
    if (path && inputs->m_Path == path.get()) {
        if (!Exists(inputs->m_Path)) inputs->m_Listener.OnInputsLost();
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
        std::find_if(m_Inputs.begin(), m_Inputs.end(), [&](const auto& candidate) { return candidate->name == name; });
    return input == m_Inputs.end() ? nullptr : input->get();
}

Inputs::Input* Inputs::Find(int port) const
{
    const auto input =
        std::find_if(m_Inputs.begin(), m_Inputs.end(), [&](const auto& candidate) { return candidate->port == port; });
    return input == m_Inputs.end() ? nullptr : input->get();
}

void Inputs::Look(Input& input)
{
    const std::string path = m_Path + "/" + input.name;
    if (!Exists(path)) {
        input.refusal.clear();
        return Unplug(input);
    }
    const Resolved resolved = Resolve(path);
    if (resolved.error != 0) return Refuse(input, std::strerror(resolved.error));
    struct stat status {};
    if (stat(resolved.path.c_str(), &status) != 0) return Refuse(input, std::strerror(errno));
    if (!S_ISDIR(status.st_mode)) return Refuse(input, "not a directory");
    if (Contains(resolved.path, m_Path)) return Refuse(input, "a link loop: it leads to the inputs directory");
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
    m_Listener.OnPlugged(input.port);
}

void Inputs::Unplug(Input& input)
{
    if (input.directory.empty()) return;
    if (input.monitor) g_signal_handlers_disconnect_by_data(input.monitor.get(), &input);
    input.monitor.reset();
    input.quiet.Stop();
    input.directory.clear();
    m_Listener.OnUnplugged(input.port);
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
    const GTextPtr path(g_file_get_path(file));
    if (path && device->directory == path.get()) {
        if (event != G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED) device->owner->Look(*device);
        return;
    }
    if (IsEvidenceFile(BaseNameOf(file)) || IsEvidenceFile(BaseNameOf(other))) device->owner->BeginQuiet(*device);
}

void Inputs::BeginQuiet(Input& input)
{
    input.quiet.Start(m_QuietMilliseconds, [this, port = input.port] { m_Listener.OnSettled(port); });
}

// Thousands of names may come at once: they are told together.
void Inputs::NoteUnknown(const std::string& name)
{
    if (IsHidden(name)) return;
    if (m_UnknownCount++ == 0) m_FirstUnknown = name;
    m_UnknownTimer.Start(m_QuietMilliseconds, [this] { TellUnknown(); });
}

void Inputs::TellUnknown()
{
    SWLOG(DLOG_WARN, "%zu unknown name(s) in the inputs directory ignored, such as '%s'", m_UnknownCount,
          Printable(m_FirstUnknown).c_str());
    m_UnknownCount = 0;
}

std::string Inputs::NoteUnknownThere()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(m_Path.c_str()), closedir);
    if (!dir) return std::strerror(errno);
    while (const dirent* entry = readdir(dir.get())) {
        if (Find(entry->d_name) == nullptr) NoteUnknown(entry->d_name);
    }
    return "";
}

}  // namespace srcwatch
