// SPDX-License-Identifier: Apache-2.0
//
// HDMI-CEC messages of the devices on a port, as a text with one message a line: hexadecimal bytes
// with ':' or spaces between. What follows a '#' is a comment.
#ifndef SRCWATCH_DETECTION_CECLOG_H
#define SRCWATCH_DETECTION_CECLOG_H

#include "Decoded.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <linux/cec.h>

namespace srcwatch {

/// A <Feature Abort>: the device refused a message.
struct CecFeatureAbort {
    std::uint8_t opcode;
    std::uint8_t reason;
};

/// What the device at one logical address has sent about itself. Of several messages of a kind the last one counts.
struct CecDevice {
    int logicalAddress = CEC_LOG_ADDR_UNREGISTERED;
    std::string osdName;
    std::optional<std::uint32_t> vendorId;
    std::optional<std::uint16_t> physicalAddress;
    std::optional<int> primaryDeviceType;  ///< CEC_OP_PRIM_DEVTYPE_...
    std::optional<int> version;            ///< CEC_OP_CEC_VERSION_...
    std::vector<CecFeatureAbort> featureAborts;
};

struct CecLog {
    std::vector<CecDevice> devices;  ///< those that have sent something about themselves, by logical address
    std::size_t understood = 0;
    std::size_t skipped = 0;  ///< messages of other kinds, and those that the TV itself sent
};

/// Returns true if a device says something about itself with a message: it is of a kind that is decoded.
bool DescribesSender(const Bytes& message);

/// Decodes a log, with a remark on each line that is refused. A log is refused as a whole if none of its lines is a
/// message; an empty one is not.
Decoded<CecLog> DecodeCecLog(const Bytes& bytes);

}  // namespace srcwatch

#endif
