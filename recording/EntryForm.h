// SPDX-License-Identifier: Apache-2.0
//
// The form of a recording's entries, which srcwatch-recording.schema.json describes.
#ifndef SRCWATCH_RECORDING_ENTRYFORM_H
#define SRCWATCH_RECORDING_ENTRYFORM_H

#include <string>

#include <json/value.h>

namespace srcwatch {

/// The version of the form; a snapshot has it.
constexpr int kRecordingVersion = 1;

/// Returns what is wrong with an entry; an empty text if nothing is.
std::string FaultOf(const Json::Value& entry);

}  // namespace srcwatch

#endif
