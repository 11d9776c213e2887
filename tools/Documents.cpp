// SPDX-License-Identifier: Apache-2.0
#include "Documents.h"

#include "Aksv.h"
#include "Evidence.h"
#include "Failure.h"
#include "Inputs.h"
#include "Profiles.h"

#include <filesystem>

namespace ctl {

namespace {

constexpr std::size_t kDocumentLimit = 16UL * 1024 * 1024;

struct Kind {
    DocumentKind kind;
    const char* name;
};
constexpr Kind kKinds[] = {
    {DocumentKind::kActivity, "activity"},
    {DocumentKind::kOptical, "optical"},
    {DocumentKind::kStatistics, "statistics"},
    {DocumentKind::kProfiles, "profiles"},
    {DocumentKind::kCapture, "capture"},
    {DocumentKind::kSpd, "spd"},
    {DocumentKind::kCec, "cec"},
    {DocumentKind::kAksv, "aksv"},
};

/* ---- profiles ---- */

std::vector<srcwatch::Finding> InspectProfiles(const srcwatch::JsonText& json, const std::string& text)
{
    if (!json.Errors().empty()) return SyntaxFindings(json);
    srcwatch::Profiles profiles;
    profiles.LoadText(text, "");
    std::vector<srcwatch::Finding> faults;
    for (const srcwatch::ProfileError& error : profiles.Errors()) {
        if (error.entry < 0) {
            faults.push_back({json.LineOf(json.Root()), "", error.reason, false});
        } else {
            const auto index = static_cast<Json::ArrayIndex>(error.entry);
            const int line = json.LineOf(json.Root()["profiles"][index]);
            faults.push_back({line, "profiles[" + std::to_string(index) + "]", error.reason, false});
        }
    }
    return faults;
}

/* ---- captures ---- */

std::vector<srcwatch::Finding> FaultsOf(const srcwatch::Remarks& remarks)
{
    std::vector<srcwatch::Finding> faults;
    for (const srcwatch::Remark& remark : remarks) {
        faults.push_back({remark.line, remark.file, remark.text, false});
    }
    return faults;
}

std::vector<srcwatch::Finding> InspectCapture(const std::string& directory)
{
    const srcwatch::Evidence evidence = srcwatch::ReadEvidence(directory);
    std::vector<srcwatch::Finding> faults = FaultsOf(evidence.AllRemarks());
    if (!evidence.spd && !evidence.cec && !evidence.aksv) {
        faults.push_back({0, "", "has none of spd.bin, cec.log, aksv.bin", false});
    }
    return faults;
}

/* ---- kinds ---- */

DocumentKind GuessKind(const Json::Value& root)
{
    if (root.isNull()) return DocumentKind::kActivity;
    if (!root.isObject()) return DocumentKind::kUnknown;
    if (root.isMember("profiles")) return DocumentKind::kProfiles;
    if (root.isMember("Auto")) return DocumentKind::kStatistics;
    if (!root.isMember("activity")) return DocumentKind::kUnknown;
    return root["activity"].isObject() ? DocumentKind::kOptical : DocumentKind::kActivity;
}

DocumentKind GuessKind(const std::string& path)
{
    const std::string name = std::filesystem::path(path).filename();
    if (IsDirectory(path)) return DocumentKind::kCapture;
    if (name == srcwatch::kSpdFile) return DocumentKind::kSpd;
    if (name == srcwatch::kCecFile) return DocumentKind::kCec;
    if (name == srcwatch::kAksvFile) return DocumentKind::kAksv;
    return DocumentKind::kUnknown;
}

srcwatch::Bytes ReadFile(const std::string& path, std::size_t limit)
{
    const auto bytes = srcwatch::ReadBoundedFile(path, limit);
    if (!bytes) throw Failure("there is no file " + path);
    const auto* const fault = std::get_if<srcwatch::Fault>(&*bytes);
    if (fault != nullptr) throw Failure(path + ": " + srcwatch::InOneLine(fault->remarks));
    return std::get<srcwatch::Bytes>(*bytes);
}

Validation ValidateStored(const srcwatch::JsonText& json, DocumentKind kind, srcwatch::StoredKind stored)
{
    srcwatch::Inspection inspection = Inspect(json, stored);
    const bool readable = inspection.IsReadable();
    return {kind, std::move(inspection.findings), readable};
}

Validation ValidateText(const std::string& text, DocumentKind kind)
{
    const srcwatch::JsonText json(text);
    const bool isGuessed = kind == DocumentKind::kUnknown && json.IsJson();
    const DocumentKind known = isGuessed ? GuessKind(json.Root()) : kind;
    switch (known) {
        case DocumentKind::kActivity:
            return ValidateStored(json, known, srcwatch::StoredKind::kActivity);
        case DocumentKind::kOptical:
            return ValidateStored(json, known, srcwatch::StoredKind::kOptical);
        case DocumentKind::kStatistics:
            return ValidateStored(json, known, srcwatch::StoredKind::kStatistics);
        case DocumentKind::kProfiles:
            return {known, InspectProfiles(json, text), std::nullopt};
        default:
            if (!json.IsJson()) return {known, SyntaxFindings(json), std::nullopt};
            const char* const why = "has none of the members \"activity\", \"Auto\" and \"profiles\"";
            return {known, {{json.LineOf(json.Root()), "", why, false}}, std::nullopt};
    }
}

}  // namespace

const char* KindName(DocumentKind kind)
{
    for (const Kind& known : kKinds) {
        if (known.kind == kind) return known.name;
    }
    return "unknown";
}

std::vector<std::string> KindNames()
{
    std::vector<std::string> names;
    for (const Kind& kind : kKinds) names.emplace_back(kind.name);
    return names;
}

DocumentKind ParseKind(const std::string& name)
{
    for (const Kind& kind : kKinds) {
        if (name == kind.name) return kind.kind;
    }
    return DocumentKind::kUnknown;
}

Validation ValidateFile(const std::string& path, DocumentKind kind)
{
    const DocumentKind known = kind == DocumentKind::kUnknown ? GuessKind(path) : kind;
    if (known == DocumentKind::kCapture) {
        if (!IsDirectory(path)) throw Failure("there is no directory " + path);
        return {known, InspectCapture(path), std::nullopt};
    }
    switch (known) {
        case DocumentKind::kSpd:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeSpdInfoFrame(ReadFile(path, srcwatch::kBinaryLimit)))),
                    std::nullopt};
        case DocumentKind::kCec:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeCecLog(ReadFile(path, srcwatch::kCecLimit)))),
                    std::nullopt};
        case DocumentKind::kAksv:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeAksv(ReadFile(path, srcwatch::kBinaryLimit)))),
                    std::nullopt};
        default:
            break;
    }
    const srcwatch::Bytes text = ReadFile(path, kDocumentLimit);
    return ValidateText(std::string(text.begin(), text.end()), known);
}

}  // namespace ctl
