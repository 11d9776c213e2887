// SPDX-License-Identifier: Apache-2.0
#include "Early.h"
#include "Platform.h"
#include "Trial.h"

#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <unistd.h>

namespace {

using namespace conformance;

// Nothing can be done if this fails: the missing report is what the test fails with.
void Say(const char* line) { static_cast<void>(write(kReportDescriptor, line, std::strlen(line)) < 0); }

template <typename Function>
Function Get(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

void Log()
{
    const auto print = Get<decltype(&__dlog_print)>("__dlog_print");
    if (print == nullptr) return Say("__dlog_print is not exported\n");
    for (const int priority : {3, 6}) {  // no caller depends on the result
        static_cast<void>(print(0, priority, "qdinfo", "%s: line %d\n", "srcwatch-platform-test", priority));
    }
    Say(kKept);
}

void CountInputs()
{
    const auto read = Get<decltype(&system_info_get_value_int)>("system_info_get_value_int");
    if (read == nullptr) return Say("system_info_get_value_int is not exported\n");
    int count = 0;
    const bool isRead = read(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) == 0 && count >= 1;
    Say(isRead ? kKept : "the number of HDMI inputs cannot be read so early\n");
}

__attribute__((constructor)) void Call()
{
    const char* const what = std::getenv(kEarlyVariable);
    if (what == nullptr) return;
    if (std::strcmp(what, kEarlyLog) == 0) Log();
    if (std::strcmp(what, kEarlyInputs) == 0) CountInputs();
    _exit(EXIT_SUCCESS);
}

}  // namespace
