// SPDX-License-Identifier: Apache-2.0
//
// The same process as start_plain, with the library; with an argument, it makes one query, prints its private memory in
// KiB and stays until its input ends.
#include "Memory.h"
#include "srcwatch-api.h"

#include <gio/gio.h>
#include <json/json.h>

namespace {

bool Query()
{
    char text[SRCWATCH_TEXT_SIZE];
    return srcwatch_get_model_name(text, 0) == SRCWATCH_OK && text[0] != '\0';
}

}  // namespace

int main(int argc, char**)
{
    const Json::Value value("text");
    if (!value.isString() || g_dbus_is_name("org.nalto.tv.qdinfo") == FALSE) return 1;
    if (argc == 1) return srcwatch_get_current_aksv_info() == -1 ? 0 : 1;
    if (!Query()) return 1;
    return bench::PrintMemory();
}
