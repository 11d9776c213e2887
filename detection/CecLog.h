// SPDX-License-Identifier: Apache-2.0
//
// HDMI-CEC messages of a device, as a text with one message a line: hexadecimal bytes with ':' between.
#ifndef SRCWATCH_DETECTION_CECLOG_H
#define SRCWATCH_DETECTION_CECLOG_H

#include "Decoded.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace srcwatch {

/// A <Feature Abort>: the device refused a message.
struct CecFeatureAbort {
    std::uint8_t opcode;
    std::uint8_t reason;
};

/// What a device has sent about itself. Of several messages of a kind the last one counts.
struct CecLog {
    std::string osdName;
    std::optional<std::uint32_t> vendorId;
    std::optional<std::uint16_t> physicalAddress;
    std::optional<int> primaryDeviceType;  ///< CEC_OP_PRIM_DEVTYPE_...
    std::optional<int> version;            ///< CEC_OP_CEC_VERSION_...
    std::vector<CecFeatureAbort> featureAborts;
    std::size_t understood = 0;
    std::size_t skipped = 0;  ///< messages of other kinds, and those that the TV itself sent
};

/// Returns a vendor id (an OUI) as six lower-case hexadecimal digits.
std::string VendorIdText(std::uint32_t vendorId);

/// Decodes a log, with a remark on each line that is refused. A log is refused as a whole if none of its lines is a
/// message; an empty one is not.
Decoded<CecLog> DecodeCecLog(const Bytes& bytes);

}  // namespace srcwatch

#endif
