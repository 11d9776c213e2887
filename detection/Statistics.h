// SPDX-License-Identifier: Apache-2.0
//
// The detection statistics: a bounded JSON document with an entry for each detection. It is also the memory of which
// device was seen on which port.
#ifndef SRCWATCH_DETECTION_STATISTICS_H
#define SRCWATCH_DETECTION_STATISTICS_H

#include "Classification.h"
#include "Identity.h"

#include <functional>
#include <string>

#include <json/value.h>

namespace srcwatch {

/// How a device relates to what was seen before: the values of a record's "PrevPort" and "Changed".
struct Past {
    int previousPort;
    int changed;
};

class Statistics {
public:
    Statistics();
    /// Those of a stored document: an object with an array "Auto".
    explicit Statistics(Json::Value document);

    /// The text to store.
    std::string Text() const;

    /// Add an entry. Of each port only the last few are kept.
    void Add(int port, const Classification& classification, int milliseconds);

    /// What is known of a device that appears on port. Ports that isOccupied tells of still have the device that was
    /// seen there, so it cannot have come from them.
    Past Remember(int port, const Identity& identity, const std::function<bool(int)>& isOccupied) const;

private:
    Json::Value m_document;
};

}  // namespace srcwatch

#endif
