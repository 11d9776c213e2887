// SPDX-License-Identifier: Apache-2.0
//
// What a device said, as the bytes of a capture's files: the way back from decoded evidence.
#ifndef SRCWATCH_DETECTION_CAPTURE_H
#define SRCWATCH_DETECTION_CAPTURE_H

#include "Evidence.h"

#include <optional>
#include <string>
#include <vector>

namespace srcwatch {

/// The contents of the files; empty where there is none.
struct Capture {
    Bytes spd;
    std::string cec;
    Bytes aksv;

    bool IsEmpty() const { return spd.empty() && cec.empty() && aksv.empty(); }
};

/// Returns the smallest capture that is decoded to the same.
Capture ComposeCapture(const Evidence& evidence);

/// Returns a frame of 29 bytes. Names are cut to their fields.
Bytes ComposeSpdInfoFrame(const SpdInfoFrame& frame);

/// Returns the messages in which devices describe themselves, one a line.
std::string ComposeCecLog(const std::vector<CecDevice>& devices);

/// Returns the evidence of a capture.
Evidence EvidenceOf(const Capture& capture);

/// Returns bytes as lower-case hexadecimal digits, and back; nothing if a text is not pairs of such digits.
std::string ToHex(const Bytes& bytes);
std::optional<Bytes> FromHex(const std::string& digits);

}  // namespace srcwatch

#endif
