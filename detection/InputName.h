// SPDX-License-Identifier: Apache-2.0
//
// The names of the inputs.
#ifndef SRCWATCH_DETECTION_INPUTNAME_H
#define SRCWATCH_DETECTION_INPUTNAME_H

#include "Topology.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <string>

namespace srcwatch {

/// How many HDMI inputs the library's functions accept at most.
constexpr int kHdmiPorts = 8;

/// Where the inputs are if nobody says otherwise.
constexpr const char* kDefaultInputs = "/run/srcwatch/inputs";

/// Returns true for 0 to 7, which the library's functions accept for HDMI inputs.
constexpr bool IsHdmiPort(int port) { return port >= 0 && port < kHdmiPorts; }

/// Returns the name of an input in the inputs directory: "hdmi1" for port 0, "optical" for port 99.
inline std::string InputName(int port)
{
    return port == SRCWATCH_PORT_OPTICAL ? SRCWATCH_INPUT_OPTICAL : SRCWATCH_INPUT_HDMI + std::to_string(port + 1);
}

/// Returns what people call an input: "HDMI 1" for port 0, "optical" for port 99.
inline std::string PortName(int port)
{
    return port == SRCWATCH_PORT_OPTICAL ? "optical" : "HDMI " + std::to_string(port + 1);
}

/// The ports that have a name in the inputs directory, whether a TV has them or not.
constexpr int kNamedInputs[] = {0, 1, 2, 3, 4, 5, 6, 7, SRCWATCH_PORT_OPTICAL};

/// Returns the number of a port's HDMI input, 1 for port 0; kNoHdmiInput for the optical port.
inline int HdmiInput(int port) { return port == SRCWATCH_PORT_OPTICAL ? kNoHdmiInput : port + 1; }

}  // namespace srcwatch

#endif
