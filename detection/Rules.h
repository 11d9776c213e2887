// SPDX-License-Identifier: Apache-2.0
//
// What each piece of evidence means: the rules that decide a device's type where no profile does. docs/detection.md has
// the same table, which a test compares.
#ifndef SRCWATCH_DETECTION_RULES_H
#define SRCWATCH_DETECTION_RULES_H

#include "DeviceType.h"
#include "Evidence.h"

#include <string>
#include <vector>

namespace srcwatch {

constexpr int kAnyCode = -1;

struct Rule {
    DetectionMethod method;
    int code;           ///< source information of an SPD InfoFrame or primary device type of HDMI-CEC
    int type;           ///< device type
    int typeWithAudio;  ///< the same if HDMI-CEC reports that the device is an audio system
    const char* note;   ///< the text for a device of this kind that has no name
};

/// Returns the rules in the order of trust: the first that applies decides. The last one always applies.
const std::vector<Rule>& Rules();

/// Returns the first rule that applies.
const Rule& FindRule(const Evidence& evidence);

/// Returns the primary device type of the device on the port; kAnyCode if it is not known.
int PrimaryDeviceType(const Evidence& evidence);

/// What the rules of one method found.
struct RuleTrial {
    DetectionMethod method;
    std::string found;  ///< what the evidence has for this method
    bool applies;
};

/// Returns the methods that were tried until a rule applied.
std::vector<RuleTrial> TryRules(const Evidence& evidence);

}  // namespace srcwatch

#endif
