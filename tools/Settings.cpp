// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Failure.h"

#include <vconf.h>

namespace ctl {

void ListSettings(srcwatch_host_setting_cb callback, void* user_data)
{
    if (srcwatch_host_list_settings(callback, user_data) != 0) {
        throw Failure("the settings store cannot be read; 'srcwatchctl doctor' tells why");
    }
}

void RequireSettings()
{
    ListSettings([](const char*, const srcwatch_host_value*, void*) {}, nullptr);
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
    : m_Id(srcwatch_host_watch_setting(key, callback, user_data))
{
    if (m_Id == 0) throw Failure("the settings store cannot be watched; 'srcwatchctl doctor' tells why");
}

SettingsWatch::~SettingsWatch() { srcwatch_host_unwatch_setting(m_Id); }

}  // namespace ctl
