// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the detection service, as those see it who plug devices in: an input is a link to a capture,
// or to a device whose files are made in a hidden directory beside it, which the service passes over.
#ifndef SRCWATCH_INPUTS_INPUTSDIRECTORY_H
#define SRCWATCH_INPUTS_INPUTSDIRECTORY_H

#include "Capture.h"

#include <string>
#include <utility>

namespace srcwatch {

/// @name Hidden directories of devices that are made; whoever makes devices leaves those in the others alone
/// @{
constexpr char kComposedDevices[] = ".panel";
constexpr char kReplayedDevices[] = ".replayed";
/// @}

/// What became of a change; if it was not made, why.
struct InputOutcome {
    enum class Kind {
        kDone,
        kConflict,  ///< what is plugged in, or not, does not allow it
        kFailed
    };

    Kind kind = Kind::kDone;
    std::string reason;

    bool IsDone() const { return kind == Kind::kDone; }
};

/// Makes a directory with the files of a capture. @return Why it cannot; empty if it is made.
std::string SaveCapture(const std::string& directory, const Capture& capture);

class InputsDirectory {
public:
    /// @param devices  Hidden directory of the devices that are made here.
    explicit InputsDirectory(std::string path, std::string devices = kReplayedDevices)
        : m_path(std::move(path)), m_devices(std::move(devices))
    {
    }

    const std::string& Path() const { return m_path; }
    std::string PathOf(int port) const;

    /// Returns true if there is anything at an input.
    bool IsPlugged(int port) const;
    /// Returns true if an input is a device that was made here.
    bool IsOwn(int port) const;
    /// Returns where the link of an input leads; empty if it is none.
    std::string TargetOf(int port) const;
    /// Returns the files of what is plugged into a port.
    Capture Read(int port) const;

    /// Plugs in the device of a directory. What is plugged in already stays.
    InputOutcome Link(int port, const std::string& directory) const;
    /// Makes a device and plugs it in, complete when it appears. What is plugged in already stays.
    InputOutcome Plug(int port, const Capture& device) const;
    /// Gives a device that was made here other files, each in one step.
    InputOutcome Change(int port, const Capture& device) const;
    /// Removes a link, and the device if it was made. Anything else stays: it has data that may be nowhere else.
    InputOutcome Unplug(int port) const;
    InputOutcome Move(int from, int to) const;

private:
    bool IsMade(int port) const;
    std::string DeviceTarget(int port) const;
    std::string DevicePath(int port) const;
    InputOutcome Make(const std::string& directory, const Capture& device) const;
    InputOutcome Occupied(int port) const;

    std::string m_path;
    std::string m_devices;
};

}  // namespace srcwatch

#endif
