// SPDX-License-Identifier: Apache-2.0
//
// The commands about recordings, which are like those of Commands.h.
#ifndef SRCWATCH_TOOLS_RECORDCOMMANDS_H
#define SRCWATCH_TOOLS_RECORDCOMMANDS_H

#include "Output.h"

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace ctl {

void AddRecordCommands(CLI::App& app, Output& output);  // record, replay
void AddReportCommand(CLI::App& app, Output& output);   // report

/// Adds an option that is a time in seconds to a command.
CLI::Option* AddSeconds(CLI::App* command, std::optional<double>& seconds, const std::string& description);

}  // namespace ctl

#endif
