// SPDX-License-Identifier: Apache-2.0
//
// The device types and detection methods of a record, with their texts.
#ifndef SRCWATCH_DETECTION_DEVICETYPE_H
#define SRCWATCH_DETECTION_DEVICETYPE_H

#include "srcwatch-api.h"

#include <iterator>
#include <string>

namespace srcwatch {

/// How a device was detected: the values of the record's detection method. They are also the priority in the
/// statistics, where a smaller number is better evidence.
enum class DetectionMethod {
    kNone = 0,     ///< no device, or not detected yet
    kProfile = 1,  ///< a profile matched
    kSpd = 2,      ///< the source information of the SPD InfoFrame
    kCec = 3,      ///< the primary device type told by HDMI-CEC
    kAksv = 4,     ///< nothing but a valid AKSV
    kSilent = 5,   ///< the evidence says nothing of the type
    kFaulty = 6    ///< every item of evidence is faulty
};

/// Text of a detection method, for logs and tools; a record may also have other numbers than the methods'.
inline std::string DetectionMethodText(int method)
{
    constexpr const char* kTexts[] = {"none", "profile", "SPD InfoFrame", "HDMI-CEC", "AKSV", "silent", "faulty"};
    const bool isMethod = method >= 0 && method < static_cast<int>(std::size(kTexts));
    return isMethod ? kTexts[method] : "method " + std::to_string(method);
}

/// A device type with the text that the record has beside it. Type 2 is never given.
struct DeviceTypeName {
    int type;
    const char* text;
};
constexpr DeviceTypeName kDeviceTypes[] = {
    {SRCWATCH_DEVICE_SET_TOP_BOX, "STB"},           {SRCWATCH_DEVICE_DISC_PLAYER, "BD"},
    {SRCWATCH_DEVICE_HOME_THEATRE, "HTS"},          {SRCWATCH_DEVICE_STREAMING_BOX, "OTT"},
    {SRCWATCH_DEVICE_GAME_CONSOLE, "GAME"},         {SRCWATCH_DEVICE_OTHER, "OTHER"},
    {SRCWATCH_DEVICE_NOT_SUPPORTED, "NOT SUPPORT"}, {SRCWATCH_DEVICE_PC, "PC"},
};

/// Text of a device type; null for a type that is never given.
constexpr const char* DeviceTypeText(int type)
{
    for (const DeviceTypeName& entry : kDeviceTypes) {
        if (entry.type == type) return entry.text;
    }
    return nullptr;
}

}  // namespace srcwatch

#endif
