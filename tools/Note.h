// SPDX-License-Identifier: Apache-2.0
//
// What the user should know of a command that goes on.
#ifndef SRCWATCH_TOOLS_NOTE_H
#define SRCWATCH_TOOLS_NOTE_H

#include <string>

namespace ctl {

/// Writes a line to standard error.
void Note(const std::string& text);

}  // namespace ctl

#endif
