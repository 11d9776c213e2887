// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "srcwatch-host.h"

#include <stdexcept>

#include <vconf.h>

namespace srcwatch_test {

namespace {

constexpr char kNumberMark = '#';

void Keep(const char* key, const srcwatch_host_value* value, void* settings)
{
    (*static_cast<Settings*>(settings))[key] =
        value->text != nullptr ? value->text : kNumberMark + std::to_string(value->number);
}

void Write(const std::string& key, const std::string& value)
{
    const int result = value[0] == kNumberMark ? vconf_set_int(key.c_str(), std::stoi(value.substr(1)))
                                               : vconf_set_str(key.c_str(), value.c_str());
    if (result != 0) throw std::runtime_error("cannot write " + key);
}

std::string ValueOf(const Settings& settings, const std::string& key)
{
    const auto found = settings.find(key);
    return found == settings.end() ? "(none)" : found->second;
}

}  // namespace

Settings ReadSettings()
{
    Settings settings;
    if (srcwatch_host_list_settings(&Keep, &settings) != 0) throw std::runtime_error("cannot list the settings");
    return settings;
}

void RestoreSettings(const Settings& settings)
{
    const Settings now = ReadSettings();
    for (const auto& [key, value] : now) {
        if (settings.count(key) == 0) srcwatch_host_unset(key.c_str());
    }
    for (const auto& [key, value] : settings) {
        if (ValueOf(now, key) != value) Write(key, value);
    }
}

std::string Mixture(const Settings& now, const Settings& before, const Settings& after)
{
    Settings keys = before;
    keys.insert(after.begin(), after.end());
    keys.insert(now.begin(), now.end());
    for (const auto& [key, unused] : keys) {
        const std::string value = ValueOf(now, key);
        if (value != ValueOf(before, key) && value != ValueOf(after, key)) return key + " holds " + value;
    }
    return {};
}

}  // namespace srcwatch_test
