// SPDX-License-Identifier: Apache-2.0
//
// The way from what a device says to its type, step by step, and what comes of it.
#ifndef SRCWATCH_EXPLAIN_VERDICT_H
#define SRCWATCH_EXPLAIN_VERDICT_H

#include "Classification.h"
#include "Evidence.h"
#include "Profiles.h"
#include "Rules.h"

#include <string>
#include <vector>

#include <json/value.h>

namespace srcwatch {

/// What one file of a device says.
struct EvidenceItem {
    std::string file;
    bool isUsable;
    std::string says;  ///< also why it is refused, or that it is absent
};

struct Verdict {
    std::vector<EvidenceItem> items;
    std::string onPort;               ///< what the HDMI-CEC device on the port says; empty without one
    std::vector<std::string> behind;  ///< the same of those that are only reached through it
    const Profile* profile;           ///< the one that decides, of those that were given; null without one
    std::vector<RuleTrial> trials;    ///< a profile comes before all rules: none with one
    Classification classification;
};

/// Returns the way to the type of a device, which needs the profiles as long as it lives.
Verdict Judge(const Evidence& evidence, const Profiles& profiles);

/// Returns the members "items", "behind", "profile", "rules", "type" and "method".
Json::Value VerdictToJson(const Verdict& verdict);

/// Returns what a device is, in short: "type", "method", "profile", "brand", "device", "provider", "codeset" and
/// "unknown_type".
Json::Value ClassificationToJson(const Verdict& verdict);

}  // namespace srcwatch

#endif
