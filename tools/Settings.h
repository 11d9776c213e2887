// SPDX-License-Identifier: Apache-2.0
//
// What the commands do with the settings store, with failures as exceptions.
#ifndef SRCWATCH_TOOLS_SETTINGS_H
#define SRCWATCH_TOOLS_SETTINGS_H

#include "OptionalPlatform.h"
#include "StoredValues.h"

#include <string>

namespace ctl {

using srcwatch::ReadNumber;
using srcwatch::ReadText;

/// Throws a Failure: the store, or the document under a key, cannot be read, or a text is too large for that.
[[noreturn]] void ThrowUnreadableStore();
[[noreturn]] void ThrowUnreadableDocument(const std::string& key);
[[noreturn]] void ThrowTooLarge(const std::string& key);

/// Throws a Failure if the store cannot be read. The library's queries answer then as if nothing were stored.
void RequireSettings();

/// Throws a Failure if a setting is not this number: the library does not report if its own writes fail.
void RequireNumber(const std::string& key, int number);

/// Writes a setting. Throws a Failure if the store refuses.
void WriteText(const std::string& key, const std::string& text);
void WriteNumber(const std::string& key, int number);

/// Calls back for each setting, in the order of the keys. Throws a Failure if the platform or the store refuses.
void ListSettings(srcwatch_host_setting_cb callback, void* user_data);

/// Removes a setting, if it is there. Throws a Failure if the platform or the store refuses.
void RemoveSetting(const std::string& key);

/// @name What not every platform has. Each throws a Failure that says so.
/// @{
void RequireList();
void RequireRemoval();
void RequireWatch();
/// @}

/// A watch on one setting or, without a key, on all, which ends with the object.
class SettingsWatch {
public:
    /// Throws a Failure if the platform or the store cannot be watched.
    SettingsWatch(const char* key, srcwatch_host_setting_cb callback, void* user_data);
    SettingsWatch(const SettingsWatch&) = delete;
    SettingsWatch& operator=(const SettingsWatch&) = delete;
    ~SettingsWatch();

private:
    const unsigned m_id;
};

}  // namespace ctl

#endif
