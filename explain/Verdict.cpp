// SPDX-License-Identifier: Apache-2.0
#include "Verdict.h"

#include "Statistics.h"

#include <filesystem>
#include <optional>

namespace srcwatch {

namespace {

std::string Describe(const SpdInfoFrame& spd)
{
    return "vendor \"" + spd.vendor + "\", product \"" + spd.product + "\", source information " +
           std::to_string(spd.sourceInformation);
}

std::string Describe(const CecDevice& device)
{
    const Json::Value json = DescribeBehind(device);
    const std::string type = device.primaryDeviceType
                                 ? "primary device type " + std::to_string(*device.primaryDeviceType)
                                 : "no device type";
    const std::string vendor = device.vendorId ? "vendor id " + json["vendor_id"].asString() : "no vendor id";
    return "logical address " + std::to_string(device.logicalAddress) + ", physical address " +
           (device.physicalAddress ? json["physical_address"].asString() : "unknown") + ", OSD name \"" +
           device.osdName + "\", " + type + ", " + vendor;
}

std::string Describe(const CecLog& cec)
{
    return std::to_string(cec.devices.size()) + " device(s), " + std::to_string(cec.understood) +
           " message(s) understood, " + std::to_string(cec.skipped) + " skipped";
}

std::string Describe(const std::string& aksv) { return "key selection vector " + aksv; }

template <typename T>
EvidenceItem DescribeItem(const char* file, const std::optional<Decoded<T>>& item)
{
    const T* const value = ValueOf(item);
    if (value != nullptr) return {file, true, Describe(*value)};
    return {file, false, item ? "refused: " + InOneLine(item->remarks) : "absent"};
}

}  // namespace

Verdict Judge(const Evidence& evidence, const Profiles& profiles)
{
    Verdict verdict;
    verdict.items = {DescribeItem(kSpdFile, evidence.spd), DescribeItem(kCecFile, evidence.cec),
                     DescribeItem(kAksvFile, evidence.aksv)};
    if (const CecDevice* const device = evidence.CecDeviceOnPort()) verdict.onPort = Describe(*device);
    verdict.profile = profiles.Find(SignsOf(evidence));
    if (verdict.profile == nullptr) verdict.trials = TryRules(evidence);
    verdict.classification = Classify(evidence, profiles);
    for (const CecDevice& device : verdict.classification.behind) verdict.behind.push_back(Describe(device));
    return verdict;
}

Json::Value VerdictToJson(const Verdict& verdict)
{
    Json::Value json;
    json["items"] = Json::arrayValue;
    for (const EvidenceItem& item : verdict.items) {
        Json::Value entry;
        entry["file"] = item.file;
        entry["usable"] = item.isUsable;
        entry["says"] = item.says;
        json["items"].append(entry);
    }
    json["behind"] = Json::arrayValue;
    for (const CecDevice& device : verdict.classification.behind) json["behind"].append(DescribeBehind(device));
    json["profile"] = Json::nullValue;
    if (verdict.profile != nullptr) {
        json["profile"]["file"] = verdict.profile->file;
        json["profile"]["entry"] = verdict.profile->entry;
    }
    json["rules"] = Json::arrayValue;
    for (const RuleTrial& trial : verdict.trials) {
        Json::Value entry;
        entry["method"] = DetectionMethodText(static_cast<int>(trial.method));
        entry["found"] = trial.found;
        entry["applies"] = trial.applies;
        json["rules"].append(entry);
    }
    json["type"] = verdict.classification.deviceType;
    json["method"] = static_cast<int>(verdict.classification.method);
    return json;
}

Json::Value ClassificationToJson(const Verdict& verdict)
{
    const Classification& device = verdict.classification;
    Json::Value json;
    json["type"] = device.deviceType;
    json["method"] = DetectionMethodText(static_cast<int>(device.method));
    json["profile"] = verdict.profile == nullptr ? ""
                                                 : std::filesystem::path(verdict.profile->file).filename().string() +
                                                       ": entry " + std::to_string(verdict.profile->entry);
    json["brand"] = device.brandName;
    json["device"] = device.deviceName;
    json["provider"] = device.providerName;
    json["codeset"] = device.codesetName;
    json["unknown_type"] = device.unknownType;
    return json;
}

}  // namespace srcwatch
