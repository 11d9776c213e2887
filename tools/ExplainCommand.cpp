// SPDX-License-Identifier: Apache-2.0
//
// explain: which evidence led to a device's type, and why the functions answer differently.
#include "Answers.h"
#include "Arguments.h"
#include "Bus.h"
#include "Captures.h"
#include "Classification.h"
#include "Commands.h"
#include "Evidence.h"
#include "Failure.h"
#include "InputName.h"
#include "Ports.h"
#include "ProfileSource.h"
#include "Profiles.h"
#include "Rules.h"
#include "Settings.h"
#include "Statistics.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <filesystem>
#include <memory>

namespace ctl {

namespace {

std::string Describe(const srcwatch::SpdInfoFrame& spd)
{
    return "vendor \"" + spd.vendor + "\", product \"" + spd.product + "\", source information " +
           std::to_string(spd.sourceInformation);
}

std::string Describe(const srcwatch::CecDevice& device)
{
    const Json::Value json = srcwatch::DescribeBehind(device);
    const std::string type = device.primaryDeviceType
                                 ? "primary device type " + std::to_string(*device.primaryDeviceType)
                                 : "no device type";
    const std::string vendor = device.vendorId ? "vendor id " + json["vendor_id"].asString() : "no vendor id";
    return "logical address " + std::to_string(device.logicalAddress) + ", physical address " +
           (device.physicalAddress ? json["physical_address"].asString() : "unknown") + ", OSD name \"" +
           device.osdName + "\", " + type + ", " + vendor;
}

std::string Describe(const srcwatch::CecLog& cec)
{
    return std::to_string(cec.devices.size()) + " device(s), " + std::to_string(cec.understood) +
           " message(s) understood, " + std::to_string(cec.skipped) + " skipped";
}

std::string Describe(const std::string& aksv) { return "key selection vector " + aksv; }

template <typename T>
void AddItem(const char* file, const std::optional<srcwatch::Decoded<T>>& item, Json::Value& items, Table& table)
{
    const T* const value = srcwatch::ValueOf(item);
    const std::string contents = value != nullptr ? Describe(*value)
                                 : item           ? "refused: " + srcwatch::InOneLine(item->remarks)
                                                  : "absent";
    Json::Value entry;
    entry["file"] = file;
    entry["usable"] = value != nullptr;
    entry["says"] = contents;
    items.append(entry);
    table.rows.push_back({"evidence", file, contents, ""});
}

// The device on the port, and those that are only reached through it.
void AddCecDevices(const srcwatch::Evidence& evidence, Json::Value& json, Table& table)
{
    if (const srcwatch::CecDevice* const device = evidence.CecDeviceOnPort()) {
        table.rows.push_back({"evidence", "on the port", Describe(*device), ""});
    }
    json["behind"] = Json::arrayValue;
    for (const srcwatch::CecDevice& device : evidence.CecDevicesBehind()) {
        table.rows.push_back({"evidence", "behind", Describe(device), "does not count"});
        json["behind"].append(srcwatch::DescribeBehind(device));
    }
}

// A path that cannot be examined is not a directory that could be used.
bool IsDirectory(const std::string& path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

void AddProfile(const ProfileSource& source, const srcwatch::Profiles& profiles, const srcwatch::Profile* profile,
                Json::Value& json, Table& table)
{
    json["profiles"]["from"] = source.from;
    json["profiles"]["paths"] = Json::arrayValue;
    for (const std::string& path : source.paths) {
        json["profiles"]["paths"].append(path);
        table.rows.push_back({"profiles", source.from, path, ""});
    }
    json["profile"] = Json::nullValue;
    std::string match = "none of " + std::to_string(profiles.Count()) + " matches";
    if (profile != nullptr) {
        json["profile"]["file"] = profile->file;
        json["profile"]["entry"] = profile->entry;
        match = profile->file + ": entry " + std::to_string(profile->entry);
    }
    table.rows.push_back({"profiles", "match", match, profile == nullptr ? "" : "decides"});
}

// A profile comes before all rules, so with one they are not tried.
void AddRules(const srcwatch::Evidence& evidence, bool hasProfile, Json::Value& json, Table& table)
{
    json["rules"] = Json::arrayValue;
    if (hasProfile) return;
    for (const srcwatch::RuleTrial& trial : srcwatch::TryRules(evidence)) {
        const std::string method = srcwatch::DetectionMethodText(static_cast<int>(trial.method));
        Json::Value entry;
        entry["method"] = method;
        entry["found"] = trial.found;
        entry["applies"] = trial.applies;
        json["rules"].append(entry);
        table.rows.push_back({"rules", method, trial.found, trial.applies ? "decides" : "no rule for it"});
    }
}

void AddEvidence(const srcwatch::Evidence& evidence, const std::vector<std::string>& givenProfiles,
                 Json::Value& document, Table& table)
{
    const ProfileSource source = FindProfiles(givenProfiles);
    srcwatch::Profiles profiles;
    for (const std::string& path : source.paths) profiles.Load(path);
    const srcwatch::Profile* const profile = profiles.Find(srcwatch::SignsOf(evidence));
    const srcwatch::Classification now = srcwatch::Classify(evidence, profiles);

    Json::Value& json = document["evidence"];
    json["items"] = Json::arrayValue;
    AddItem(srcwatch::kSpdFile, evidence.spd, json["items"], table);
    AddItem(srcwatch::kCecFile, evidence.cec, json["items"], table);
    AddItem(srcwatch::kAksvFile, evidence.aksv, json["items"], table);
    AddCecDevices(evidence, json, table);
    AddProfile(source, profiles, profile, json, table);
    AddRules(evidence, profile != nullptr, json, table);
    json["type"] = now.deviceType;
    json["method"] = static_cast<int>(now.method);
    const std::string why = "by " + srcwatch::DetectionMethodText(static_cast<int>(now.method));
    const bool same = document["record"]["DevType"] == json["type"];
    table.rows.push_back(
        {"evidence", "leads to", DeviceTypeText(now.deviceType), same ? why : why + "; the record differs"});
}

void AddRecord(Json::Value& document, Table& table)
{
    const Json::Value& record = document["record"];
    const std::string name = record["DMethod"].isInt() ? srcwatch::DetectionMethodText(record["DMethod"].asInt()) : "";
    const std::string type = record["DevType"].isInt() ? DeviceTypeName(record["DevType"].asInt()) : "";
    document["method_name"] = name;
    document["type_name"] = type;
    table.rows.push_back({"record", "DevType", CellText(record["DevType"]), type});
    table.rows.push_back({"record", "DMethod", CellText(record["DMethod"]), "detected by: " + name});
}

void AddAnswers(int port, Json::Value& document, Table& table)
{
    const std::vector<Answer> answers = AskAll(port);
    document["answers"] = AnswersToJson(answers);
    for (Json::ArrayIndex i = 0; i < document["answers"].size(); ++i) {
        const std::string why =
            document["readable"].asBool() ? ReasonFor(answers[i], document["record"]) : "the stored record is damaged";
        document["answers"][i]["why"] = why;
        AddRows(answers[i], why, table);
    }
}

void Explain(int port, const std::string& inputs, const std::vector<std::string>& profiles, Output& output)
{
    RequireSettings();
    Json::Value document = PortDocument(port);
    Table table{{"FROM", "NAME", {"VALUE", Fit::kWrapped}, {"WHY", Fit::kWrapped}}, {}};
    document["evidence"] = Json::nullValue;
    const std::string directory = inputs + "/" + srcwatch::InputName(port);
    const int hdmiInput = srcwatch::HdmiInput(port);
    if (IsDirectory(directory)) {
        document["evidence"]["directory"] = directory;
        AddEvidence(srcwatch::ReadEvidence(directory, hdmiInput), profiles, document, table);
    } else if (const auto capture = AskForCapture(port)) {  // of a device that an adapter knows
        document["evidence"]["directory"] = Json::nullValue;
        AddEvidence(EvidenceOf(*capture, hdmiInput), profiles, document, table);
    }
    AddRecord(document, table);
    AddAnswers(port, document, table);
    output.Write(document, table);
}

}  // namespace

void AddExplainCommand(CLI::App& app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto inputs = std::make_shared<std::string>();
    const auto profiles = std::make_shared<std::vector<std::string>>();
    CLI::App* const explain = app.add_subcommand(
        "explain", "Show which evidence led to a device's type, and why the functions answer as they do");
    AddPort(explain, "PORT", *port);
    AddInputs(explain, *inputs);
    explain
        ->add_option("--profiles", *profiles,
                     "Profiles to classify by instead of the running service's, a file or a directory; the first wins")
        ->type_name("PATH")
        ->allow_extra_args(false);
    explain->callback([=, &output] { Explain(*port, *inputs, *profiles, output); });
}

}  // namespace ctl
