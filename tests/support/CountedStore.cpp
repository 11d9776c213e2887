// SPDX-License-Identifier: Apache-2.0
#include "CountedStore.h"

#include "srcwatch-host.h"

#include <dlfcn.h>
#include <vconf.h>

namespace srcwatch_test {

// The library reads from its constructors on.
StoreReads& TheStoreReads()
{
    static auto& reads = *new StoreReads;
    return reads;
}

namespace {

template <typename Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace srcwatch_test

#pragma GCC visibility push(default)

char* vconf_get_str(const char* key)
{
    ++srcwatch_test::TheStoreReads().texts[key];
    return srcwatch_test::Next<char*(const char*)>("vconf_get_str")(key);
}

int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* user_data)
{
    ++srcwatch_test::TheStoreReads().listings;
    return srcwatch_test::Next<int(srcwatch_host_setting_cb, void*)>("srcwatch_host_list_settings")(callback,
                                                                                                    user_data);
}

#pragma GCC visibility pop
