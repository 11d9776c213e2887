// SPDX-License-Identifier: Apache-2.0
//
// The smallest platform that the library can work on: a TV with two HDMI inputs and a cable in the first, whose
// settings last as long as the process, and whose log is the standard error stream.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <vconf.h>

namespace {

constexpr int kHdmi1 = 13;

struct Settings {
    std::mutex mutex;
    std::map<std::string, int> numbers;
    std::map<std::string, std::string> texts;
};

// Never destroyed: the library may ask while programs end.
Settings& TheSettings()
{
    static auto& settings = *new Settings;
    return settings;
}

class SourceControl : public ISourceControl {
public:
    int IsExternalSourceConnected(int sourceId, bool* connected) override
    {
        *connected = sourceId == kHdmi1;
        return 1;
    }
};

}  // namespace

int vconf_get_int(const char* key, int* value)
{
    std::lock_guard<std::mutex> lock(TheSettings().mutex);
    const auto found = TheSettings().numbers.find(key);
    if (found == TheSettings().numbers.end()) return -1;
    *value = found->second;
    return 0;
}

int vconf_set_int(const char* key, int value)
{
    std::lock_guard<std::mutex> lock(TheSettings().mutex);
    TheSettings().numbers[key] = value;
    return 0;
}

char* vconf_get_str(const char* key)
{
    std::lock_guard<std::mutex> lock(TheSettings().mutex);
    const auto found = TheSettings().texts.find(key);
    return found == TheSettings().texts.end() ? nullptr : strdup(found->second.c_str());
}

int vconf_set_str(const char* key, const char* value)
{
    std::lock_guard<std::mutex> lock(TheSettings().mutex);
    TheSettings().texts[key] = value;
    return 0;
}

int __dlog_print(int, int, const char* tag, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const int prefix = std::fprintf(stderr, "%s: ", tag);
    const int line = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return prefix + line;
}

int system_info_get_value_int(system_info_key_e key, int* value)
{
    if (key != SYSTEM_INFO_KEY_NUM_OF_HDMI) return -1;
    *value = 2;
    return 0;
}

int system_info_get_custom_bool(const char*, bool* value)
{
    *value = true;
    return 0;
}

int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl** control)
{
    static SourceControl theControl;
    *control = &theControl;
    return 0;
}
