// SPDX-License-Identifier: Apache-2.0
//
// From the evidence to the fields of a record.
#ifndef SRCWATCH_DETECTION_CLASSIFICATION_H
#define SRCWATCH_DETECTION_CLASSIFICATION_H

#include "DeviceType.h"
#include "Evidence.h"
#include "Profiles.h"

#include <string>
#include <vector>

namespace srcwatch {

/// The fields of a record that depend on the evidence only, and not on the port or on the past; and the vendor id and
/// the devices behind this one, which a stored record does not have.
struct Classification {
    int deviceType = 0;
    DetectionMethod method = DetectionMethod::kNone;
    std::string deviceTypeText;
    std::string brandName;         ///< the profile's, else the vendor of the SPD InfoFrame
    std::string deviceName;        ///< the profile's, else the product of the SPD InfoFrame, else the OSD name
    std::string providerName;      ///< the profile's
    std::string codesetName;       ///< the profile's
    std::string cecDeviceName;     ///< name of the primary device type
    std::string aksv;              ///< ten hexadecimal digits
    std::string unknownType;       ///< the text for a device that has no name of its own
    std::string manufacturerName;  ///< vendor of the SPD InfoFrame
    std::string modelName;         ///< product of the SPD InfoFrame
    std::string cecName;           ///< OSD name
    std::string vendorId;          ///< of HDMI-CEC: six hexadecimal digits
    std::vector<CecDevice> behind;
};

/// Returns the name of a device's primary device type; empty if it is not known.
const char* CecDeviceTypeName(const CecDevice& device);

/// Returns what the device on the port says about itself, for Profiles::Find().
Signs SignsOf(const Evidence& evidence);

/// Classifies a device by the rules of docs/detection.md.
Classification Classify(const Evidence& evidence, const Profiles& profiles);

}  // namespace srcwatch

#endif
