// SPDX-License-Identifier: Apache-2.0
//
// Single values in the settings store.
#ifndef SRCWATCH_SETTINGS_STOREDVALUES_H
#define SRCWATCH_SETTINGS_STOREDVALUES_H

#include <optional>
#include <string>

namespace srcwatch {

/// The text of a setting; nothing when it is absent or a number.
std::optional<std::string> ReadText(const std::string& key);

/// The number of a setting; nothing when it is absent or a text.
std::optional<int> ReadNumber(const std::string& key);

}  // namespace srcwatch

#endif
