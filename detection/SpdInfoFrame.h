// SPDX-License-Identifier: Apache-2.0
//
// Source Product Description InfoFrame (CTA-861): the maker and the kind of a device, as it states them.
#ifndef SRCWATCH_DETECTION_SPDINFOFRAME_H
#define SRCWATCH_DETECTION_SPDINFOFRAME_H

#include "Decoded.h"

#include <string>

namespace srcwatch {

struct SpdInfoFrame {
    std::string vendor;
    std::string product;
    int sourceInformation = 0;  ///< as sent, reserved codes included
};

/// Decodes one frame of the form type, version, length, checksum, payload; exactly as many bytes as its length
/// requires.
Decoded<SpdInfoFrame> DecodeSpdInfoFrame(const Bytes& bytes);

}  // namespace srcwatch

#endif
