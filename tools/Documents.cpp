// SPDX-License-Identifier: Apache-2.0
#include "Documents.h"

#include "Aksv.h"
#include "Evidence.h"
#include "Failure.h"
#include "Inputs.h"
#include "JsonText.h"
#include "Ports.h"
#include "Profiles.h"
#include "RecordFields.h"

#include <algorithm>
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

// Collects what is wrong with one JSON document.
class Inspector {
public:
    explicit Inspector(const srcwatch::JsonText& text) : m_Text(text) {}

    void Add(const Json::Value& value, const std::string& key, const std::string& why)
    {
        m_Faults.push_back({m_Text.LineOf(value), key, why});
    }
    std::vector<DocumentFault> Take() { return std::move(m_Faults); }

private:
    const srcwatch::JsonText& m_Text;
    std::vector<DocumentFault> m_Faults;
};

std::string Member(const std::string& path, const std::string& name) { return path + "." + name; }

std::string At(const std::string& path, Json::ArrayIndex index) { return path + "[" + std::to_string(index) + "]"; }

/* ---- records ---- */

void InspectField(Inspector& inspector, const srcwatch::RecordField& field, const Json::Value& value,
                  const std::string& key)
{
    if (field.isNumber && !value.isInt()) return inspector.Add(value, key, "is no 32-bit number");
    if (!field.isNumber && !value.isString()) return inspector.Add(value, key, "is no text");
    if (field.key != std::string("DevType")) return;
    const std::string type = DeviceTypeName(value.asInt());
    if (type.rfind("error", 0) == 0) inspector.Add(value, key, type + ": applications are given no text for it");
}

void InspectRecord(Inspector& inspector, const Json::Value& record, const std::string& path)
{
    if (record.isNull()) return;  // reads as a record without anything
    if (!record.isObject()) return inspector.Add(record, path, "is no object");
    for (const std::string& name : record.getMemberNames()) {
        const std::string key = Member(path, name);
        const auto* const field =
            std::find_if(std::begin(srcwatch::kRecordFields), std::end(srcwatch::kRecordFields),
                         [&](const srcwatch::RecordField& candidate) { return candidate.key == name; });
        if (field == std::end(srcwatch::kRecordFields)) {
            inspector.Add(record[name], key, "is no member of a record");
        } else {
            InspectField(inspector, *field, record[name], key);
        }
    }
}

// The one member that a document has.
const Json::Value* FindBody(Inspector& inspector, const Json::Value& root, const char* name)
{
    if (!root.isObject()) {
        inspector.Add(root, "", "is no object");
        return nullptr;
    }
    if (!root.isMember(name)) {
        inspector.Add(root, name, "is missing");
        return nullptr;
    }
    return &root[name];
}

void InspectActivity(Inspector& inspector, const Json::Value& root)
{
    if (root.isNull()) return;  // an empty table is saved so
    const Json::Value* const records = FindBody(inspector, root, "activity");
    if (records == nullptr) return;
    if (!records->isArray()) return inspector.Add(*records, "activity", "is no array");
    for (Json::ArrayIndex i = 0; i < records->size(); ++i) InspectRecord(inspector, (*records)[i], At("activity", i));
}

void InspectOptical(Inspector& inspector, const Json::Value& root)
{
    const Json::Value* const record = FindBody(inspector, root, "activity");
    if (record == nullptr) return;
    if (!record->isObject()) return inspector.Add(*record, "activity", "is no object");
    InspectRecord(inspector, *record, "activity");
}

/* ---- statistics ---- */

void InspectNumber(Inspector& inspector, const Json::Value& entry, const std::string& path, const char* name,
                   const char* whyNeeded)
{
    const std::string key = Member(path, name);
    if (!entry.isMember(name)) {
        if (whyNeeded != nullptr) inspector.Add(entry, key, std::string("is missing: ") + whyNeeded);
    } else if (!entry[name].isInt()) {
        inspector.Add(entry[name], key, "is no 32-bit number");
    }
}

void InspectTexts(Inspector& inspector, const Json::Value& entry, const std::string& path, const char* name)
{
    const std::string key = Member(path, name);
    if (!entry.isMember(name)) return;
    const Json::Value& list = entry[name];
    if (!list.isArray() || list.size() != 3) return inspector.Add(list, key, "is no array of three texts");
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        if (!list[i].isString()) inspector.Add(list[i], At(key, i), "is no text");
    }
}

void InspectEntry(Inspector& inspector, const Json::Value& entry, const std::string& path)
{
    if (entry.isNull()) return;
    if (!entry.isObject()) return inspector.Add(entry, path, "is no object");
    InspectNumber(inspector, entry, path, "port", "the entry belongs to no port");
    InspectNumber(inspector, entry, path, "pri", "the entry is never used");
    InspectNumber(inspector, entry, path, "t", nullptr);
    InspectTexts(inspector, entry, path, "spd");
    InspectTexts(inspector, entry, path, "result");
}

void InspectStatistics(Inspector& inspector, const Json::Value& root)
{
    const Json::Value* const entries = FindBody(inspector, root, "Auto");
    if (entries == nullptr) return;
    if (!entries->isArray()) return inspector.Add(*entries, "Auto", "is no array");
    for (Json::ArrayIndex i = 0; i < entries->size(); ++i) InspectEntry(inspector, (*entries)[i], At("Auto", i));
}

/* ---- profiles ---- */

void InspectProfiles(Inspector& inspector, const srcwatch::JsonText& json, const std::string& text)
{
    srcwatch::Profiles profiles;
    profiles.LoadText(text, "");
    for (const srcwatch::ProfileError& error : profiles.Errors()) {
        if (error.entry < 0) {
            inspector.Add(json.Root(), "", error.reason);
        } else {
            const auto index = static_cast<Json::ArrayIndex>(error.entry);
            inspector.Add(json.Root()["profiles"][index], At("profiles", index), error.reason);
        }
    }
}

/* ---- captures ---- */

std::vector<DocumentFault> FaultsOf(const srcwatch::Remarks& remarks)
{
    std::vector<DocumentFault> faults;
    for (const srcwatch::Remark& remark : remarks) {
        faults.push_back({remark.line > 0 ? std::optional<int>(remark.line) : std::nullopt, remark.file, remark.text});
    }
    return faults;
}

std::vector<DocumentFault> InspectCapture(const std::string& directory)
{
    const srcwatch::Evidence evidence = srcwatch::ReadEvidence(directory);
    std::vector<DocumentFault> faults = FaultsOf(evidence.AllRemarks());
    if (!evidence.spd && !evidence.cec && !evidence.aksv) {
        faults.push_back({std::nullopt, "", "has none of spd.bin, cec.log, aksv.bin"});
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

Validation ValidateText(const std::string& text, DocumentKind kind)
{
    const srcwatch::JsonText json(text);
    if (!json.IsJson()) {
        Validation validation{kind, {}};
        for (const srcwatch::JsonText::SyntaxError& error : json.Errors())
            validation.faults.push_back({error.line, "", error.why});
        return validation;
    }
    Inspector inspector(json);
    const DocumentKind known = kind == DocumentKind::kUnknown ? GuessKind(json.Root()) : kind;
    switch (known) {
        case DocumentKind::kActivity:
            InspectActivity(inspector, json.Root());
            break;
        case DocumentKind::kOptical:
            InspectOptical(inspector, json.Root());
            break;
        case DocumentKind::kStatistics:
            InspectStatistics(inspector, json.Root());
            break;
        case DocumentKind::kProfiles:
            InspectProfiles(inspector, json, text);
            break;
        default:
            inspector.Add(json.Root(), "", "has none of the members \"activity\", \"Auto\" and \"profiles\"");
            break;
    }
    return {known, inspector.Take()};
}

Validation ValidateFile(const std::string& path, DocumentKind kind)
{
    const DocumentKind known = kind == DocumentKind::kUnknown ? GuessKind(path) : kind;
    if (known == DocumentKind::kCapture) {
        if (!IsDirectory(path)) throw Failure("there is no directory " + path);
        return {known, InspectCapture(path)};
    }
    switch (known) {
        case DocumentKind::kSpd:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeSpdInfoFrame(ReadFile(path, srcwatch::kBinaryLimit))))};
        case DocumentKind::kCec:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeCecLog(ReadFile(path, srcwatch::kCecLimit))))};
        case DocumentKind::kAksv:
            return {known, FaultsOf(RemarksOn(srcwatch::DecodeAksv(ReadFile(path, srcwatch::kBinaryLimit))))};
        default:
            break;
    }
    const srcwatch::Bytes text = ReadFile(path, kDocumentLimit);
    return ValidateText(std::string(text.begin(), text.end()), known);
}

}  // namespace ctl
