// SPDX-License-Identifier: Apache-2.0
// Uses the host platform before main() and after it: in a static constructor, an exit handler and a static destructor.
#include "TVServiceAPI.h"
#include "dlog.h"
#include "srcwatch-host.h"
#include "system_info.h"
#include "vconf.h"

#include <cstdlib>

namespace {

void Use(const char* key, const char* when)
{
    int inputs = 1;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &inputs) != 0) abort();
    __dlog_print(0, DLOG_ERROR, "test", "in the %s\n", when);

    ISourceControl* control = nullptr;
    bool isConnected = false;
    if (TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, &control) != 0) abort();
    if (srcwatch_host_set_connected(13, true) != 0) abort();
    if (control->IsExternalSourceConnected(13, &isConnected) < 1 || !isConnected) abort();
    if (vconf_set_int(key, inputs) != 0) abort();
}

void UseInExitHandler() { Use("db/in-exit-handler", "exit handler"); }

struct Lifetime {
    Lifetime()
    {
        if (atexit(UseInExitHandler) != 0) abort();  // runs after the destructor
        Use("db/in-constructor", "constructor");
    }
    ~Lifetime() { Use("db/in-destructor", "destructor"); }
};

const Lifetime kLifetime;

}  // namespace

int main() { return 0; }
