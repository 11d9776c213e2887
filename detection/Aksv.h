// SPDX-License-Identifier: Apache-2.0
//
// HDCP key selection vector of a source (AKSV).
#ifndef SRCWATCH_DETECTION_AKSV_H
#define SRCWATCH_DETECTION_AKSV_H

#include "Decoded.h"

#include <string>

namespace srcwatch {

/// Decodes five bytes, of whose 40 bits 20 are set, into ten lower-case hexadecimal digits in the order of the bytes.
Decoded<std::string> DecodeAksv(const Bytes& bytes);

}  // namespace srcwatch

#endif
