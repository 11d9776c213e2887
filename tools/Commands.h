// SPDX-License-Identifier: Apache-2.0
//
// The commands, by group. Each function adds its commands to the program; a command runs when the arguments have been
// read, writes to the output, and throws a Failure if it cannot do what was asked.
#ifndef SRCWATCH_TOOLS_COMMANDS_H
#define SRCWATCH_TOOLS_COMMANDS_H

#include "CommandLine.h"
#include "Output.h"

namespace ctl {

void AddPortCommands(cli::Command app, Output& output);       // list, show, get, forget
void AddExplainCommand(cli::Command app, Output& output);     // explain
void AddEventCommands(cli::Command app, Output& output);      // monitor, wait, call
void AddScanCommands(cli::Command app, Output& output);       // scan, optical
void AddStateCommands(cli::Command app, Output& output);      // features, twc
void AddStatisticsCommand(cli::Command app, Output& output);  // stats
void AddSettingsCommands(cli::Command app, Output& output);   // settings
void AddCareCommands(cli::Command settings, Output& output);  // settings check, repair, backup, restore
void AddInputCommands(cli::Command app, Output& output);      // plug, unplug
void AddCaptureCommands(cli::Command app, Output& output);    // capture
void AddUnknownCommands(cli::Command app, Output& output);    // unknown
void AddClassifyCommand(cli::Command app, Output& output);    // classify
void AddValidateCommand(cli::Command app, Output& output);    // validate
void AddDoctorCommand(cli::Command app, Output& output);      // doctor
void AddRecordCommands(cli::Command app, Output& output);     // record, replay
void AddReportCommand(cli::Command app, Output& output);      // report

}  // namespace ctl

#endif
