// SPDX-License-Identifier: Apache-2.0
//
// The detection statistics in the settings store.
#ifndef SRCWATCH_SERVICE_STOREDSTATISTICS_H
#define SRCWATCH_SERVICE_STOREDSTATISTICS_H

#include "Statistics.h"

namespace srcwatch {

/// Read them. A text that cannot be read is kept aside, and none take its place in the store.
Statistics LoadStatistics();

void SaveStatistics(const Statistics& statistics);

}  // namespace srcwatch

#endif
