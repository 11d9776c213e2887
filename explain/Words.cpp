// SPDX-License-Identifier: Apache-2.0
#include "Words.h"

#include "DeviceType.h"
#include "Handle.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <glib.h>

namespace srcwatch {

std::string NameOfType(int type)
{
    if (type == 0) return "none";
    for (const DeviceTypeName& known : kDeviceTypes) {
        if (known.type == type) return known.name;
    }
    return "error type " + std::to_string(type);
}

std::string WordOfType(const char* name)
{
    const Handle<char, g_free> word(g_ascii_strdown(name, -1));
    return g_strdelimit(word.get(), " ", '-');
}

std::string NumberAndNameOfType(int type) { return "type " + std::to_string(type) + " (" + NameOfType(type) + ")"; }

const char* TwcStateName(int status)
{
    switch (status) {
        case SRCWATCH_TWC_NO_SET_TOP_BOX:
            return "no set-top box";
        case SRCWATCH_TWC_WAITING:
            return "waiting for a channel";
        case SRCWATCH_TWC_TUNED:
            return "tuned";
        default:
            return status < 0 ? "no check" : "unknown";
    }
}

}  // namespace srcwatch
