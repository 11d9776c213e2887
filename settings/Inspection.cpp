// SPDX-License-Identifier: Apache-2.0
#include "Inspection.h"

#include "DeviceType.h"
#include "RecordFields.h"

#include <algorithm>
#include <iterator>

namespace srcwatch {

namespace {

// The library reads members as numbers or as texts, and fails where JsonCpp cannot convert them.
bool CanBeNumber(const Json::Value& value) { return value.isConvertibleTo(Json::intValue); }
bool CanBeText(const Json::Value& value) { return value.isConvertibleTo(Json::stringValue); }

std::string Member(const std::string& path, const std::string& name) { return path + "." + name; }

std::string At(const std::string& path, Json::ArrayIndex index) { return path + "[" + std::to_string(index) + "]"; }

class Inspector {
public:
    explicit Inspector(const JsonText& json) : m_json(json) {}

    std::vector<Finding> Inspect(StoredKind kind)
    {
        switch (kind) {
            case StoredKind::kActivity:
                // An empty table is saved as null.
                if (!m_json.Root().isNull()) InspectList("activity", &Inspector::InspectRecord);
                break;
            case StoredKind::kOptical:
                InspectOptical();
                break;
            case StoredKind::kStatistics:
                InspectList("Auto", &Inspector::InspectEntry);
                break;
        }
        return std::move(m_findings);
    }

private:
    void Add(const Json::Value& value, const std::string& key, const std::string& why, bool isReadable)
    {
        m_findings.push_back({m_json.LineOf(value), key, why, isReadable});
    }

    // The one member that a document has.
    const Json::Value* FindBody(const char* name)
    {
        const Json::Value& root = m_json.Root();
        if (root.isObject() && root.isMember(name)) return &root[name];
        Add(root, root.isObject() ? name : "", root.isObject() ? "is missing" : "is not an object", false);
        return nullptr;
    }

    void InspectList(const char* name, void (Inspector::*inspect)(const Json::Value& element, const std::string& path))
    {
        const Json::Value* const list = FindBody(name);
        if (list == nullptr) return;
        if (!list->isArray()) return Add(*list, name, "is not an array", false);
        for (Json::ArrayIndex i = 0; i < list->size(); ++i) (this->*inspect)((*list)[i], At(name, i));
    }

    void InspectOptical()
    {
        const Json::Value* const record = FindBody("activity");
        if (record == nullptr) return;
        if (record->isNull()) return Add(*record, "activity", "is not an object", false);
        InspectRecord(*record, "activity");
    }

    void InspectRecord(const Json::Value& record, const std::string& path)
    {
        if (record.isNull()) return;  // reads as an empty record
        if (!record.isObject()) return Add(record, path, "is not an object", false);
        for (const std::string& name : record.getMemberNames()) {
            const auto* const field = std::find_if(std::begin(kRecordFields), std::end(kRecordFields),
                                                   [&](const RecordField& candidate) { return name == candidate.key; });
            if (field == std::end(kRecordFields)) {
                Add(record[name], Member(path, name), "is not a member of a record", true);
            } else {
                InspectField(*field, record[name], Member(path, name));
            }
        }
    }

    void InspectField(const RecordField& field, const Json::Value& value, const std::string& key)
    {
        if (field.isNumber && !value.isInt()) return Add(value, key, "is not a 32-bit number", CanBeNumber(value));
        if (!field.isNumber && !value.isString()) return Add(value, key, "is not a text", CanBeText(value));
        const bool isType = field.key == std::string("DevType") && value.asInt() != 0;
        if (!isType || DeviceTypeText(value.asInt()) != nullptr) return;
        Add(value, key, "error type " + std::to_string(value.asInt()) + ": applications get no text for it", true);
    }

    // The library drops all entries at the first that it cannot read.
    void InspectEntry(const Json::Value& entry, const std::string& path)
    {
        if (entry.isNull()) return;
        if (!entry.isObject()) return Add(entry, path, "is not an object", false);
        InspectNumber(entry, path, "port", "the entry belongs to no port");
        InspectNumber(entry, path, "pri", "the entry is never used");
        InspectNumber(entry, path, "t", nullptr);
        InspectTexts(entry, path, "spd");
        InspectTexts(entry, path, "result");
    }

    void InspectNumber(const Json::Value& entry, const std::string& path, const char* name, const char* whyNeeded)
    {
        const std::string key = Member(path, name);
        if (!entry.isMember(name)) {
            if (whyNeeded != nullptr) Add(entry, key, std::string("is missing: ") + whyNeeded, true);
        } else if (!entry[name].isInt()) {
            Add(entry[name], key, "is not a 32-bit number", CanBeNumber(entry[name]));
        }
    }

    // The library ignores a list of another length, and takes an object of three members for a list.
    void InspectTexts(const Json::Value& entry, const std::string& path, const char* name)
    {
        const std::string key = Member(path, name);
        if (!entry.isMember(name)) return;
        const Json::Value& list = entry[name];
        if (!list.isArray() || list.size() != 3) {
            return Add(list, key, "is not an array of three texts", list.size() != 3);
        }
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            if (!list[i].isString()) Add(list[i], At(key, i), "is not a text", CanBeText(list[i]));
        }
    }

    const JsonText& m_json;
    std::vector<Finding> m_findings;
};

}  // namespace

std::string Finding::Text() const
{
    return (line > 0 ? "line " + std::to_string(line) + ": " : "") + (key.empty() ? "" : key + ": ") + why;
}

const Finding* Inspection::FirstUnreadable() const
{
    const auto found =
        std::find_if(findings.begin(), findings.end(), [](const Finding& finding) { return !finding.isReadable; });
    return found == findings.end() ? nullptr : &*found;
}

Inspection Inspect(const JsonText& json, StoredKind kind)
{
    Inspection inspection;
    if (json.IsJson()) inspection.findings = Inspector(json).Inspect(kind);
    for (Finding& finding : SyntaxFindings(json)) inspection.findings.push_back(std::move(finding));
    return inspection;
}

std::vector<Finding> SyntaxFindings(const JsonText& json)
{
    std::vector<Finding> findings;
    for (const JsonText::SyntaxError& error : json.Errors()) {
        findings.push_back({error.line, "", error.why, json.IsJson()});
    }
    return findings;
}

bool IsReadableRecord(const Json::Value& record)
{
    const auto canBeRead = [&](const RecordField& field) {
        return field.isNumber ? CanBeNumber(record[field.key]) : CanBeText(record[field.key]);
    };
    return record.isNull() ||
           (record.isObject() && std::all_of(std::begin(kRecordFields), std::end(kRecordFields), canBeRead));
}

}  // namespace srcwatch
