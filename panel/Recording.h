// SPDX-License-Identifier: Apache-2.0
//
// A recording as it is shown and played.
#ifndef SRCWATCH_PANEL_RECORDING_H
#define SRCWATCH_PANEL_RECORDING_H

#include "Capture.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace panel {

/// A device that was plugged in at a time, in seconds from the beginning; nothing for one that was unplugged.
struct InputChange {
    double at;
    int port;
    std::optional<srcwatch::Capture> device;
};

struct Recording {
    std::string fault;  ///< why it cannot be read; empty if it can
    double length = 0;  ///< in seconds
    std::vector<InputChange> changes;
    Json::Value timeline = Json::arrayValue;  ///< {at, kind, port, text} of the first few thousand entries

    /// Returns what is plugged in at a time: the last change of each port that has a device then.
    std::map<int, const InputChange*> PluggedAt(double seconds) const;
};

/// Reads the recording in a file of lines, within bounds.
Recording ReadRecording(const std::string& path);

/// The same of a text.
Recording ParseRecording(const std::string& text);

}  // namespace panel

#endif
