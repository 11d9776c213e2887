// SPDX-License-Identifier: Apache-2.0
//
// Programs whose output a command wants.
#ifndef SRCWATCH_TOOLS_CHILD_H
#define SRCWATCH_TOOLS_CHILD_H

#include <string>
#include <vector>

namespace ctl {

/// Runs a program, for at most a minute, and returns what it wrote, or why it could not be run. Throws a Failure when
/// it is interrupted.
/// @param code  If not null, gets the exit code; 1 if there is none.
std::string RunChild(const std::vector<std::string>& command, int* code = nullptr);

}  // namespace ctl

#endif
