// SPDX-License-Identifier: Apache-2.0
//
// Which of the devices that are heard on a port is plugged into it, and which ones are behind that one.
#ifndef SRCWATCH_DETECTION_TOPOLOGY_H
#define SRCWATCH_DETECTION_TOPOLOGY_H

#include "CecLog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace srcwatch {

/// An HDMI input that is not known: of a capture, or of the optical source.
constexpr int kNoHdmiInput = 0;

/// Returns the device that is plugged into an HDMI input (1 for the first), or null if that is not certain. It is the
/// one with the input's physical address, or else with that of an input at all, because a capture may be plugged into
/// another input than it was made on; or the only one. A device with several logical addresses counts with the lowest.
const CecDevice* FindOnPort(const CecLog& log, int hdmiInput);

/// Returns the devices that are not the one on the port.
std::vector<CecDevice> FindBehind(const CecLog& log, int hdmiInput);

/// Returns a physical address in the form "1.0.0.0".
std::string PhysicalAddressText(std::uint16_t address);

/// Returns a vendor id (an OUI) as six lower-case hexadecimal digits.
std::string VendorIdText(std::uint32_t vendorId);

}  // namespace srcwatch

#endif
