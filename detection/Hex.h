// SPDX-License-Identifier: Apache-2.0
//
// Bytes as hexadecimal digits.
#ifndef SRCWATCH_DETECTION_HEX_H
#define SRCWATCH_DETECTION_HEX_H

#include "Decoded.h"

#include <cstdint>
#include <optional>
#include <string>

namespace srcwatch {

/// Returns bytes as pairs of lower-case digits, with the separator between them.
std::string ToHex(const Bytes& bytes, const char* separator = "");

/// Returns the byte that two digits say; nothing if a text is anything else.
std::optional<std::uint8_t> ByteFromHex(const std::string& digits);

/// Returns the bytes that pairs of digits say; nothing if a text is anything else.
std::optional<Bytes> FromHex(const std::string& digits);

}  // namespace srcwatch

#endif
