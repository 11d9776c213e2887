// SPDX-License-Identifier: Apache-2.0
#include "InputsDirectory.h"

#include "InputName.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <unistd.h>

namespace srcwatch {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDevices[] = {kComposedDevices, kReplayedDevices};

InputOutcome Failed(const std::string& why) { return {InputOutcome::Kind::kFailed, why}; }

}  // namespace

std::string SaveCapture(const std::string& directory, const Capture& capture)
{
    std::error_code error;
    const fs::path parent = fs::path(directory).parent_path();
    if (!parent.empty()) fs::create_directories(parent, error);
    const bool isMade = !error && fs::create_directory(directory, error);
    if (error) return "cannot make the directory " + directory + ": " + error.message();
    if (!isMade) return directory + " exists already";
    const std::pair<const char*, std::string> files[] = {{kSpdFile, {capture.spd.begin(), capture.spd.end()}},
                                                         {kCecFile, capture.cec},
                                                         {kAksvFile, {capture.aksv.begin(), capture.aksv.end()}}};
    for (const auto& [name, bytes] : files) {
        if (bytes.empty()) continue;
        const std::string path = directory + "/" + name;
        std::ofstream file(path, std::ios::binary);
        if (!(file << bytes).flush()) return "cannot write " + path;
    }
    return "";
}

// ---------------------------------------------------------------------------------------------------------------------
// What is plugged in

std::string InputsDirectory::PathOf(int port) const { return m_path + "/" + InputName(port); }

std::string InputsDirectory::DeviceTarget(int port) const { return m_devices + "/" + InputName(port); }

std::string InputsDirectory::DevicePath(int port) const { return m_path + "/" + DeviceTarget(port); }

bool InputsDirectory::IsPlugged(int port) const
{
    std::error_code error;
    return fs::exists(fs::symlink_status(PathOf(port), error));
}

std::string InputsDirectory::TargetOf(int port) const
{
    std::error_code isNoLink;
    return fs::read_symlink(PathOf(port), isNoLink);
}

bool InputsDirectory::IsOwn(int port) const { return TargetOf(port) == DeviceTarget(port); }

bool InputsDirectory::IsMade(int port) const
{
    const std::string target = TargetOf(port);
    return std::any_of(std::begin(kDevices), std::end(kDevices),
                       [&](const std::string& devices) { return target == devices + "/" + InputName(port); });
}

Capture InputsDirectory::Read(int port) const
{
    Remarks remarks;  // what cannot be read is not known to the service either
    return ReadCapture(PathOf(port), remarks);
}

InputOutcome InputsDirectory::Occupied(int port) const
{
    return {InputOutcome::Kind::kConflict, "a device is already plugged into " + PortName(port) + ": " + PathOf(port)};
}

// ---------------------------------------------------------------------------------------------------------------------
// Changes

// Creating the link is also the test: anything that has the name stays as it is.
InputOutcome InputsDirectory::Link(int port, const std::string& directory) const
{
    if (symlink(directory.c_str(), PathOf(port).c_str()) == 0) return {};
    if (errno == EEXIST) return Occupied(port);
    return Failed("cannot create the link " + PathOf(port) + ": " + strerrordesc_np(errno));
}

// Where there is no inputs directory, none is made. What a writer that was killed has left is replaced.
InputOutcome InputsDirectory::Make(const std::string& directory, const Capture& device) const
{
    std::error_code error;
    fs::create_directory(fs::path(m_path) / m_devices, error);
    if (!error) fs::remove_all(directory, error);
    const std::string why =
        error ? "cannot make " + directory + ": " + error.message() : SaveCapture(directory, device);
    return why.empty() ? InputOutcome{} : Failed(why);
}

InputOutcome InputsDirectory::Plug(int port, const Capture& device) const
{
    if (IsPlugged(port)) return Occupied(port);
    InputOutcome outcome = Make(DevicePath(port), device);
    return outcome.IsDone() ? Link(port, DeviceTarget(port)) : outcome;
}

InputOutcome InputsDirectory::Change(int port, const Capture& device) const
{
    const fs::path next = DevicePath(port) + ".next";
    InputOutcome outcome = Make(next, device);
    if (!outcome.IsDone()) return outcome;
    std::error_code error;
    for (const char* const file : {kSpdFile, kCecFile, kAksvFile}) {
        const fs::path path = fs::path(DevicePath(port)) / file;
        const bool isKept = fs::exists(next / file, error);
        if (!error) isKept ? fs::rename(next / file, path, error) : static_cast<void>(fs::remove(path, error));
        if (error) return Failed("cannot write " + path.string() + ": " + error.message());
    }
    fs::remove_all(next, error);  // what stays is replaced by the next change
    return {};
}

InputOutcome InputsDirectory::Unplug(int port) const
{
    const std::string path = PathOf(port);
    const std::string device = IsMade(port) ? m_path + "/" + TargetOf(port) : "";
    std::error_code ignored;  // what cannot be examined is not there for the service either
    const fs::file_status status = fs::symlink_status(path, ignored);
    if (!fs::exists(status)) return {InputOutcome::Kind::kConflict, "nothing is plugged into " + PortName(port)};
    if (!fs::is_symlink(status)) {
        return {InputOutcome::Kind::kConflict, path + " is not a link, so it stays; move it away to unplug the device"};
    }
    if (unlink(path.c_str()) != 0) return Failed("cannot remove the link " + path + ": " + strerrordesc_np(errno));
    if (!device.empty()) fs::remove_all(device, ignored);  // what stays is replaced by the next device
    return {};
}

// It is unplugged before it is plugged in again, as with a cable.
InputOutcome InputsDirectory::Move(int from, int to) const
{
    if (IsPlugged(to)) return Occupied(to);
    const bool isMade = IsMade(from);
    const std::string target = TargetOf(from);
    const Capture device = Read(from);
    InputOutcome outcome = Unplug(from);
    if (!outcome.IsDone()) return outcome;
    return isMade ? Plug(to, device) : Link(to, target);
}

}  // namespace srcwatch
