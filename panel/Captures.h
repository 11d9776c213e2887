// SPDX-License-Identifier: Apache-2.0
//
// The captures that have a name, the profiles, and what devices are by them.
#ifndef SRCWATCH_PANEL_CAPTURES_H
#define SRCWATCH_PANEL_CAPTURES_H

#include "Classification.h"
#include "Evidence.h"
#include "Profiles.h"

#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

namespace panel {

/// A capture by its name, as it was read.
struct NamedCapture {
    std::string name;
    srcwatch::Evidence evidence;
};

/// Returns the captures of a directory in the order of their names. What has no plain name is none.
std::vector<NamedCapture> ReadCaptures(const std::string& directory);

/// Returns what captures are: {name, type, brand, device, valid}.
Json::Value DescribeCaptures(const std::vector<NamedCapture>& captures, const srcwatch::Profiles& profiles);

/// Returns profiles from files and directories, the first to win first.
srcwatch::Profiles LoadProfiles(const std::vector<std::string>& paths);

/// Returns the files that these are: of a directory those that are read, in their order.
std::vector<std::string> ProfileFiles(const std::vector<std::string>& paths);

/// Returns what a device is, and how that was decided.
Json::Value DescribeVerdict(const srcwatch::Evidence& evidence, const srcwatch::Profiles& profiles);

/// Returns what captures would be with another text of the first file of profiles: {errors, captures}.
Json::Value TryProfiles(const std::vector<NamedCapture>& captures, const std::vector<std::string>& files,
                        const std::string& text);

}  // namespace panel

#endif
