// SPDX-License-Identifier: Apache-2.0
//
// Texts in the settings store.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include <optional>
#include <string>

namespace srcwatch {

/// The text of a setting; nothing when it is absent or no text.
std::optional<std::string> ReadSetting(const std::string& key);

/// Keep a text that cannot be used under its key with ".unreadable" after it, and log that with the reason.
/// @return Whether it is kept.
bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason);

}  // namespace srcwatch

#endif
