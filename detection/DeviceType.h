// SPDX-License-Identifier: Apache-2.0
//
// The device types and detection methods of a record, with their texts.
#ifndef SRCWATCH_DETECTION_DEVICETYPE_H
#define SRCWATCH_DETECTION_DEVICETYPE_H

#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <iterator>
#include <string>

namespace srcwatch {

/// How a device was detected, as in enum srcwatch_detection_method.
enum class DetectionMethod {
    kNone = SRCWATCH_METHOD_NONE,
    kProfile = SRCWATCH_METHOD_PROFILE,
    kSpd = SRCWATCH_METHOD_SPD,
    kCec = SRCWATCH_METHOD_CEC,
    kAksv = SRCWATCH_METHOD_AKSV,
    kSilent = SRCWATCH_METHOD_SILENT,
    kFaulty = SRCWATCH_METHOD_FAULTY
};

/// Returns the text of a detection method, for logs and tools; a record may also have other numbers than the methods'.
inline std::string DetectionMethodText(int method)
{
    constexpr const char* kTexts[] = {"none", "profile", "SPD InfoFrame", "HDMI-CEC", "AKSV", "silent", "faulty"};
    const bool isMethod = method >= 0 && method < static_cast<int>(std::size(kTexts));
    return isMethod ? kTexts[method] : "method " + std::to_string(method);
}

/// A device type: its text in a record, and its name in words. Type 2 is not used.
struct DeviceTypeName {
    int type;
    const char* text;
    const char* name;
};
constexpr DeviceTypeName kDeviceTypes[] = {
    {SRCWATCH_DEVICE_SET_TOP_BOX, "STB", "set-top box"},
    {SRCWATCH_DEVICE_DISC_PLAYER, "BD", "disc player"},
    {SRCWATCH_DEVICE_HOME_THEATRE, "HTS", "home theatre"},
    {SRCWATCH_DEVICE_STREAMING_BOX, "OTT", "streaming box"},
    {SRCWATCH_DEVICE_GAME_CONSOLE, "GAME", "game console"},
    {SRCWATCH_DEVICE_OTHER, "OTHER", "other"},
    {SRCWATCH_DEVICE_NOT_SUPPORTED, "NOT SUPPORT", "not supported"},
    {SRCWATCH_DEVICE_PC, "PC", "PC"},
};

/// Returns the text of a device type; null for a type that is not used.
constexpr const char* DeviceTypeText(int type)
{
    for (const DeviceTypeName& entry : kDeviceTypes) {
        if (entry.type == type) return entry.text;
    }
    return nullptr;
}

}  // namespace srcwatch

#endif
