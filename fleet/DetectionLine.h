// SPDX-License-Identifier: Apache-2.0
//
// One detection as a line of JSON, which says by itself of which TV and when.
#ifndef SRCWATCH_FLEET_DETECTIONLINE_H
#define SRCWATCH_FLEET_DETECTIONLINE_H

#include "Origin.h"

#include <chrono>
#include <optional>
#include <string>

#include <json/value.h>

namespace srcwatch {

/// Returns what an entry of the statistics says about a device, without its AKSV. A member of another kind than
/// expected counts as absent.
Json::Value DescribeDetection(const Json::Value& entry);

/// Why a line is written.
enum class Occasion {
    kDetected,   ///< a detection has finished
    kDenied,     ///< a viewer has denied its result
    kRemembered  ///< it is among those that the TV remembers
};

struct Detection {
    Occasion occasion;
    int port;
    Json::Value entry;          ///< of the statistics
    std::optional<int> denied;  ///< how often viewers denied what was detected on the port, if that is known
};

/// Returns a detection with its origin and with the time of the line. The AKSV is hashed, or left out without a key.
Json::Value DetectionLine(const Origin& origin, const Detection& detection, std::chrono::system_clock::time_point time);

/// Returns a line as text, without its end.
std::string LineText(const Json::Value& line);

}  // namespace srcwatch

#endif
