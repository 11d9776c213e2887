// SPDX-License-Identifier: Apache-2.0
//
// A process with JsonCpp and GIO and nothing else; with an argument, it prints its private memory in KiB and stays
// until its input ends.
#include "Memory.h"

#include <gio/gio.h>
#include <json/json.h>

int main(int argc, char**)
{
    const Json::Value value("text");
    if (!value.isString() || g_dbus_is_name("org.nalto.tv.qdinfo") == FALSE) return 1;
    return argc > 1 ? bench::PrintMemory() : 0;
}
