// SPDX-License-Identifier: Apache-2.0
//
// Single values in the settings store.
#ifndef SRCWATCH_SETTINGS_STOREDVALUES_H
#define SRCWATCH_SETTINGS_STOREDVALUES_H

#include <optional>
#include <string>

namespace srcwatch {

/// Result of a read. A setting that cannot be read for the moment is not an absent one. A text that is too large is
/// never read: an earlier version of the store took it.
enum class ReadResult { kRead, kAbsent, kTooLarge, kFailed };

/// Reads a text; absent is also a number. @return kRead, or another result with text untouched.
ReadResult ReadText(const std::string& key, std::string& text);

/// Reads a number; absent is also a text. @return kRead, or another result with number untouched.
ReadResult ReadNumber(const std::string& key, int& number);

/// Returns the text of a setting; nothing if it is absent, too large or a number.
std::optional<std::string> ReadText(const std::string& key);

/// Returns the number of a setting; nothing if it is absent or a text.
std::optional<int> ReadNumber(const std::string& key);

}  // namespace srcwatch

#endif
