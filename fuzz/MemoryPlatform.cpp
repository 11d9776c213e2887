// SPDX-License-Identifier: Apache-2.0
#include "MemoryPlatform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <vconf.h>

namespace fuzz {

std::map<std::string, std::string>& Texts()
{
    static auto& texts = *new std::map<std::string, std::string>;  // the library calls before and after main
    return texts;
}

int HdmiCount()
{
    const char* const count = std::getenv("SRCWATCH_FUZZ_HDMI");
    return count != nullptr ? std::atoi(count) : 4;
}

}  // namespace fuzz

// Formatting reads every argument to its end.
int __dlog_print(int, int, const char*, const char* format, ...)
{
    char line[256];
    va_list arguments;
    va_start(arguments, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // a printf stand-in has nothing else
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
#pragma GCC diagnostic pop
    va_end(arguments);
    return length;
}

int vconf_get_int(const char*, int*) { return -1; }
int vconf_set_int(const char*, int) { return -1; }

char* vconf_get_str(const char* key)
{
    const auto found = fuzz::Texts().find(key);
    return found == fuzz::Texts().end() ? nullptr : strdup(found->second.c_str());
}

int vconf_set_str(const char* key, const char* value)
{
    fuzz::Texts()[key] = value;
    return 0;
}

int system_info_get_value_int(system_info_key_e, int* value)
{
    *value = fuzz::HdmiCount();
    return 0;
}

int system_info_get_custom_bool(const char*, bool*) { return -1; }

int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**) { return -1; }
