// SPDX-License-Identifier: Apache-2.0
#include "Classification.h"

#include "Rules.h"

#include <algorithm>

namespace srcwatch {

namespace {

using Method = DetectionMethod;

constexpr int kStb = SRCWATCH_DEVICE_SET_TOP_BOX;
constexpr int kOther = SRCWATCH_DEVICE_OTHER;
constexpr int kNotSupported = SRCWATCH_DEVICE_NOT_SUPPORTED;

// The names in the evidence, which do not depend on the kind of device.
Classification NamesOf(const Evidence& evidence, const Signs& signs)
{
    Classification result;
    result.manufacturerName = result.brandName = signs.vendor;
    result.modelName = result.deviceName = signs.product;
    result.cecName = signs.osd;
    result.vendorId = signs.vendorId;
    result.aksv = signs.aksv;
    if (result.deviceName.empty()) result.deviceName = result.cecName;
    if (const CecDevice* const device = evidence.CecDeviceOnPort()) result.cecDeviceName = CecDeviceTypeName(*device);
    result.behind = evidence.CecDevicesBehind();
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

Signs SignsOf(const Evidence& evidence)
{
    Signs signs;
    if (const SpdInfoFrame* const spd = ValueOf(evidence.spd)) {
        signs.vendor = spd->vendor;
        signs.product = spd->product;
        signs.sourceInformation = spd->sourceInformation;
    }
    if (const CecDevice* const device = evidence.CecDeviceOnPort()) {
        signs.osd = device->osdName;
        signs.deviceType = device->primaryDeviceType;
        if (device->vendorId) signs.vendorId = VendorIdText(*device->vendorId);
        if (device->physicalAddress) signs.physicalAddress = PhysicalAddressText(*device->physicalAddress);
    }
    if (const std::string* const aksv = ValueOf(evidence.aksv)) signs.aksv = *aksv;
    return signs;
}

const char* CecDeviceTypeName(const CecDevice& device)
{
    const auto rule = std::find_if(Rules().begin(), Rules().end(), [&](const Rule& candidate) {
        return candidate.method == Method::kCec && candidate.code == device.primaryDeviceType;
    });
    return rule == Rules().end() ? "" : rule->note;
}

Classification Classify(const Evidence& evidence, const Profiles& profiles)
{
    const Signs signs = SignsOf(evidence);
    Classification result = NamesOf(evidence, signs);
    const Rule& rule = FindRule(evidence);
    const Profile* const profile = profiles.Find(signs);
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
