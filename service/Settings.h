// SPDX-License-Identifier: Apache-2.0
//
// Texts in the settings store that cannot be used.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include "Inspection.h"

#include <string>

namespace srcwatch {

/// Why the library would not read all of a document, in words for the log; empty when it would.
std::string WhatIsWrong(const Inspection& inspection);

/// Keep a text that cannot be used under its key with ".unreadable" after it, and log that with the reason.
/// @return Whether it is kept.
bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason);

}  // namespace srcwatch

#endif
