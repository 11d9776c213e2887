// SPDX-License-Identifier: Apache-2.0
//
// Text fields of InfoFrames and CEC messages: 7-bit ASCII, padded with zeros.
#ifndef SRCWATCH_DETECTION_ASCIIFIELD_H
#define SRCWATCH_DETECTION_ASCIIFIELD_H

#include "Decoded.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace srcwatch {

/// Returns the printable text of a field, cut at its first zero and without spaces around it. Remarks on all other
/// bytes.
std::string DecodeAscii(const char* fieldName, const std::uint8_t* bytes, std::size_t size, Remarks& remarks);

}  // namespace srcwatch

#endif
