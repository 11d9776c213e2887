// SPDX-License-Identifier: Apache-2.0
//
// The inputs that the TV has.
#ifndef SRCWATCH_SERVICE_PORTSET_H
#define SRCWATCH_SERVICE_PORTSET_H

#include "srcwatch-api.h"

#include <numeric>
#include <vector>

namespace srcwatch {

struct PortSet {
    int hdmiCount;

    bool Has(int port) const { return port == SRCWATCH_PORT_OPTICAL || (port >= 0 && port < hdmiCount); }

    /// Returns all of them, the optical one last.
    std::vector<int> All() const
    {
        std::vector<int> ports(static_cast<std::size_t>(hdmiCount));
        std::iota(ports.begin(), ports.end(), 0);
        ports.push_back(SRCWATCH_PORT_OPTICAL);
        return ports;
    }
};

}  // namespace srcwatch

#endif
