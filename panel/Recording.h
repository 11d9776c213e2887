// SPDX-License-Identifier: Apache-2.0
//
// A recording as it is shown.
#ifndef SRCWATCH_PANEL_RECORDING_H
#define SRCWATCH_PANEL_RECORDING_H

#include "EntrySource.h"

#include <memory>
#include <optional>
#include <string>

#include <json/value.h>

namespace panel {

struct Recording {
    std::string fault;                        ///< why it cannot be read; empty if it can
    double length = 0;                        ///< in seconds
    Json::Value timeline = Json::arrayValue;  ///< {at, kind, port, text} of the first few thousand entries
};

/// Returns the text of a recording, within bounds.
/// @param fault  Gets why there is none.
std::optional<std::string> ReadRecording(const std::string& path, std::string& fault);

/// Returns the entries of a text.
std::unique_ptr<srcwatch::EntrySource> EntriesOf(const std::string& text);

Recording ParseRecording(const std::string& text);

}  // namespace panel

#endif
