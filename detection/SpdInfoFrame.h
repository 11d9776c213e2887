// SPDX-License-Identifier: Apache-2.0
//
// Source Product Description InfoFrame (CTA-861): who made the device, and what kind it says it is.
#ifndef SRCWATCH_DETECTION_SPDINFOFRAME_H
#define SRCWATCH_DETECTION_SPDINFOFRAME_H

#include "Decoded.h"

#include <string>

namespace srcwatch {

struct SpdInfoFrame {
    std::string vendor;
    std::string product;
    int sourceInformation = 0;  ///< as sent, reserved codes included
    Remarks remarks;            ///< what was wrong in a frame that could be used all the same
};

/// Decode one frame of the form type, version, length, checksum, payload; exactly as many bytes as its length says.
Decoded<SpdInfoFrame> DecodeSpdInfoFrame(const Bytes& bytes);

}  // namespace srcwatch

#endif
