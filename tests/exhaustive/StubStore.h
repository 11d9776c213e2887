// SPDX-License-Identifier: Apache-2.0
//
// A store in place of the library's own that costs next to nothing: it counts what is asked of it.
#ifndef SRCWATCH_TESTS_STUBSTORE_H
#define SRCWATCH_TESTS_STUBSTORE_H

#include <string>

namespace exhaustive {

/// What the library asked the store for.
struct StoreCalls {
    int loads = 0;         ///< of records of HDMI ports
    int opticalLoads = 0;  ///< of the optical record
    int kpiLoads = 0;
    int saves = 0;
    int savesWithNotify = 0;
    int tableLoads = 0;
    int port = 0;  ///< that a load or a save was for
};

extern StoreCalls storeCalls;

/// The document that the store loads the record of a port from, if it were stored.
std::string StoredDocument(int port);

}  // namespace exhaustive

#endif
