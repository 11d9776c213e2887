// SPDX-License-Identifier: Apache-2.0
//
// The commands, by group. Each function adds its commands to the program; a command runs when the arguments have been
// read, writes to the output, and throws a Failure if it cannot do what was asked.
#ifndef SRCWATCH_TOOLS_COMMANDS_H
#define SRCWATCH_TOOLS_COMMANDS_H

#include "Output.h"

#include <CLI/CLI.hpp>

namespace ctl {

void AddPortCommands(CLI::App& app, Output& output);       // list, show, get, forget
void AddExplainCommand(CLI::App& app, Output& output);     // explain
void AddEventCommands(CLI::App& app, Output& output);      // monitor, wait, call
void AddScanCommands(CLI::App& app, Output& output);       // scan, optical
void AddStateCommands(CLI::App& app, Output& output);      // features, twc
void AddStatisticsCommand(CLI::App& app, Output& output);  // stats
void AddSettingsCommands(CLI::App& app, Output& output);   // settings
void AddCareCommands(CLI::App& settings, Output& output);  // settings check, repair, backup, restore
void AddInputCommands(CLI::App& app, Output& output);      // plug, unplug
void AddCaptureCommands(CLI::App& app, Output& output);    // capture
void AddUnknownCommands(CLI::App& app, Output& output);    // unknown
void AddClassifyCommand(CLI::App& app, Output& output);    // classify
void AddValidateCommand(CLI::App& app, Output& output);    // validate
void AddDoctorCommand(CLI::App& app, Output& output);      // doctor
void AddRecordCommands(CLI::App& app, Output& output);     // record, replay
void AddReportCommand(CLI::App& app, Output& output);      // report

}  // namespace ctl

#endif
