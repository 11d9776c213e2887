// SPDX-License-Identifier: Apache-2.0
//
// The record of a port, and how a detection makes the next one of it.
#ifndef SRCWATCH_DETECTION_RECORD_H
#define SRCWATCH_DETECTION_RECORD_H

#include "Classification.h"
#include "Statistics.h"

#include <functional>

namespace srcwatch {

/// The fields of a record, but for the port.
struct Record {
    Classification device;
    int denyCount = 0;
    int scanState = 0;
    int previousPort = 0;
    int changed = 0;

    bool HasDevice() const { return device.deviceType != 0; }
};
/// Compares what is stored.
bool operator==(const Record& a, const Record& b);

/// Returns the record of a port on which a device was detected: what is counted on the port stays, and so does the past
/// of a device that was there before. The past of another one comes from the statistics; ports for which isOccupied is
/// true still have the device that was seen there.
Record ComposeRecord(int port, const Record& before, const Classification& device, const Statistics& statistics,
                     const std::function<bool(int)>& isOccupied);

}  // namespace srcwatch

#endif
