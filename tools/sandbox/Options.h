// SPDX-License-Identifier: Apache-2.0
//
// What a sandbox is asked for.
#ifndef SRCWATCH_SANDBOX_OPTIONS_H
#define SRCWATCH_SANDBOX_OPTIONS_H

#include <string>
#include <vector>

namespace sandbox {

/// A device that is plugged in from the beginning.
struct Plug {
    int port;
    std::string capture;  ///< its directory, absolute
};

struct Options {
    int hdmiInputs = 4;
    std::vector<Plug> plugs;
    bool hasService = true;
    std::string log;                   ///< absolute; empty for none
    std::vector<std::string> program;  ///< empty for a shell
};

}  // namespace sandbox

#endif
