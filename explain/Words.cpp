// SPDX-License-Identifier: Apache-2.0
#include "Words.h"

#include "DeviceType.h"
#include "srcwatch-api.h"

namespace srcwatch {

std::string PortName(int port)
{
    return port == SRCWATCH_PORT_OPTICAL ? "optical" : "HDMI " + std::to_string(port + 1);
}

std::string NameOfType(int type)
{
    if (type == 0) return "none";
    for (const DeviceTypeName& known : kDeviceTypes) {
        if (known.type == type) return known.name;
    }
    return "error type " + std::to_string(type);
}

std::string NumberAndNameOfType(int type) { return "type " + std::to_string(type) + " (" + NameOfType(type) + ")"; }

}  // namespace srcwatch
