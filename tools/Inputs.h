// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the reference detection service, and the captures that can be plugged into it.
#ifndef SRCWATCH_TOOLS_INPUTS_H
#define SRCWATCH_TOOLS_INPUTS_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ctl {

/// Adds the option --inputs to a command.
CLI::Option* AddInputs(CLI::App* command, std::string& directory);

/// Adds the option --profiles to a command; without it the installed profiles are meant.
CLI::Option* AddProfiles(CLI::App* command, std::vector<std::string>& paths);

/// Whether there is a directory, or a link to one.
bool IsDirectory(const std::string& path);

}  // namespace ctl

#endif
