// SPDX-License-Identifier: Apache-2.0
#include "Rules.h"

#include <algorithm>

namespace srcwatch {

namespace {

using Method = DetectionMethod;

constexpr int kStb = SRCWATCH_DEVICE_SET_TOP_BOX;
constexpr int kDisc = SRCWATCH_DEVICE_DISC_PLAYER;
constexpr int kTheatre = SRCWATCH_DEVICE_HOME_THEATRE;
constexpr int kStreaming = SRCWATCH_DEVICE_STREAMING_BOX;
constexpr int kGame = SRCWATCH_DEVICE_GAME_CONSOLE;
constexpr int kOther = SRCWATCH_DEVICE_OTHER;
constexpr int kNotSupported = SRCWATCH_DEVICE_NOT_SUPPORTED;
constexpr int kPc = SRCWATCH_DEVICE_PC;

bool IsEveryItemFaulty(const Evidence& evidence)
{
    const bool hasItems = !evidence.directory.empty() || evidence.spd || evidence.cec || evidence.aksv;
    return hasItems && ValueOf(evidence.spd) == nullptr && ValueOf(evidence.cec) == nullptr &&
           ValueOf(evidence.aksv) == nullptr;
}

bool IsRuleFor(const Evidence& evidence, const Rule& rule)
{
    const SpdInfoFrame* const spd = ValueOf(evidence.spd);
    switch (rule.method) {
        case Method::kSpd:
            return spd != nullptr && spd->sourceInformation == rule.code;
        case Method::kCec:
            return PrimaryDeviceType(evidence) == rule.code;
        case Method::kAksv:
            return ValueOf(evidence.aksv) != nullptr;
        case Method::kFaulty:
            return IsEveryItemFaulty(evidence);
        default:
            return true;
    }
}

std::string WhatIsFound(const Evidence& evidence, Method method)
{
    const SpdInfoFrame* const spd = ValueOf(evidence.spd);
    const int type = PrimaryDeviceType(evidence);
    switch (method) {
        case Method::kSpd:
            return spd == nullptr ? "no InfoFrame" : "source information " + std::to_string(spd->sourceInformation);
        case Method::kCec:
            return type == kAnyCode ? "no primary device type" : "primary device type " + std::to_string(type);
        case Method::kAksv:
            return ValueOf(evidence.aksv) == nullptr ? "no key selection vector" : "a key selection vector";
        case Method::kFaulty:
            return IsEveryItemFaulty(evidence) ? "every item is faulty" : "an item is not faulty, or there is none";
        default:
            return "always applies";
    }
}

}  // namespace

const std::vector<Rule>& Rules()
{
    static const std::vector<Rule> kRules = {
        {Method::kSpd, 1, kStb, kStb, "Set-top box"},
        {Method::kSpd, 2, kDisc, kTheatre, "DVD player"},
        {Method::kSpd, 3, kDisc, kTheatre, "D-VHS recorder"},
        {Method::kSpd, 4, kDisc, kTheatre, "Hard disk recorder"},
        {Method::kSpd, 5, kOther, kOther, "Video camera"},
        {Method::kSpd, 6, kOther, kOther, "Still camera"},
        {Method::kSpd, 7, kDisc, kTheatre, "Video CD player"},
        {Method::kSpd, 8, kGame, kGame, "Game console"},
        {Method::kSpd, 9, kPc, kPc, "PC"},
        {Method::kSpd, 10, kDisc, kTheatre, "Blu-ray Disc player"},
        {Method::kSpd, 11, kDisc, kTheatre, "Super Audio CD player"},
        {Method::kSpd, 12, kDisc, kTheatre, "HD DVD player"},
        {Method::kSpd, 13, kOther, kOther, "Portable media player"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_TUNER, kStb, kStb, "Tuner"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM, kTheatre, kTheatre, "Audio system"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_RECORD, kDisc, kDisc, "Recording device"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_PLAYBACK, kStreaming, kStreaming, "Playback device"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_SWITCH, kNotSupported, kNotSupported, "CEC switch"},
        {Method::kCec, CEC_OP_PRIM_DEVTYPE_PROCESSOR, kNotSupported, kNotSupported, "Video processor"},
        {Method::kAksv, kAnyCode, kOther, kOther, "HDCP source"},
        {Method::kFaulty, kAnyCode, kNotSupported, kNotSupported, "Faulty signals"},
        {Method::kSilent, kAnyCode, kOther, kOther, "Unidentified device"},
    };
    return kRules;
}

const Rule& FindRule(const Evidence& evidence)
{
    return *std::find_if(Rules().begin(), Rules().end(), [&](const Rule& rule) { return IsRuleFor(evidence, rule); });
}

int PrimaryDeviceType(const Evidence& evidence)
{
    const CecDevice* const device = evidence.CecDeviceOnPort();
    return device == nullptr ? kAnyCode : device->primaryDeviceType.value_or(kAnyCode);
}

std::vector<RuleTrial> TryRules(const Evidence& evidence)
{
    const Method decided = FindRule(evidence).method;
    std::vector<RuleTrial> trials;
    for (const Rule& rule : Rules()) {
        if (!trials.empty() && trials.back().method == rule.method) continue;
        trials.push_back({rule.method, WhatIsFound(evidence, rule.method), rule.method == decided});
        if (rule.method == decided) break;
    }
    return trials;
}

}  // namespace srcwatch
