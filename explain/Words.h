// SPDX-License-Identifier: Apache-2.0
//
// What people call device types and states.
#ifndef SRCWATCH_EXPLAIN_WORDS_H
#define SRCWATCH_EXPLAIN_WORDS_H

#include <string>

namespace srcwatch {

/// Returns a device type in words: "set-top box", "none" for 0, "error type 2".
std::string NameOfType(int type);

/// Returns the name of a device type as one word: "set-top-box".
std::string WordOfType(const char* name);

/// Returns a device type by number and in words: "type 1 (set-top box)".
std::string NumberAndNameOfType(int type);

/// Returns what srcwatch_is_TWC() returns in words: "waiting for a channel", "no check" for -1.
const char* TwcStateName(int status);

}  // namespace srcwatch

#endif
