// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "Failure.h"
#include "Inspection.h"
#include "Ports.h"
#include "QDInfoAPI.h"
#include "QDInfoActivityInfo.h"
#include "QDInfoCommon.h"
#include "RecordFields.h"
#include "Settings.h"

#include <algorithm>
#include <iterator>

#include <json/writer.h>
#include <vconf.h>

namespace ctl {

namespace {

// What is stored under "activity" in a document: records of HDMI ports as a list, or the optical one. Null if there
// is none.
Json::Value LoadActivity(const std::string& key)
{
    std::string text;
    const srcwatch::ReadResult result = srcwatch::ReadText(key, text);
    if (result == srcwatch::ReadResult::kFailed) throw Failure(key + " cannot be read" + kSeeDoctor);
    if (result == srcwatch::ReadResult::kTooLarge) ThrowTooLarge(key);
    if (result == srcwatch::ReadResult::kAbsent) return Json::nullValue;
    const std::optional<Json::Value> root = srcwatch::ParseJson(text);
    if (!root || !(root->isNull() || root->isObject())) ThrowUnreadableDocument(key);
    return (*root)["activity"];
}

Json::Value LoadHdmiRecords()
{
    Json::Value records = LoadActivity(VCONF_SOURCE_ACTIVITY);
    if (!records.isNull() && !records.isArray()) ThrowUnreadableDocument(VCONF_SOURCE_ACTIVITY);
    return records;
}

// The stored value of a port's record; null if there is none.
Json::Value LoadStored(int port)
{
    if (port == OPTICAL_PORT) return LoadActivity(VCONF_OPTICAL_SOURCE_ACTIVITY);
    return LoadHdmiRecords().get(static_cast<Json::ArrayIndex>(port), Json::nullValue);
}

Json::Value EmptyMember(const srcwatch::RecordField& field)
{
    return field.isNumber ? Json::Value(0) : Json::Value("");
}

bool IsCleared(const StoredRecord& record)
{
    return std::all_of(std::begin(srcwatch::kRecordFields), std::end(srcwatch::kRecordFields), [&](const auto& field) {
        return record.members[field.key] == EmptyMember(field) || std::string(field.key) == "DenyCount";
    });
}

void ForgetOptical()
{
    Json::Value stored = LoadStored(OPTICAL_PORT);
    qdinfo::CQDInfoActivityInfo info;
    if (!info.Read(stored)) ThrowUnreadableDocument(RecordKey(OPTICAL_PORT));
    info.ResetSourceInfo();
    Json::Value document;
    static_cast<void>(info.Write(document["activity"]));  // a null value can always be written to
    WriteText(RecordKey(OPTICAL_PORT), Json::writeString(Json::StreamWriterBuilder(), document));
}

}  // namespace

std::string RecordKey(int port) { return port == OPTICAL_PORT ? VCONF_OPTICAL_SOURCE_ACTIVITY : VCONF_SOURCE_ACTIVITY; }

StoredRecord LoadRecord(int port)
{
    const Json::Value stored = LoadStored(port);
    StoredRecord record;
    record.stored = !stored.isNull();
    record.readable = srcwatch::IsReadableRecord(stored);
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) {
        Json::Value& member = record.members[field.key];
        if (stored.isObject()) member = stored[field.key];
        if (member.isNull()) member = EmptyMember(field);
    }
    return record;
}

int CountStoredRecords()
{
    const Json::Value records = LoadHdmiRecords();
    const auto none = std::find(records.begin(), records.end(), Json::Value());
    return static_cast<int>(std::distance(records.begin(), none));
}

void ForgetRecord(int port)
{
    if (!LoadRecord(port).stored) return;
    if (port == OPTICAL_PORT) return ForgetOptical();
    if (port >= HDMI_PORT_COUNT) throw Failure("the TV has no input " + PortName(port));
    // The whole table is written back, so all of it must have been read.
    for (int other = 0; other < HDMI_PORT_COUNT; ++other) {
        if (!LoadRecord(other).readable) ThrowUnreadableDocument(RecordKey(port));
    }
    const bool loaded = qdinfo::CQDInfoAPI::Create(true);
    if (loaded) srcwatch_remove_source_info(port);
    qdinfo::CQDInfoAPI::Destroy();
    if (!loaded) ThrowUnreadableDocument(RecordKey(port));
    if (!IsCleared(LoadRecord(port))) throw Failure(RecordKey(port) + " could not be written" + kSeeDoctor);
}

}  // namespace ctl
