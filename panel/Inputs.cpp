// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "InputName.h"
#include "Names.h"
#include "Tv.h"
#include "Words.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace panel {

namespace {

namespace fs = std::filesystem;

// Composed devices are in a hidden directory, which the service passes over.
constexpr char kDevices[] = ".panel";

// Returns why it cannot be written; empty if it is.
std::string MakeCapture(const fs::path& directory, const srcwatch::Capture& capture)
{
    std::error_code error;
    fs::remove_all(directory, error);
    if (!error) fs::create_directory(directory.parent_path(), error);
    if (!error) fs::create_directory(directory, error);
    if (error) return "cannot make the directory " + directory.string() + ": " + error.message();
    const bool isWritten = srcwatch::WriteCapture(directory, capture).empty();
    return isWritten ? "" : "cannot write the files of " + directory.string();
}

Outcome Move(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::remove_all(to, error);
    if (!error) fs::rename(from, to, error);
    if (error) return {kServerError, "cannot write " + to.string() + ": " + error.message()};
    return {};
}

}  // namespace

std::string Inputs::InputPath(int port) const { return m_directory + "/" + srcwatch::InputName(port); }

std::string Inputs::DeviceTarget(int port) const { return std::string(kDevices) + "/" + srcwatch::InputName(port); }

std::string Inputs::DevicePath(int port) const { return m_directory + "/" + DeviceTarget(port); }

bool Inputs::IsPlugged(int port) const
{
    std::error_code error;
    return fs::exists(fs::symlink_status(InputPath(port), error));
}

bool Inputs::IsComposed(int port) const
{
    std::error_code isNoLink;
    return fs::read_symlink(InputPath(port), isNoLink) == DeviceTarget(port);
}

std::string Inputs::CaptureOn(int port) const
{
    std::error_code error;
    const fs::path target = fs::read_symlink(InputPath(port), error);
    const fs::path captures = fs::canonical(m_captures, error);
    const fs::path parent = error ? fs::path() : fs::weakly_canonical(target.parent_path(), error);
    return !error && !target.empty() && parent == captures ? target.filename().string() : "";
}

srcwatch::Capture Inputs::Read(int port) const
{
    srcwatch::Remarks remarks;
    return srcwatch::ReadCapture(InputPath(port), remarks);
}

Outcome Inputs::RequireFree(int port) const
{
    if (!HasPort(port)) return {kBadRequest, "the TV has no port " + std::to_string(port)};
    if (!IsPlugged(port)) return {};
    return {kConflict, "a device is already plugged into " + srcwatch::PortName(port)};
}

// Creating the link is also the test: anything that has the name stays as it is.
Outcome Inputs::Link(int port, const std::string& target) const
{
    if (symlink(target.c_str(), InputPath(port).c_str()) == 0) return {};
    if (errno == EEXIST) return {kConflict, "a device is already plugged into " + srcwatch::PortName(port)};
    return {kServerError, "cannot create the link " + InputPath(port) + ": " + strerrordesc_np(errno)};
}

// Only links are removed: a directory has data that may be nowhere else.
Outcome Inputs::Unlink(int port) const
{
    if (!HasPort(port)) return {kBadRequest, "the TV has no port " + std::to_string(port)};
    std::error_code error;
    const fs::file_status status = fs::symlink_status(InputPath(port), error);
    if (!fs::exists(status)) return {kConflict, "nothing is plugged into " + srcwatch::PortName(port)};
    if (!fs::is_symlink(status)) return {kConflict, InputPath(port) + " is not a link, so it stays"};
    if (unlink(InputPath(port).c_str()) == 0) return {};
    return {kServerError, "cannot remove the link " + InputPath(port) + ": " + strerrordesc_np(errno)};
}

Outcome Inputs::Plug(int port, const std::string& capture) const
{
    Outcome outcome = RequireFree(port);
    if (!outcome.IsDone()) return outcome;
    Outcome isMissing = {kNotFound, "no such capture: " + capture};
    if (!IsPlainName(capture)) return isMissing;
    std::error_code error;
    const fs::path path = fs::canonical(fs::path(m_captures) / capture, error);
    return !error && fs::is_directory(path, error) ? Link(port, path) : isMissing;
}

// The device is complete when it appears.
Outcome Inputs::PlugDevice(int port, const srcwatch::Capture& device) const
{
    Outcome outcome = RequireFree(port);
    if (!outcome.IsDone()) return outcome;
    const std::string next = DevicePath(port) + ".next";
    const std::string why = MakeCapture(next, device);
    if (!why.empty()) return {kServerError, why};
    outcome = panel::Move(next, DevicePath(port));
    return outcome.IsDone() ? Link(port, DeviceTarget(port)) : outcome;
}

Outcome Inputs::Unplug(int port) const
{
    const bool isComposed = HasPort(port) && IsComposed(port);
    Outcome outcome = Unlink(port);
    std::error_code ignored;  // what stays is replaced by the next device
    if (outcome.IsDone() && isComposed) fs::remove_all(DevicePath(port), ignored);
    return outcome;
}

// It is unplugged before it is plugged in again, as with a cable.
Outcome Inputs::Move(int from, int to) const
{
    Outcome outcome = RequireFree(to);
    if (!outcome.IsDone()) return outcome;
    const bool isComposed = HasPort(from) && IsComposed(from);
    std::error_code isNoLink;
    std::string target = fs::read_symlink(InputPath(from), isNoLink);
    outcome = Unlink(from);
    if (outcome.IsDone() && isComposed) {
        outcome = panel::Move(DevicePath(from), DevicePath(to));
        target = DeviceTarget(to);
    }
    return outcome.IsDone() ? Link(to, target) : outcome;
}

}  // namespace panel
