// SPDX-License-Identifier: Apache-2.0
//
// Ports and device types, in words and as arguments.
#ifndef SRCWATCH_TOOLS_PORTS_H
#define SRCWATCH_TOOLS_PORTS_H

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ctl {

/// A decimal number of 32 bits that is all of a text, or nothing.
std::optional<int> ParseInt(const std::string& text);

/// "HDMI 1" for port 0, "optical" for port 99.
std::string PortName(int port);

/// The ports of this TV, the optical one last. Where the number of HDMI inputs is unknown, those with a record.
std::vector<int> AllPorts();

/// Whether a cable is connected; nothing where the TV service cannot tell, as for the optical source.
std::optional<bool> IsConnected(int port);

/// A device type in words: "set-top box", "none" for 0, "error type 2".
std::string DeviceTypeName(int type);

/// The device type that a name or a number means. Throws a Failure of wrong usage when it is neither.
int ParseDeviceType(const std::string& text);

/// Adds the argument PORT to a command, or the option when the name begins with '-': an index, 0 to 7 or 99.
CLI::Option* AddPort(CLI::App* command, const std::string& name, int& port);

/// Adds the option --timeout to a command.
CLI::Option* AddTimeout(CLI::App* command, std::optional<double>& seconds, const std::string& description);

}  // namespace ctl

#endif
