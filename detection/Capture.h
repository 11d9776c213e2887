// SPDX-License-Identifier: Apache-2.0
//
// What a device said, as the bytes of a capture's files: the way back from decoded evidence.
#ifndef SRCWATCH_DETECTION_CAPTURE_H
#define SRCWATCH_DETECTION_CAPTURE_H

#include "Evidence.h"

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace srcwatch {

/// The contents of the files; empty where there is none.
struct Capture {
    Bytes spd;
    std::string cec;
    Bytes aksv;

    bool IsEmpty() const { return spd.empty() && cec.empty() && aksv.empty(); }
};

inline bool operator==(const Capture& one, const Capture& other)
{
    return one.spd == other.spd && one.cec == other.cec && one.aksv == other.aksv;
}

/// Returns the files of a capture's directory, of a longer CEC log the end.
/// @param remarks  Gets why a file that is there cannot be used.
Capture ReadCapture(const std::string& directory, Remarks& remarks);

/// @name A capture as an object with the members "spd" and "aksv", in hexadecimal digits, and "cec"
/// @{
Json::Value ToJson(const Capture& capture);
/// Returns nothing if a member is not a text of its form; one that is absent is empty.
std::optional<Capture> CaptureOf(const Json::Value& object);
/// @}

/// Returns the smallest capture that is decoded to the same.
Capture ComposeCapture(const Evidence& evidence);

/// Returns a frame of 29 bytes. Names are cut to their fields.
Bytes ComposeSpdInfoFrame(const SpdInfoFrame& frame);

/// Returns the first logical address of HDMI-CEC for a primary device type; that for specific use for a TV, as the TV
/// itself has the TV's.
int LogicalAddressFor(int deviceType);

/// Returns the messages in which devices describe themselves, one a line.
std::string ComposeCecLog(const std::vector<CecDevice>& devices);

/// Returns the evidence of a capture, which is plugged into an HDMI input (1 for the first).
Evidence EvidenceOf(const Capture& capture, int hdmiInput = kNoHdmiInput);

}  // namespace srcwatch

#endif
