// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Failure.h"
#include "QDInfoCommon.h"

#include <vconf.h>

namespace ctl {

namespace {

unsigned Watch(const char* key, srcwatch_host_setting_cb callback, void* user_data)
{
    RequireWatch();
    return srcwatch_host_watch_setting(key, callback, user_data);
}

}  // namespace

void ThrowUnreadableStore() { throw Failure(std::string("the settings store cannot be read") + kSeeDoctor); }

void ThrowUnreadableDocument(const std::string& key)
{
    throw Failure("the document in " + key + " cannot be read" + kSeeDoctor);
}

void ThrowTooLarge(const std::string& key)
{
    throw Failure(key + " is too large to be read; 'srcwatchctl settings set' replaces it");
}

// Each key is of one of the store's databases. The store is readable where it is absent or a text, of whatever size.
void RequireSettings()
{
    for (const std::string& key : {VCONF_SOURCE_ACTIVITY, VCONF_SCAN_RESULT}) {
        int number = 0;
        if (srcwatch::ReadNumber(key, number) == srcwatch::ReadResult::kFailed) ThrowUnreadableStore();
    }
}

void RequireNumber(const std::string& key, int number)
{
    if (ReadNumber(key) != number) throw Failure(key + " could not be written" + kSeeDoctor);
}

void WriteText(const std::string& key, const std::string& text)
{
    if (vconf_set_str(key.c_str(), text.c_str()) != 0) throw Failure("the settings store refuses to write " + key);
}

void WriteNumber(const std::string& key, int number)
{
    if (vconf_set_int(key.c_str(), number) != 0) throw Failure("the settings store refuses to write " + key);
}

void RequireList()
{
    if (srcwatch_host_list_settings != nullptr) return;
    throw Failure("this platform has no list of its settings; 'srcwatchctl settings get KEY' reads one of them");
}

void RequireRemoval()
{
    if (srcwatch_host_unset != nullptr) return;
    throw Failure("this platform cannot remove settings; 'srcwatchctl settings set KEY VALUE' writes another value");
}

void RequireWatch()
{
    if (srcwatch::ReportsWrites()) return;
    throw Failure("this platform does not report writes of settings; 'srcwatchctl monitor' shows events instead");
}

void ListSettings(srcwatch_host_setting_cb callback, void* user_data)
{
    RequireList();
    if (srcwatch_host_list_settings(callback, user_data) != 0) ThrowUnreadableStore();
}

void RemoveSetting(const std::string& key)
{
    RequireRemoval();
    if (srcwatch_host_unset(key.c_str()) != 0) throw Failure("the settings store refuses to remove " + key);
}

SettingsWatch::SettingsWatch(const char* key, srcwatch_host_setting_cb callback, void* user_data)
    : m_id(Watch(key, callback, user_data))
{
    if (m_id == 0) throw Failure("the settings store cannot be watched" + std::string(kSeeDoctor));
}

SettingsWatch::~SettingsWatch() { srcwatch_host_unwatch_setting(m_id); }

}  // namespace ctl
