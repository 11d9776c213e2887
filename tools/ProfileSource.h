// SPDX-License-Identifier: Apache-2.0
//
// Which profiles a command uses.
#ifndef SRCWATCH_TOOLS_PROFILESOURCE_H
#define SRCWATCH_TOOLS_PROFILESOURCE_H

#include <string>
#include <vector>

namespace ctl {

/// Where the profiles are from, and who says so.
struct ProfileSource {
    const char* from;
    std::vector<std::string> paths;
};

/// Returns the profiles that the service loads by default, the first to win first.
ProfileSource InstalledProfiles();

/// Returns the profiles that were given, or else those of a running service. Without one, or without a bus, the
/// installed profiles are the next best.
ProfileSource FindProfiles(const std::vector<std::string>& given);

}  // namespace ctl

#endif
