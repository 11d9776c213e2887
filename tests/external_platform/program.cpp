// SPDX-License-Identifier: Apache-2.0
//
// Uses each interface of the platform through the library.
#include <cstdio>
#include <cstring>

#include <QDInfoAPI.h>
#include <vconf.h>

namespace {

int g_failures = 0;

void Check(bool condition, const char* what)
{
    if (condition) return;
    std::printf("not so: %s\n", what);
    ++g_failures;
}

}  // namespace

int main()
{
    Check(get_hdmi_count() == 2, "system information: the TV has two inputs");

    qdinfo::CQDInfoAPI::Create(true);
    qdinfo::CQDInfoData& store = *qdinfo::CQDInfoAPI::GetQDInfoUtil();
    store.CreateAndAddNewActivity();
    store.SetModelName("Box 3", 1);
    srcwatch_set_source_info(1, 0);
    char name[SRCWATCH_TEXT_SIZE] = {};
    Check(srcwatch_get_model_name(name, 1) == SRCWATCH_OK && std::strcmp(name, "Box 3") == 0,
          "settings: what was saved is read");

    Check(srcwatch_is_no_device(), "settings: while nothing detects, no device can be found");
    vconf_set_int("memory/srcwatch-service/hotplug_progress", 1);
    Check(!srcwatch_is_no_device(), "TV service: a cable is in the first input");

    qdinfo::CQDInfoAPI::Destroy();
    return g_failures;
}
