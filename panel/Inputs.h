// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the detection service: which devices are plugged in, and plugging them. An input that is made
// here is a link, to a capture or to a directory with the files of a composed device.
#ifndef SRCWATCH_PANEL_INPUTS_H
#define SRCWATCH_PANEL_INPUTS_H

#include "Capture.h"
#include "Http.h"

#include <string>

namespace panel {

/// Whether something was done; if not, why.
struct Outcome {
    Status status = kOk;
    std::string reason;

    bool IsDone() const { return status == kOk; }
    Reply ToReply() const { return IsDone() ? Done() : Refusal(status, reason); }
};

class Inputs {
public:
    /// @param captures  Directory of the captures that have a name.
    Inputs(std::string directory, std::string captures)
        : m_directory(std::move(directory)), m_captures(std::move(captures))
    {
    }

    const std::string& Directory() const { return m_directory; }

    /// Returns true if the input of a port is there.
    bool IsPlugged(int port) const;
    /// Returns true if the input is a device that was composed here.
    bool IsComposed(int port) const;
    /// Returns the name of the capture that is plugged into a port; empty if it is anything else.
    std::string CaptureOn(int port) const;
    /// Returns the files of what is plugged into a port.
    srcwatch::Capture Read(int port) const;

    Outcome Plug(int port, const std::string& capture) const;
    Outcome PlugDevice(int port, const srcwatch::Capture& device) const;
    Outcome Unplug(int port) const;
    Outcome Move(int from, int to) const;

private:
    std::string InputPath(int port) const;
    std::string DevicePath(int port) const;
    std::string DeviceTarget(int port) const;
    Outcome RequireFree(int port) const;
    Outcome Link(int port, const std::string& target) const;
    Outcome Unlink(int port) const;

    const std::string m_directory;
    const std::string m_captures;
};

}  // namespace panel

#endif
