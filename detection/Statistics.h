// SPDX-License-Identifier: Apache-2.0
//
// The detection statistics: a bounded JSON document with an entry for each detection. They also show which device was
// seen on which port.
#ifndef SRCWATCH_DETECTION_STATISTICS_H
#define SRCWATCH_DETECTION_STATISTICS_H

#include "Classification.h"
#include "Identity.h"

#include <functional>
#include <string>

#include <json/value.h>

namespace srcwatch {

/// What was seen of a device before: the values of a record's "PrevPort" and "Changed".
struct Past {
    int previousPort;
    int changed;
};

/// Returns a device behind another one, in the form of the statistics' member "behind".
Json::Value DescribeBehind(const CecDevice& device);

/// The detections that are remembered.
class Statistics {
public:
    Statistics();
    /// Takes over a stored document: an object with an array "Auto".
    explicit Statistics(Json::Value document);

    /// Returns the text to store.
    std::string Text() const;

    /// Adds an entry. Of each port only the last few are kept.
    void Add(int port, const Classification& classification, int milliseconds);

    /// Brings what a record does not have up to date in the last entry of a port. @return True if it differed.
    bool Refresh(int port, const Classification& classification);

    /// Returns the last entry of a port; null without one.
    Json::Value LastOn(int port) const;

    /// Returns the devices behind the one that was detected last on a port, as an array.
    Json::Value BehindOn(int port) const;

    /// Returns the past of a device that appears on port. Ports for which isOccupied is true still have the device that
    /// was seen there, so it cannot have come from them.
    Past FindPast(int port, const Identity& identity, const std::function<bool(int)>& isOccupied) const;

private:
    Json::Value m_document;
};

}  // namespace srcwatch

#endif
