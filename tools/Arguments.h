// SPDX-License-Identifier: Apache-2.0
//
// What stands on the command line: how numbers and names are read, and the arguments that several commands have. What
// is refused is refused with "'x' is not a ...", as wrong usage.
#ifndef SRCWATCH_TOOLS_ARGUMENTS_H
#define SRCWATCH_TOOLS_ARGUMENTS_H

#include "InputName.h"

#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace ctl {

/// Names with the numbers that they mean.
using Names = std::vector<std::pair<std::string, int>>;

/// Returns the decimal number of 32 bits that is all of a text, or nothing.
std::optional<int> ParseInt(const std::string& text);

/// Returns the decimal number, perhaps with a fraction, that is all of a text, or nothing.
std::optional<double> ParseDecimal(const std::string& text);

using srcwatch::IsHdmiPort;
using srcwatch::kHdmiPorts;

/// Returns the port that a text names: 0 to 7, 99, or as tables show it ("HDMI 1", also "hdmi1", "optical"); or
/// nothing.
std::optional<int> ParsePort(const std::string& text);

/// Returns the command of this name below another one; null if there is none.
CLI::App* FindCommand(CLI::App& parent, const std::string& name);

/// @name What an argument may be, for CLI::Option::transform(). "what" has its article: "a device type". The
/// words that are accepted are the check's name, for completion.
/// @{
CLI::Validator IsNumber(int lowest = INT_MIN, int highest = INT_MAX);
/// Numbers may also be hexadecimal, as in 0x1001.
CLI::Validator IsNumberOrName(const std::string& what, const Names& names);
/// Numbers that may have a fraction, for CLI::Option::check().
CLI::Validator IsDecimal(const std::string& what, double lowest, double highest);
CLI::Validator IsPort();
CLI::Validator IsOneOf(const std::string& what, const std::vector<std::string>& names);
/// @}

/// Adds the argument PORT to a command, or an option: an index, 0 to 7 or 99, or a name as tables show it.
CLI::Option* AddPort(CLI::App* command, const std::string& name, int& port);

/// Adds the argument PORT to a command that only HDMI inputs have.
CLI::Option* AddHdmiPort(CLI::App* command, int& port);

/// Adds an option that is a time in seconds to a command.
CLI::Option* AddSeconds(CLI::App* command, const std::string& name, std::optional<double>& seconds,
                        const std::string& description);

/// Adds the option --timeout to a command.
CLI::Option* AddTimeout(CLI::App* command, std::optional<double>& seconds, const std::string& description);

/// Adds the option --count to a command.
CLI::Option* AddCount(CLI::App* command, int& count, const std::string& description);

/// Environment variable of the option --inputs.
constexpr const char* kInputsVariable = "SRCWATCH_INPUTS";

/// Adds the option --inputs to a command: the inputs directory of the reference detection service.
CLI::Option* AddInputs(CLI::App* command, std::string& directory);

}  // namespace ctl

#endif
