// SPDX-License-Identifier: Apache-2.0
//
// The host platform with settings that are not kept as they should: a read that fails clears the output, an empty text
// is taken for none, and a text is written in two steps.
#include "Next.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <vconf.h>

#define PLANTED __attribute__((visibility("default")))

using srcwatch_test::Next;

PLANTED int vconf_get_int(const char* key, int* value)
{
    const int result = Next(vconf_get_int, "vconf_get_int")(key, value);
    if (result != 0) *value = 0;
    return result;
}

PLANTED char* vconf_get_str(const char* key)
{
    char* const text = Next(vconf_get_str, "vconf_get_str")(key);
    if (text == nullptr || *text != '\0') return text;
    std::free(text);
    return nullptr;
}

PLANTED int vconf_set_str(const char* key, const char* value)
{
    const std::string text = value;
    const auto write = Next(vconf_set_str, "vconf_set_str");
    static_cast<void>(write(key, text.substr(0, text.size() / 2).c_str()));  // what counts is the whole
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return write(key, value);
}
