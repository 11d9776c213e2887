// SPDX-License-Identifier: Apache-2.0
#include "InputsReplay.h"

#include "Captures.h"
#include "Failure.h"
#include "InputName.h"
#include "Inputs.h"
#include "Ports.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <unistd.h>

namespace ctl {

namespace {

namespace fs = std::filesystem;

void Remove(const fs::path& path)
{
    std::error_code error;
    fs::remove_all(path, error);
    if (error) throw Failure("cannot remove " + path.string() + ": " + error.message());
}

// Where there is none, there is none afterwards.
void MoveFile(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    if (!fs::exists(from, error)) return Remove(to);
    fs::rename(from, to, error);
    if (error) throw Failure("cannot write " + to.string() + ": " + error.message());
}

}  // namespace

InputsReplay::InputsReplay(const std::string& inputs) : m_inputs(inputs) { RequireInputs(inputs); }

std::string InputsReplay::InputPath(int port) const { return m_inputs + "/" + srcwatch::InputName(port); }

std::string InputsReplay::DevicePath(int port) const { return m_inputs + "/.replayed/" + srcwatch::InputName(port); }

bool InputsReplay::IsReplayed(int port) const
{
    std::error_code isNoLink;
    return fs::read_symlink(InputPath(port), isNoLink) == fs::path(".replayed") / srcwatch::InputName(port);
}

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
    for (const int port : NamedInputs()) Unplug(port);
    for (const Json::Value& input : plugged) Set(input);
}

void InputsReplay::Set(const Json::Value& input)
{
    const int port = input["port"].asInt();
    RequirePort(port);
    const auto capture = input["capture"].isNull() ? std::nullopt : srcwatch::CaptureOf(input["capture"]);
    if (!capture) return Unplug(port);
    Plug(port, *capture);
}

// A new device is complete when it appears. One that is plugged in gets other files, each in one step.
void InputsReplay::Plug(int port, const srcwatch::Capture& capture)
{
    const std::string device = DevicePath(port);
    if (IsReplayed(port)) {
        const std::string next = device + ".next";
        Remove(next);
        SaveCapture(next, capture);
        for (const char* const file : {srcwatch::kSpdFile, srcwatch::kCecFile, srcwatch::kAksvFile}) {
            MoveFile(fs::path(next) / file, fs::path(device) / file);
        }
        return Remove(next);
    }
    Remove(device);
    SaveCapture(device, capture);
    const std::string input = InputPath(port);
    if (symlink((".replayed/" + srcwatch::InputName(port)).c_str(), input.c_str()) == 0) return;
    if (errno == EEXIST) throw Failure("a device is already plugged into " + PortName(port) + ": " + input);
    throw Failure("cannot create the link " + input + ": " + strerrordesc_np(errno));
}

void InputsReplay::Unplug(int port)
{
    if (!IsReplayed(port)) return;
    const std::string input = InputPath(port);
    if (unlink(input.c_str()) != 0) throw Failure("cannot remove the link " + input + ": " + strerrordesc_np(errno));
    Remove(DevicePath(port));
}

}  // namespace ctl
