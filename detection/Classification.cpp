// SPDX-License-Identifier: Apache-2.0
#include "Classification.h"

#include <algorithm>

namespace srcwatch {

namespace {

using Method = DetectionMethod;

constexpr int kAnyCode = -1;

// What a piece of evidence means. The rows stand in the order of trust and the first that applies decides; a profile
// comes before them all. docs/detection.md has the same table.
struct Rule {
    Method method;
    int code;  // source information of an SPD InfoFrame or primary device type of HDMI-CEC
    int type;
    int typeWithAudio;  // the same if HDMI-CEC reports that the device is an audio system
    const char* note;   // the text for a device of this kind that has no name
};

constexpr int kStb = SRCWATCH_DEVICE_SET_TOP_BOX;
constexpr int kDisc = SRCWATCH_DEVICE_DISC_PLAYER;
constexpr int kTheatre = SRCWATCH_DEVICE_HOME_THEATRE;
constexpr int kStreaming = SRCWATCH_DEVICE_STREAMING_BOX;
constexpr int kGame = SRCWATCH_DEVICE_GAME_CONSOLE;
constexpr int kOther = SRCWATCH_DEVICE_OTHER;
constexpr int kNotSupported = SRCWATCH_DEVICE_NOT_SUPPORTED;
constexpr int kPc = SRCWATCH_DEVICE_PC;

constexpr Rule kRules[] = {
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

bool IsEveryItemFaulty(const Evidence& evidence)
{
    const bool hasItems = !evidence.directory.empty() || evidence.spd || evidence.cec || evidence.aksv;
    return hasItems && ValueOf(evidence.spd) == nullptr && ValueOf(evidence.cec) == nullptr &&
           ValueOf(evidence.aksv) == nullptr;
}

int PrimaryDeviceType(const Evidence& evidence)
{
    const CecDevice* const device = evidence.CecDeviceOnPort();
    return device == nullptr ? kAnyCode : device->primaryDeviceType.value_or(kAnyCode);
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

// The last row always applies.
const Rule& FindRule(const Evidence& evidence)
{
    return *std::find_if(std::begin(kRules), std::end(kRules),
                         [&](const Rule& rule) { return IsRuleFor(evidence, rule); });
}

// The names in the evidence, which do not depend on the kind of device.
Classification NamesOf(const Evidence& evidence)
{
    Classification result;
    if (const SpdInfoFrame* const spd = ValueOf(evidence.spd)) {
        result.manufacturerName = result.brandName = spd->vendor;
        result.modelName = result.deviceName = spd->product;
    }
    if (const CecDevice* const device = evidence.CecDeviceOnPort()) {
        result.cecName = device->osdName;
        result.cecDeviceName = CecDeviceTypeName(*device);
        if (device->vendorId) result.vendorId = VendorIdText(*device->vendorId);
    }
    result.behind = evidence.CecDevicesBehind();
    if (const std::string* const aksv = ValueOf(evidence.aksv)) result.aksv = *aksv;
    if (result.deviceName.empty()) result.deviceName = result.cecName;
    return result;
}

void ApplyRule(const Rule& rule, const Evidence& evidence, Classification& result)
{
    const bool audio = PrimaryDeviceType(evidence) == CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM;
    result.method = rule.method;
    result.deviceType = audio ? rule.typeWithAudio : rule.type;
}

void ApplyProfile(const Profile& profile, Classification& result)
{
    result.method = Method::kProfile;
    result.deviceType = profile.type;
    result.providerName = profile.provider;
    result.codesetName = profile.codeset;
    if (!profile.brand.empty()) result.brandName = profile.brand;
    if (!profile.device.empty()) result.deviceName = profile.device;
}

// Applications show this text for the types that have no brand beside their name.
bool WantsNote(const Classification& result)
{
    if (result.deviceType == kStb) return result.providerName.empty();
    return result.deviceType == kOther || result.deviceType == kNotSupported;
}

}  // namespace

const char* CecDeviceTypeName(const CecDevice& device)
{
    const auto* const rule = std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& candidate) {
        return candidate.method == Method::kCec && candidate.code == device.primaryDeviceType;
    });
    return rule == std::end(kRules) ? "" : rule->note;
}

Classification Classify(const Evidence& evidence, const Profiles& profiles)
{
    Classification result = NamesOf(evidence);
    const Rule& rule = FindRule(evidence);
    const Profile* const profile = profiles.Find(result.manufacturerName, result.modelName, result.cecName);
    if (profile != nullptr) {
        ApplyProfile(*profile, result);
    } else {
        ApplyRule(rule, evidence, result);
    }
    result.deviceTypeText = DeviceTypeText(result.deviceType);
    if (WantsNote(result)) result.unknownType = rule.note;
    return result;
}

}  // namespace srcwatch
