// SPDX-License-Identifier: Apache-2.0
//
// A port of the TV: its name, its state, its record and what the library answers about it, in words and as JSON.
#ifndef SRCWATCH_TOOLS_PORTS_H
#define SRCWATCH_TOOLS_PORTS_H

#include "Answers.h"
#include "InputName.h"
#include "Output.h"
#include "Words.h"

#include <string>
#include <vector>

#include <json/value.h>

namespace ctl {

using srcwatch::IsHdmiPort;
using srcwatch::kHdmiPorts;
using srcwatch::NameOfType;
using srcwatch::NumberAndNameOfType;
using srcwatch::PortName;

/// Returns the ports of this TV, the optical one last. Where the number of HDMI inputs is unknown: those with a record.
std::vector<int> AllPorts();

/// Throws a Failure for a port that this TV does not have.
void RequirePort(int port);

/// Returns an object with the port, its record as stored, and the state of its input.
Json::Value PortDocument(int port);

/// Adds a row for each output of an answer: function, output, value, and the last cell.
void AddRows(const srcwatch::Answer& answer, const Cell& last, Table& table);

/// Writes everything known about a port: its record, and what each function of the library answers about it.
void ShowPort(int port, Output& output);

}  // namespace ctl

#endif
