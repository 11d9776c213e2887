// SPDX-License-Identifier: Apache-2.0
//
// Texts in the settings store that cannot be used.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include <string>

namespace srcwatch {

/// Keep a text that cannot be used under its key with ".unreadable" after it, and log that with the reason.
/// @return Whether it is kept.
bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason);

}  // namespace srcwatch

#endif
