// SPDX-License-Identifier: Apache-2.0
#include "DirectoryInputs.h"

#include "InputName.h"
#include "Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include <sys/stat.h>

namespace srcwatch {

namespace {

// The longest time from the first sign of a device to its detection, in milliseconds, whatever goes on.
constexpr unsigned kLongestSettling = 500;

constexpr const char* kEvidenceFiles[] = {kSpdFile, kCecFile, kAksvFile};

// Returns true if a directory contains another one or is the same.
bool Contains(const std::string& directory, const std::string& other)
{
    return directory == "/" || other == directory || other.compare(0, directory.size() + 1, directory + "/") == 0;
}

// What the installed unit hides from the service (ProtectHome, PrivateTmp) looks as if it were absent or forbidden.
std::string HintOn(const std::filesystem::path& link, const std::error_code& error)
{
    constexpr const char* kHidden[] = {"/home", "/root", "/run/user", "/tmp", "/var/tmp"};
    if (error != std::errc::no_such_file_or_directory && error != std::errc::permission_denied) return "";
    std::error_code isNoLink;
    const std::filesystem::path target = std::filesystem::read_symlink(link, isNoLink);
    const std::string place = (link.parent_path() / target).lexically_normal();
    const bool isHidden = std::any_of(std::begin(kHidden), std::end(kHidden), [&](const char* hidden) {
        return Contains(hidden, place) && !Contains(hidden, link);
    });
    if (isNoLink || !isHidden) return "";
    return ": '" + Printable(place) + "', which the service's unit may hide from it; keep it in another place";
}

bool IsEvidenceFile(const std::string& name)
{
    return std::find(std::begin(kEvidenceFiles), std::end(kEvidenceFiles), name) != std::end(kEvidenceFiles);
}

std::int64_t Milliseconds(const timespec& time) { return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000; }

// Milliseconds since something was last changed in a directory or in the files that count. A file's time of change is
// that of the kernel, which a copy does not take over.
std::int64_t AgeOf(const std::string& directory)
{
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return 0;
    std::int64_t newest = Milliseconds(status.st_mtim);
    for (const char* const file : kEvidenceFiles) {
        if (stat((directory + "/" + file).c_str(), &status) != 0) continue;
        newest = std::max(newest, Milliseconds(status.st_ctim));
    }
    return g_get_real_time() / 1000 - newest;
}

}  // namespace

DirectoryInputs::Input::Input(DirectoryInputs& owner, int portIndex)
    : port(portIndex), watch([&owner, this](const std::string& name, std::uint32_t events) {
          owner.HandleChangeOfDevice(*this, name, events);
      })
{
}

DirectoryInputs::DirectoryInputs(std::string path, unsigned quietMilliseconds, PortSet ports)
    : m_givenPath(std::move(path)),
      m_quietMilliseconds(quietMilliseconds),
      m_watch([this](const std::string& name, std::uint32_t events) { HandleChange(name, events); })
{
    for (const int port : ports.All()) m_inputs.try_emplace(port, *this, port);
}

std::string DirectoryInputs::Start(InputListener& listener)
{
    m_listener = &listener;
    const std::error_code error = Start();
    return error ? "the inputs directory " + m_givenPath + " cannot be watched: " + error.message() : "";
}

std::error_code DirectoryInputs::Start()
{
    std::error_code error;
    m_path = std::filesystem::canonical(m_givenPath, error);
    if (!error) error = m_watch.Start(m_path);
    if (error) return error;
    for (std::filesystem::directory_iterator it(m_path, error), end; !error && it != end; it.increment(error)) {
        CountUnknown(it->path().filename());
    }
    for (auto& [port, input] : m_inputs) Refresh(input);
    return error;
}

Evidence DirectoryInputs::ReadEvidence(int port) const
{
    return srcwatch::ReadEvidence(m_inputs.at(port).directory, HdmiInput(port));
}

Capture DirectoryInputs::ReadCapture(int port) const
{
    Remarks remarks;  // which were logged when the device was detected
    return srcwatch::ReadCapture(m_inputs.at(port).directory, remarks);
}

void DirectoryInputs::HandleChange(const std::string& name, std::uint32_t events)
{
    if ((events & DirectoryWatch::kGone) != 0) {
        return m_listener->OnInputsLost("the inputs directory " + m_givenPath + " is gone");
    }
    if ((events & IN_Q_OVERFLOW) != 0) {  // any change may be lost
        for (auto& [port, input] : m_inputs) Refresh(input);
    }
    if ((events & (IN_CREATE | IN_MOVED_TO)) != 0) CountUnknown(name);
    Input* const input = Find(name);
    if (input == nullptr) return;
    // By now another directory may have the name, even with the inode number of the one that is gone.
    if ((events & (IN_DELETE | IN_MOVED_FROM)) != 0) Unplug(*input);
    Refresh(*input);
    if ((events & IN_ATTRIB) == 0 || !IsPlugged(input->port)) return;
    // What could not be read before may be readable now.
    WatchDevice(*input);
    Settle(*input, m_quietMilliseconds);
}

void DirectoryInputs::HandleChangeOfDevice(Input& input, const std::string& name, std::uint32_t events)
{
    if ((events & (IN_DELETE_SELF | IN_UNMOUNT)) != 0) Unplug(input);
    if ((events & DirectoryWatch::kGone) != 0) return Refresh(input);
    if ((events & IN_Q_OVERFLOW) != 0 || IsEvidenceFile(name)) Settle(input, m_quietMilliseconds);
}

DirectoryInputs::Input* DirectoryInputs::Find(const std::string& name)
{
    const auto input = std::find_if(m_inputs.begin(), m_inputs.end(),
                                    [&](const auto& entry) { return InputName(entry.first) == name; });
    return input == m_inputs.end() ? nullptr : &input->second;
}

void DirectoryInputs::Refresh(Input& input)
{
    input.again.Stop();
    std::error_code error;
    const std::filesystem::path path = std::filesystem::path(m_path) / InputName(input.port);
    if (std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found) {
        input.refusal.clear();
        return Unplug(input);
    }
    const std::string directory = std::filesystem::canonical(path, error);
    if (error) return RefuseFor(input, error);
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return RefuseFor(input, {errno, std::generic_category()});
    if (!S_ISDIR(status.st_mode)) return Refuse(input, "not a directory");
    if (Contains(directory, m_path)) return Refuse(input, "a link loop: it leads to the inputs directory");
    Plug(input, directory, status.st_dev, status.st_ino);
}

void DirectoryInputs::Plug(Input& input, const std::string& directory, dev_t device, ino_t inode)
{
    if (input.directory == directory && input.device == device && input.inode == inode) {
        if (input.watch.IsRunning()) return;
        WatchDevice(input);
        return Settle(input, m_quietMilliseconds);  // for what changed meanwhile
    }
    Unplug(input);
    input.directory = directory;
    input.device = device;
    input.inode = inode;
    WatchDevice(input);
    // What has been quiet for long enough is read at once. After a step of the clock a file may be of the future.
    const std::int64_t quiet = m_quietMilliseconds;
    Settle(input, static_cast<unsigned>(quiet - std::clamp<std::int64_t>(AgeOf(directory), 0, quiet)));
    m_listener->OnPlugged(input.port);
}

void DirectoryInputs::Unplug(Input& input)
{
    if (input.directory.empty()) return;
    input.watch.Stop();
    input.quiet.Stop();
    input.directory.clear();
    m_listener->OnUnplugged(input.port);
}

void DirectoryInputs::Refuse(Input& input, const std::string& reason)
{
    Unplug(input);
    LogOnce(input, "refused", reason);
}

// An input that cannot be examined for a moment is neither empty nor another one.
void DirectoryInputs::RefuseFor(Input& input, const std::error_code& error)
{
    const std::filesystem::path path = std::filesystem::path(m_path) / InputName(input.port);
    if (!IsTransient(error.value())) return Refuse(input, error.message() + HintOn(path, error));
    LogOnce(input, "cannot be examined", error.message());
    RefreshLater(input);
}

void DirectoryInputs::LogOnce(Input& input, const char* what, const std::string& reason)
{
    if (input.refusal == reason) return;
    input.refusal = reason;
    SWLOG(kLogError, "%s: %s: %s", InputName(input.port).c_str(), what, reason.c_str());
}

void DirectoryInputs::RefreshLater(Input& input)
{
    input.again.Start(kPauseMilliseconds, [this, port = input.port] { Refresh(port); });
}

void DirectoryInputs::WatchDevice(Input& input)
{
    const std::error_code error = input.watch.Start(input.directory);
    if (!error) input.refusal.clear();
    // Reading an unreadable directory fails, too, which is logged then.
    if (!error || error == std::errc::permission_denied) return;
    LogOnce(input, "cannot watch for changes", error.message());
    if (IsTransient(error.value())) RefreshLater(input);
}

void DirectoryInputs::SettleLater(int port)
{
    m_inputs.at(port).quiet.Start(kPauseMilliseconds, [this, port] { m_listener->OnSettled(port); });
}

// Once the time is that of the longest settling, further changes do not start it again: if changes come faster than the
// main loop turns, it would never be over.
void DirectoryInputs::Settle(Input& input, unsigned milliseconds)
{
    const gint64 now = g_get_monotonic_time() / 1000;
    if (!input.quiet.IsRunning()) {
        input.latest = now + std::max(kLongestSettling, m_quietMilliseconds);
    } else if (input.due == input.latest) {
        return;
    }
    input.due = std::min(now + milliseconds, input.latest);
    input.quiet.Start(static_cast<unsigned>(std::max<gint64>(input.due - now, 0)),
                      [this, port = input.port] { m_listener->OnSettled(port); });
}

// A name that begins with a dot is a file that is being written. Thousands of names may come at once, so they are
// logged together.
void DirectoryInputs::CountUnknown(const std::string& name)
{
    if (name.rfind('.', 0) == 0 || Find(name) != nullptr) return;
    if (m_unknownCount++ == 0) m_firstUnknown = name;
    m_unknownTimer.Start(m_quietMilliseconds, [this] { LogUnknown(); });
}

void DirectoryInputs::LogUnknown()
{
    SWLOG(kLogWarn, "%zu unknown name(s) in the inputs directory ignored, such as '%s'", m_unknownCount,
          Printable(m_firstUnknown).c_str());
    m_unknownCount = 0;
}

}  // namespace srcwatch
