// SPDX-License-Identifier: Apache-2.0
//
// What stands on the command line: how numbers and names are read, and the arguments that several commands have. What
// is refused is refused with "'x' is not a ...", as wrong usage.
#ifndef SRCWATCH_TOOLS_ARGUMENTS_H
#define SRCWATCH_TOOLS_ARGUMENTS_H

#include "CommandLine.h"

#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ctl {

/// Names with the numbers that they mean.
using Names = std::vector<std::pair<std::string, int>>;

/// Returns the decimal number of 32 bits that is all of a text, or nothing.
std::optional<int> ParseInt(const std::string& text);

/// Returns the decimal number, perhaps with a fraction, that is all of a text, or nothing.
std::optional<double> ParseDecimal(const std::string& text);

/// Returns the port that a text names: 0 to 7, 99, or as tables show it ("HDMI 1", also "hdmi1", "optical"); or
/// nothing.
std::optional<int> ParsePort(const std::string& text);

/// @name What an argument may be. "what" has its article: "a device type".
/// @{
cli::Check IsNumber(int lowest = INT_MIN, int highest = INT_MAX);
/// Numbers may also be hexadecimal, as in 0x1001.
cli::Check IsNumberOrName(const std::string& what, const Names& names);
/// Numbers that may have a fraction.
cli::Check IsDecimal(const std::string& what, double lowest, double highest);
cli::Check IsPort();
cli::Check IsOneOf(const std::string& what, const std::vector<std::string>& names);
/// @}

/// Adds the argument PORT to a command, or an option: an index, 0 to 7 or 99, or a name as tables show it.
cli::Option AddPort(cli::Command command, const std::string& name, int& port);

/// Adds the argument PORT to a command that only HDMI inputs have.
cli::Option AddHdmiPort(cli::Command command, int& port);

/// Adds an option that is a time in seconds to a command.
cli::Option AddSeconds(cli::Command command, const std::string& name, std::optional<double>& seconds,
                       const std::string& description);

/// Adds the option --timeout to a command.
cli::Option AddTimeout(cli::Command command, std::optional<double>& seconds, const std::string& description);

/// Adds the option --count to a command.
cli::Option AddCount(cli::Command command, int& count, const std::string& description);

/// Environment variable of the option --inputs.
constexpr const char* kInputsVariable = "SRCWATCH_INPUTS";

/// Adds the option --inputs to a command: the inputs directory of the reference detection service.
cli::Option AddInputs(cli::Command command, std::string& directory);

}  // namespace ctl

#endif
