// SPDX-License-Identifier: Apache-2.0
//
// What may come next on the command line, for the completions of shells: all of it from the commands themselves.
#ifndef SRCWATCH_TOOLS_COMPLETION_H
#define SRCWATCH_TOOLS_COMPLETION_H

#include "CommandLine.h"

#include <string>
#include <vector>

namespace ctl {

/// Returns the lines for a shell that completes the last of these words, which may be empty: each a word, and behind a
/// tab its description if it has one. ":files" and ":directories" stand for those that the shell knows.
std::vector<std::string> Complete(cli::Command app, const std::vector<std::string>& words);

}  // namespace ctl

#endif
