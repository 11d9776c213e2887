// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the detection service, as requests have it: with the TV's ports, and captures by their names.
#ifndef SRCWATCH_PANEL_INPUTS_H
#define SRCWATCH_PANEL_INPUTS_H

#include "Http.h"
#include "InputsDirectory.h"

#include <string>
#include <utility>

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
        : m_directory(std::move(directory), srcwatch::kComposedDevices), m_captures(std::move(captures))
    {
    }

    const std::string& Directory() const { return m_directory.Path(); }

    bool IsPlugged(int port) const { return m_directory.IsPlugged(port); }
    srcwatch::Capture Read(int port) const { return m_directory.Read(port); }
    /// Returns the name of the capture that is plugged into a port; empty if it is anything else.
    std::string CaptureOn(int port) const;

    Outcome Plug(int port, const std::string& capture) const;
    Outcome PlugDevice(int port, const srcwatch::Capture& device) const;
    Outcome Unplug(int port) const;
    Outcome Move(int from, int to) const;

private:
    const srcwatch::InputsDirectory m_directory;
    const std::string m_captures;
};

}  // namespace panel

#endif
