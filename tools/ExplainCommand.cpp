// SPDX-License-Identifier: Apache-2.0
//
// explain: which evidence led to a device's type, and why the functions answer differently.
#include "Answers.h"
#include "Classification.h"
#include "Commands.h"
#include "Evidence.h"
#include "InputName.h"
#include "Inputs.h"
#include "PortDocument.h"
#include "Ports.h"
#include "Profiles.h"
#include "Records.h"
#include "srcwatch-api.h"

#include <memory>

namespace ctl {

namespace {

// An item of evidence in words.
struct Item {
    const char* file;
    std::string says;
    bool usable;
};

std::string Say(const srcwatch::SpdInfoFrame& spd)
{
    return "vendor \"" + spd.vendor + "\", product \"" + spd.product + "\", source information " +
           std::to_string(spd.sourceInformation);
}

std::string Say(const srcwatch::CecLog& cec)
{
    const std::string type =
        cec.primaryDeviceType ? "primary device type " + std::to_string(*cec.primaryDeviceType) : "no device type";
    return "OSD name \"" + cec.osdName + "\", " + type + ", " + std::to_string(cec.understood) +
           " message(s) understood, " + std::to_string(cec.skipped) + " skipped";
}

std::string Say(const std::string& aksv) { return "key selection vector " + aksv; }

template <typename T>
void AddItem(std::vector<Item>& items, const char* file, const std::optional<srcwatch::Decoded<T>>& decoded)
{
    if (!decoded) return items.push_back({file, "absent", false});
    const T* const value = srcwatch::ValueOf(*decoded);
    if (value != nullptr) return items.push_back({file, Say(*value), true});
    items.push_back({file, "refused: " + srcwatch::InOneLine(std::get<srcwatch::Fault>(*decoded).remarks), false});
}

std::vector<Item> ItemsOf(const srcwatch::Evidence& evidence)
{
    std::vector<Item> items;
    AddItem(items, srcwatch::kSpdFile, evidence.spd);
    AddItem(items, srcwatch::kCecFile, evidence.cec);
    AddItem(items, srcwatch::kAksvFile, evidence.aksv);
    return items;
}

void AddEvidence(const std::string& directory, const std::vector<std::string>& profilePaths, Json::Value& document,
                 Table& table)
{
    const srcwatch::Evidence evidence = srcwatch::ReadEvidence(directory);
    srcwatch::Profiles profiles;
    for (const std::string& path : profilePaths) profiles.Load(path);
    const srcwatch::Classification now = srcwatch::Classify(evidence, profiles);

    Json::Value& json = document["evidence"];
    json["directory"] = directory;
    json["items"] = Json::arrayValue;
    for (const Item& item : ItemsOf(evidence)) {
        Json::Value entry;
        entry["file"] = item.file;
        entry["usable"] = item.usable;
        entry["says"] = item.says;
        json["items"].append(entry);
        table.rows.push_back({"evidence", item.file, item.says, ""});
    }
    json["type"] = now.deviceType;
    json["method"] = static_cast<int>(now.method);
    const std::string type = std::to_string(now.deviceType) + " (" + DeviceTypeName(now.deviceType) + ")";
    const std::string why = "by " + srcwatch::DetectionMethodText(static_cast<int>(now.method));
    const bool same = document["record"]["DevType"] == json["type"];
    table.rows.push_back({"evidence", "leads to", "type " + type, same ? why : why + "; not what the record has"});
}

void AddRecord(Json::Value& document, Table& table)
{
    const Json::Value& record = document["record"];
    const std::string method = CellText(record["DMethod"]);
    const std::string name = record["DMethod"].isInt() ? srcwatch::DetectionMethodText(record["DMethod"].asInt()) : "";
    const std::string type = record["DevType"].isInt() ? DeviceTypeName(record["DevType"].asInt()) : "";
    document["method_name"] = name;
    document["type_name"] = type;
    table.rows.push_back({"record", "DevType", CellText(record["DevType"]), type});
    table.rows.push_back({"record", "DMethod", method, "detected by: " + name});
}

void AddAnswers(int port, Json::Value& document, Table& table)
{
    const std::vector<Answer> answers = AskAll(port);
    document["answers"] = AnswersToJson(answers);
    for (Json::ArrayIndex i = 0; i < document["answers"].size(); ++i) {
        const Answer& answer = answers[i];
        const std::string why =
            document["readable"].asBool() ? WhyAnswered(answer, document["record"]) : "the stored record is damaged";
        document["answers"][i]["why"] = why;
        for (const AnsweredValue& value : answer.values) {
            const Cell cell = value.value.isNull() ? Cell("(untouched)", Colour::kDim) : Cell(CellText(value.value));
            table.rows.push_back({answer.function, value.name, cell, why});
        }
    }
}

void Explain(int port, const std::string& inputs, const std::vector<std::string>& profiles, Output& output)
{
    Json::Value document = PortDocument(port);
    Table table{{"FROM", "NAME", "VALUE", "WHY"}, {}};
    document["evidence"] = Json::nullValue;
    const std::string directory = inputs + "/" + srcwatch::InputName(port);
    if (IsDirectory(directory)) AddEvidence(directory, profiles, document, table);
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
        "explain", "Tell which evidence led to a device's type, and why the functions answer as they do");
    AddPort(explain, "PORT", *port);
    AddInputs(explain, *inputs);
    AddProfiles(explain, *profiles);
    explain->callback([=, &output] { Explain(*port, *inputs, *profiles, output); });
}

}  // namespace ctl
