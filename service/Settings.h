// SPDX-License-Identifier: Apache-2.0
//
// What the service writes to the settings store, and what it does with texts there that cannot be used.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include "Inspection.h"

#include <string>

namespace srcwatch {

/// Write a number; a failure is logged.
void WriteNumber(const std::string& key, int value);

/// Why the library would not read all of a document, in words for the log; empty when it would.
std::string WhatIsWrong(const Inspection& inspection);

/// Keep a text that cannot be used under its key with ".unreadable" after it, and log that with the reason.
/// @return Whether it is kept.
bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason);

}  // namespace srcwatch

#endif
