// SPDX-License-Identifier: Apache-2.0
//
// The detection service as a process that a test starts.
#ifndef SRCWATCH_TESTKIT_SERVICEPROCESS_H
#define SRCWATCH_TESTKIT_SERVICEPROCESS_H

#include "Process.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace srcwatch_test {

/// Starts the service on the platform and the bus of this program, with its log at TestPlatform::Path("log").
/// @param environment  Added; may name another log or bus.
std::unique_ptr<Process> LaunchService(const std::vector<std::string>& command,
                                       const std::map<std::string, std::string>& environment = {});

/// Returns how many lines of that log contain a text.
int LogLinesWith(const std::string& text);

/// Returns how often services have begun to serve, by that log.
int TimesServing();

}  // namespace srcwatch_test

#endif
