// SPDX-License-Identifier: Apache-2.0
#include "Captures.h"

#include "DeviceType.h"
#include "Names.h"
#include "Tv.h"
#include "Verdict.h"
#include "Words.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace panel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostCaptures = 512;

// In the order of their names.
std::vector<std::string> NamesIn(const std::string& directory)
{
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        names.push_back(it->path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

Json::Value DescribeType(const srcwatch::Classification& classification)
{
    Json::Value json;
    json["type"] = classification.deviceType;
    json["type_name"] = srcwatch::NameOfType(classification.deviceType);
    json["brand"] = classification.brandName;
    json["device"] = classification.deviceName;
    return json;
}

Json::Value TextsOf(const srcwatch::Remarks& remarks)
{
    Json::Value texts(Json::arrayValue);
    for (const srcwatch::Remark& remark : remarks) {
        const std::string file = remark.file.empty() ? "" : remark.file + ": ";
        texts.append(file + (remark.line > 0 ? "line " + std::to_string(remark.line) + ": " : "") + remark.text);
    }
    return texts;
}

bool IsCapture(const srcwatch::Evidence& evidence) { return evidence.spd || evidence.cec || evidence.aksv; }

}  // namespace

std::vector<NamedCapture> ReadCaptures(const std::string& directory)
{
    std::vector<NamedCapture> captures;
    for (const std::string& name : NamesIn(directory)) {
        const std::string path = fs::path(directory) / name;
        std::error_code error;
        if (!IsPlainName(name) || !fs::is_directory(path, error)) continue;
        srcwatch::Evidence evidence = srcwatch::ReadEvidence(path);
        if (IsCapture(evidence)) captures.push_back({name, std::move(evidence)});
        if (captures.size() == kMostCaptures) break;
    }
    return captures;
}

Json::Value DescribeCaptures(const std::vector<NamedCapture>& captures, const srcwatch::Profiles& profiles)
{
    Json::Value list(Json::arrayValue);
    for (const auto& [name, evidence] : captures) {
        const srcwatch::Classification classification = srcwatch::Classify(evidence, profiles);
        Json::Value capture = DescribeType(classification);
        capture["name"] = name;
        capture["valid"] = classification.method != srcwatch::DetectionMethod::kFaulty;
        list.append(capture);
    }
    return list;
}

srcwatch::Profiles LoadProfiles(const std::vector<std::string>& paths)
{
    srcwatch::Profiles profiles;
    for (const std::string& path : paths) profiles.Load(path);
    return profiles;
}

std::vector<std::string> ProfileFiles(const std::vector<std::string>& paths)
{
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            files.push_back(path);
            continue;
        }
        const std::vector<std::string> listed = srcwatch::ListProfiles(path, error);
        files.insert(files.end(), listed.begin(), listed.end());
    }
    return files;
}

Json::Value DescribeVerdict(const srcwatch::Evidence& evidence, const srcwatch::Profiles& profiles)
{
    const srcwatch::Verdict verdict = srcwatch::Judge(evidence, profiles);
    const Json::Value way = srcwatch::VerdictToJson(verdict);
    Json::Value json = DescribeType(verdict.classification);
    json["method"] = way["method"];
    json["method_name"] = srcwatch::DetectionMethodText(way["method"].asInt());
    json["provider"] = verdict.classification.providerName;
    json["codeset"] = verdict.classification.codesetName;
    json["profile"] = way["profile"];
    json["remarks"] = TextsOf(evidence.AllRemarks());
    return json;
}

Json::Value TryProfiles(const std::vector<NamedCapture>& captures, const std::vector<std::string>& files,
                        const std::string& text)
{
    const srcwatch::Profiles before = LoadProfiles(files);
    srcwatch::Profiles after;
    after.LoadText(text, files.empty() ? "profiles" : files.front());
    Json::Value result;
    result["errors"] = Json::arrayValue;
    for (const srcwatch::ProfileError& error : after.Errors()) result["errors"].append(error.Text());
    for (std::size_t i = 1; i < files.size(); ++i) after.Load(files[i]);
    result["captures"] = Json::arrayValue;
    for (const auto& [name, evidence] : captures) {
        Json::Value capture;
        capture["name"] = name;
        capture["before"] = DescribeType(srcwatch::Classify(evidence, before));
        capture["after"] = DescribeType(srcwatch::Classify(evidence, after));
        capture["changed"] = capture["before"] != capture["after"];
        result["captures"].append(capture);
    }
    return result;
}

}  // namespace panel
