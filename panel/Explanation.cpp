// SPDX-License-Identifier: Apache-2.0
#include "Explanation.h"

#include "Answers.h"
#include "DeviceType.h"
#include "InputName.h"
#include "Inspection.h"
#include "Tv.h"
#include "Verdict.h"
#include "Words.h"

namespace panel {

namespace {

Json::Value ExplainEvidence(int port, const srcwatch::Capture& device, const KnownDevices& devices)
{
    const std::vector<std::string> paths = devices.ProfilePaths();
    const srcwatch::Profiles profiles = LoadProfiles(paths);
    Json::Value json =
        srcwatch::VerdictToJson(srcwatch::Judge(srcwatch::EvidenceOf(device, srcwatch::HdmiInput(port)), profiles));
    json["profiles"]["from"] = devices.ProfilesFrom();
    json["profiles"]["paths"] = Json::arrayValue;
    for (const std::string& path : paths) json["profiles"]["paths"].append(path);
    return json;
}

}  // namespace

Json::Value Explain(int port, const srcwatch::Capture& device, const KnownDevices& devices)
{
    const auto stored = ReadStored({port});
    const Json::Value record = stored ? stored->records.at(port) : Json::Value();
    const Json::Value members = record.isNull() ? EmptyRecord() : record;
    Json::Value document;
    document["port"] = port;
    document["input"] = srcwatch::PortName(port);
    document["record"] = members;
    document["method_name"] =
        members["DMethod"].isInt() ? srcwatch::DetectionMethodText(members["DMethod"].asInt()) : "";
    document["type_name"] = members["DevType"].isInt() ? srcwatch::NameOfType(members["DevType"].asInt()) : "";
    document["evidence"] = device.IsEmpty() ? Json::Value() : ExplainEvidence(port, device, devices);
    document["answers"] =
        srcwatch::ExplainAnswers(srcwatch::AskAll(port), members, srcwatch::IsReadableRecord(members));
    return document;
}

}  // namespace panel
