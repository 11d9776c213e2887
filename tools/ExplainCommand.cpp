// SPDX-License-Identifier: Apache-2.0
//
// explain: which evidence led to a device's type, and why the functions answer differently.
#include "Arguments.h"
#include "Bus.h"
#include "Captures.h"
#include "Commands.h"
#include "Evidence.h"
#include "Failure.h"
#include "InputName.h"
#include "Ports.h"
#include "ProfileSource.h"
#include "Profiles.h"
#include "Settings.h"
#include "Verdict.h"
#include "srcwatch-protocol.h"

#include <filesystem>
#include <memory>

namespace ctl {

namespace {

// A path that cannot be examined is not a directory that could be used.
bool IsDirectory(const std::string& path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

void AddRows(const srcwatch::Verdict& verdict, Table& table)
{
    for (const srcwatch::EvidenceItem& item : verdict.items) {
        table.rows.push_back({"evidence", item.file, item.says, ""});
    }
    if (!verdict.onPort.empty()) table.rows.push_back({"evidence", "on the port", verdict.onPort, ""});
    for (const std::string& device : verdict.behind) {
        table.rows.push_back({"evidence", "behind", device, "does not count"});
    }
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
    const std::string match = profile == nullptr ? "none of " + std::to_string(profiles.Count()) + " matches"
                                                 : profile->file + ": entry " + std::to_string(profile->entry);
    table.rows.push_back({"profiles", "match", match, profile == nullptr ? "" : "decides"});
}

void AddEvidence(const srcwatch::Evidence& evidence, const std::vector<std::string>& givenProfiles,
                 Json::Value& document, Table& table)
{
    const ProfileSource source = FindProfiles(givenProfiles);
    srcwatch::Profiles profiles;
    for (const std::string& path : source.paths) profiles.Load(path);
    const srcwatch::Verdict verdict = srcwatch::Judge(evidence, profiles);

    Json::Value& json = document["evidence"];
    json = srcwatch::VerdictToJson(verdict);
    AddRows(verdict, table);
    AddProfile(source, profiles, verdict.profile, json, table);
    for (const srcwatch::RuleTrial& trial : verdict.trials) {
        table.rows.push_back({"rules", srcwatch::DetectionMethodText(static_cast<int>(trial.method)), trial.found,
                              trial.applies ? "decides" : "no rule for it"});
    }
    const std::string why = "by " + srcwatch::DetectionMethodText(json["method"].asInt());
    const bool same = document["record"]["DevType"] == json["type"];
    table.rows.push_back(
        {"evidence", "leads to", NumberAndNameOfType(json["type"].asInt()), same ? why : why + "; the record differs"});
}

void AddRecord(Json::Value& document, Table& table)
{
    const Json::Value& record = document["record"];
    const std::string name = record["DMethod"].isInt() ? srcwatch::DetectionMethodText(record["DMethod"].asInt()) : "";
    const std::string type = record["DevType"].isInt() ? NameOfType(record["DevType"].asInt()) : "";
    document["method_name"] = name;
    document["type_name"] = type;
    table.rows.push_back({"record", "DevType", CellText(record["DevType"]), type});
    table.rows.push_back({"record", "DMethod", CellText(record["DMethod"]), "detected by: " + name});
}

void AddAnswers(int port, Json::Value& document, Table& table)
{
    const std::vector<srcwatch::Answer> answers = srcwatch::AskAll(port);
    document["answers"] = srcwatch::ExplainAnswers(answers, document["record"], document["readable"].asBool());
    for (Json::ArrayIndex i = 0; i < document["answers"].size(); ++i) {
        AddRows(answers[i], document["answers"][i]["why"].asString(), table);
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
        AddEvidence(srcwatch::ReadEvidence(directory, hdmiInput), profiles, document, table);
        document["evidence"]["directory"] = directory;
    } else if (const auto capture = AskForCapture(port)) {  // of a device that an adapter knows
        AddEvidence(EvidenceOf(*capture, hdmiInput), profiles, document, table);
        document["evidence"]["directory"] = Json::nullValue;
    }
    AddRecord(document, table);
    AddAnswers(port, document, table);
    output.Write(document, table);
}

}  // namespace

void AddExplainCommand(cli::Command app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto inputs = std::make_shared<std::string>();
    const auto profiles = std::make_shared<std::vector<std::string>>();
    const cli::Command explain = app.AddCommand(
        "explain", "Show which evidence led to a device's type, and why the functions answer as they do");
    AddPort(explain, "PORT", *port);
    AddInputs(explain, *inputs);
    explain
        .AddOption("--profiles", profiles.get(), "PATH",
                   "Profiles to classify by instead of the running service's, a file or a directory; the first wins")
        .TakesOneEach();
    explain.Runs([=, &output] { Explain(*port, *inputs, *profiles, output); });
}

}  // namespace ctl
