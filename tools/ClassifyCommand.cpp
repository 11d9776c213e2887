// SPDX-License-Identifier: Apache-2.0
//
// classify: what captures are, and how that differs from what was expected.
#include "Captures.h"
#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "JsonText.h"
#include "Ports.h"
#include "ProfileSource.h"
#include "Profiles.h"
#include "Verdict.h"

#include <filesystem>
#include <map>
#include <memory>
#include <set>

namespace ctl {

namespace {

constexpr const char* kMembers[] = {"type",   "method",   "profile", "brand",
                                    "device", "provider", "codeset", "unknown_type"};

using Results = std::map<std::string, Json::Value>;  // by the name of the capture

Json::Value Describe(const std::string& capture, const srcwatch::Profiles& profiles)
{
    const srcwatch::Evidence evidence = srcwatch::ReadEvidence(capture);
    Json::Value json = srcwatch::ClassificationToJson(srcwatch::Judge(evidence, profiles));
    json["capture"] = std::filesystem::path(capture).filename().string();
    return json;
}

Results ClassifyAll(const std::vector<std::string>& directories, const std::vector<std::string>& profilePaths)
{
    srcwatch::Profiles profiles;
    for (const std::string& path : FindProfiles(profilePaths).paths) profiles.Load(path);
    Results results;
    for (const std::string& directory : directories) {
        std::error_code error;
        const std::string place = std::filesystem::canonical(directory, error);
        if (error) throw Failure("no such directory: " + directory);
        for (const std::string& capture : FindCaptures(place)) {
            const Json::Value json = Describe(capture, profiles);
            const bool isNew = results.emplace(json["capture"].asString(), json).second;
            if (!isNew) throw Failure("two captures have the name " + json["capture"].asString());
        }
    }
    return results;
}

// What this command wrote as JSON before.
Results ReadExpected(const std::string& path)
{
    const auto root = srcwatch::ParseJson(ReadFile(path, kDocumentLimit));
    if (!root || !root->isArray()) throw Failure(path + ": not the output of 'classify -o json'");
    Results results;
    for (Json::ArrayIndex i = 0; i < root->size(); ++i) {
        const Json::Value& entry = (*root)[i];
        if (!entry.isObject() || !entry["capture"].isString()) {
            throw Failure(path + ": element " + std::to_string(i) + " has no \"capture\"");
        }
        results[entry["capture"].asString()] = entry;
    }
    return results;
}

void Add(const std::string& capture, const std::string& member, const Json::Value& expected, const Json::Value& found,
         Json::Value& document, Table& table)
{
    Json::Value json;
    json["capture"] = capture;
    json["member"] = member;
    json["expected"] = expected;
    json["found"] = found;
    document.append(json);
    table.rows.push_back({capture, member, CellText(expected), {CellText(found), Colour::kBad}});
}

void ShowDifferences(const Results& expected, const Results& found, Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{"CAPTURE", "MEMBER", "EXPECTED", "FOUND"}, {}};
    std::set<std::string> names;
    for (const Results* results : {&expected, &found}) {
        for (const auto& result : *results) names.insert(result.first);
    }
    for (const std::string& name : names) {
        if (expected.count(name) == 0 || found.count(name) == 0) {
            Add(name, "capture", expected.count(name) > 0, found.count(name) > 0, document, table);
            continue;
        }
        for (const char* const member : kMembers) {
            const Json::Value& was = expected.at(name)[member];
            if (was != found.at(name)[member]) Add(name, member, was, found.at(name)[member], document, table);
        }
    }
    output.Write(document, table);
    if (!document.empty()) throw Failure(std::to_string(document.size()) + " difference(s)");
}

void ShowAll(const Results& results, Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{"CAPTURE", "TYPE", "METHOD", "PROFILE", "BRAND", "DEVICE", "PROVIDER", "CODESET"}, {}};
    for (const auto& [name, json] : results) {
        document.append(json);
        table.rows.push_back({name, NameOfType(json["type"].asInt()), CellText(json["method"]),
                              CellText(json["profile"]), CellText(json["brand"]), CellText(json["device"]),
                              CellText(json["provider"]), CellText(json["codeset"])});
    }
    output.Write(document, table);
}

}  // namespace

void AddClassifyCommand(cli::Command app, Output& output)
{
    const auto directories = std::make_shared<std::vector<std::string>>();
    const auto profiles = std::make_shared<std::vector<std::string>>();
    const auto expected = std::make_shared<std::string>();
    const cli::Command classify = app.AddCommand("classify", "Classify captures, or compare with what is expected");
    classify.AddArgument("DIR", directories.get(), "Directory of a capture, or of captures").Required();
    classify.AddOption("--expect", expected.get(), "FILE", "Output of 'classify -o json': show what differs from it");
    classify
        .AddOption("--profiles", profiles.get(), "PATH",
                   "Profiles to classify by, a file or a directory; the first wins")
        .TakesOneEach();
    classify.Runs([=, &output] {
        const Results found = ClassifyAll(*directories, *profiles);
        if (expected->empty()) return ShowAll(found, output);
        ShowDifferences(ReadExpected(*expected), found, output);
    });
}

}  // namespace ctl
