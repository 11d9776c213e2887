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

    void InspectActivity()
    {
        const Json::Value& root = m_json.Root();
        if (root.isNull()) return;  // an empty table is saved so
        const Json::Value* const records = FindArray("activity");
        if (records == nullptr) return;
        for (Json::ArrayIndex i = 0; i < records->size(); ++i) InspectRecord((*records)[i], At("activity", i));
    }

    void InspectOptical()
    {
        const Json::Value* const record = FindBody("activity");
        if (record == nullptr) return;
        if (!record->isObject()) return AddUnreadable(*record, "activity", "is no object");
        InspectRecord(*record, "activity");
    }

    void InspectStatistics()
    {
        const Json::Value* const entries = FindArray("Auto");
        if (entries == nullptr) return;
        for (Json::ArrayIndex i = 0; i < entries->size(); ++i) InspectEntry((*entries)[i], At("Auto", i));
    }

    void InspectRecord(const Json::Value& record, const std::string& path)
    {
        if (record.isNull()) return;  // reads as a record without anything
        if (!record.isObject()) return AddUnreadable(record, path, "is no object");
        for (const std::string& name : record.getMemberNames()) {
            const auto* const field = std::find_if(std::begin(kRecordFields), std::end(kRecordFields),
                                                   [&](const RecordField& candidate) { return name == candidate.key; });
            if (field == std::end(kRecordFields)) {
                Add(record[name], Member(path, name), "is no member of a record", true);
            } else {
                InspectField(*field, record[name], Member(path, name));
            }
        }
    }

    Inspection Take()
    {
        for (Finding& finding : SyntaxFindings(m_json)) m_inspection.findings.push_back(std::move(finding));
        return std::move(m_inspection);
    }

private:
    void Add(const Json::Value& value, const std::string& key, const std::string& why, bool isReadable)
    {
        m_inspection.findings.push_back({m_json.LineOf(value), key, why, isReadable});
    }
    void AddUnreadable(const Json::Value& value, const std::string& key, const std::string& why)
    {
        Add(value, key, why, false);
    }

    // The one member that a document has.
    const Json::Value* FindBody(const char* name)
    {
        const Json::Value& root = m_json.Root();
        if (root.isObject() && root.isMember(name)) return &root[name];
        if (root.isObject()) {
            AddUnreadable(root, name, "is missing");
        } else {
            AddUnreadable(root, "", "is no object");
        }
        return nullptr;
    }

    const Json::Value* FindArray(const char* name)
    {
        const Json::Value* const body = FindBody(name);
        if (body == nullptr || body->isArray()) return body;
        AddUnreadable(*body, name, "is no array");
        return nullptr;
    }

    void InspectField(const RecordField& field, const Json::Value& value, const std::string& key)
    {
        if (field.isNumber && !value.isInt()) return Add(value, key, "is no 32-bit number", CanBeNumber(value));
        if (!field.isNumber && !value.isString()) return Add(value, key, "is no text", CanBeText(value));
        if (field.key != std::string("DevType") || value.asInt() == 0 || DeviceTypeText(value.asInt()) != nullptr)
            return;
        Add(value, key, "error type " + std::to_string(value.asInt()) + ": applications are given no text for it",
            true);
    }

    // The library gives up on all entries at the first that it cannot read.
    void InspectEntry(const Json::Value& entry, const std::string& path)
    {
        if (entry.isNull()) return;
        if (!entry.isObject()) return AddUnreadable(entry, path, "is no object");
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
            Add(entry[name], key, "is no 32-bit number", CanBeNumber(entry[name]));
        }
    }

    // A list of another length is passed over; an object of three members is taken for one.
    void InspectTexts(const Json::Value& entry, const std::string& path, const char* name)
    {
        const std::string key = Member(path, name);
        if (!entry.isMember(name)) return;
        const Json::Value& list = entry[name];
        if (!list.isArray() || list.size() != 3) {
            return Add(list, key, "is no array of three texts", list.size() != 3);
        }
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            if (!list[i].isString()) Add(list[i], At(key, i), "is no text", CanBeText(list[i]));
        }
    }

    const JsonText& m_json;
    Inspection m_inspection;
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
    Inspector inspector(json);
    if (!json.IsJson()) return inspector.Take();
    switch (kind) {
        case StoredKind::kActivity:
            inspector.InspectActivity();
            break;
        case StoredKind::kOptical:
            inspector.InspectOptical();
            break;
        case StoredKind::kStatistics:
            inspector.InspectStatistics();
            break;
    }
    return inspector.Take();
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
