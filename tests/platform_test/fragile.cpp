// SPDX-License-Identifier: Apache-2.0
//
// The host platform with functions that end, kill or hang the process: a log that needs an object of its own and prints
// lines as formats, settings that are lost after fork(), a text that is too long, a switch that throws.
#include "Next.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <unistd.h>
#include <vconf.h>

#define PLANTED __attribute__((visibility("default")))

namespace {

using srcwatch_test::Next;

const std::string* const g_prefix = new std::string("planted: ");
const pid_t g_process = getpid();

class Control : public ISourceControl {
public:
    int IsExternalSourceConnected(int /*sourceId*/, bool* /*connected*/) override
    {
        for (;;) pause();
    }
};

}  // namespace

PLANTED int __dlog_print(int id, int priority, const char* tag, const char* format, ...)
{
    char line[256];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (std::strstr(line, "%n") != nullptr) std::abort();  // as the C library does where it checks formats
    static_cast<void>(Next(__dlog_print, "__dlog_print")(id, priority, tag, "%s%s", g_prefix->c_str(), line));
    return length;
}

PLANTED int vconf_set_int(const char* key, int value)
{
    return getpid() == g_process ? Next(vconf_set_int, "vconf_set_int")(key, value) : -1;
}

PLANTED int vconf_set_str(const char* key, const char* value)
{
    if (std::strlen(value) > 500000) kill(0, SIGKILL);
    return Next(vconf_set_str, "vconf_set_str")(key, value);
}

PLANTED int system_info_get_value_int(system_info_key_e /*key*/, int* /*value*/) { std::exit(0); }

PLANTED int system_info_get_custom_bool(const char* /*key*/, bool* /*value*/)
{
    throw std::runtime_error("no such switch");
}

PLANTED int TVServiceAPI::CreateSourceControl(EProfile /*profile*/, int /*index*/, ISourceControl** control)
{
    static Control theControl;
    *control = &theControl;
    return 0;
}
