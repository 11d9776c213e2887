// SPDX-License-Identifier: Apache-2.0
//
// A store in place of the library's own, and a platform, that cost next to nothing: they count what is asked of them
// and keep what was written last.
#ifndef SRCWATCH_TESTS_STUBSTORE_H
#define SRCWATCH_TESTS_STUBSTORE_H

#include <cstdint>

namespace exhaustive {

/// What the library asked for since the last Forget().
struct Calls {
    int loads = 0;         ///< of records of HDMI ports
    int opticalLoads = 0;  ///< of the optical record
    int kpiLoads = 0;
    int saves = 0;
    int savesWithNotify = 0;
    int tableLoads = 0;
    int writes = 0;    ///< of integer settings
    int commands = 0;  ///< of those, to the key of the scan commands
    int lines = 0;     ///< of the log
    int port = 0;      ///< that a load or a save was for
    int command = 0;
};

extern Calls calls;

inline void Forget() { calls = Calls(); }

/// What the key of the scan's progress holds.
extern int progress;

/// The number of HDMI inputs; fixed by the environment, before anything asks.
int HdmiCount();

}  // namespace exhaustive

#endif
