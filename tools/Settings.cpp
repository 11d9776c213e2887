// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Failure.h"
#include "QDInfoCommon.h"

#include <cerrno>

#include <vconf.h>

namespace ctl {

namespace {

[[noreturn]] void ThrowUnreadable()
{
    throw Failure("the settings store cannot be read; 'srcwatchctl doctor' tells why");
}

}  // namespace

void ListSettings(srcwatch_host_setting_cb callback, void* user_data)
{
    if (srcwatch_host_list_settings(callback, user_data) != 0) ThrowUnreadable();
}

// Each key is of one of the store's databases. That it is absent or a text is no fault of the store.
void RequireSettings()
{
    for (const std::string& key : {VCONF_SOURCE_ACTIVITY, VCONF_SCAN_RESULT}) {
        int number = 0;
        const int result = vconf_get_int(key.c_str(), &number);
        if (result < 0 && result != -ENOENT && result != -EPROTOTYPE) ThrowUnreadable();
    }
}

void WriteText(const std::string& key, const std::string& text)
{
    if (vconf_set_str(key.c_str(), text.c_str()) != 0) throw Failure("the settings store refuses to write " + key);
}

void WriteNumber(const std::string& key, int number)
{
    if (vconf_set_int(key.c_str(), number) != 0) throw Failure("the settings store refuses to write " + key);
}

SettingsWatch::SettingsWatch(const char* key, srcwatch_host_setting_cb callback, void* user_data)
    : m_id(srcwatch_host_watch_setting(key, callback, user_data))
{
    if (m_id == 0) throw Failure("the settings store cannot be watched; 'srcwatchctl doctor' tells why");
}

SettingsWatch::~SettingsWatch() { srcwatch_host_unwatch_setting(m_id); }

}  // namespace ctl
