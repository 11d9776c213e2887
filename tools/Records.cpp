// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "Failure.h"
#include "Inspection.h"
#include "Ports.h"
#include "QDInfoAPI.h"
#include "QDInfoActivityInfo.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "RecordFields.h"
#include "Settings.h"

#include <json/writer.h>
#include <vconf.h>

namespace ctl {

namespace {

[[noreturn]] void ThrowUnreadable(const std::string& key)
{
    throw Failure("the document in " + key + " cannot be read; 'srcwatchctl doctor' tells why");
}

// The stored value of a port's record; null when there is none.
Json::Value LoadStored(int port)
{
    Json::Value record;
    if (!ReadText(RecordKey(port))) return record;
    qdinfo::CQDInfoServerData* const store = qdinfo::CQDInfoServerData::GetInstance();
    if (store == nullptr) throw Failure("no memory for the store");
    const bool loaded = port == OPTICAL_PORT ? store->t_LoadOpticalPortJsonInfoToMemory(port, record)
                                             : store->t_LoadPortJsonInfoToMemory(port, record);
    if (!loaded) ThrowUnreadable(RecordKey(port));
    return record;
}

void ForgetOptical()
{
    Json::Value stored = LoadStored(OPTICAL_PORT);
    qdinfo::CQDInfoActivityInfo info;
    if (!info.Read(stored)) ThrowUnreadable(RecordKey(OPTICAL_PORT));
    info.ResetSourceInfo();
    Json::Value document;
    (void)info.Write(document["activity"]);  // a null value can always be written to
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
        if (member.isNull()) member = field.isNumber ? Json::Value(0) : Json::Value("");
    }
    return record;
}

void ForgetRecord(int port)
{
    if (!LoadRecord(port).stored) return;
    if (port == OPTICAL_PORT) return ForgetOptical();
    if (port >= HDMI_PORT_COUNT) throw Failure("the TV has no input " + PortName(port));
    // The whole table is written back, so all of it must have been read.
    for (int other = 0; other < HDMI_PORT_COUNT; ++other) {
        if (!LoadRecord(other).readable) ThrowUnreadable(RecordKey(port));
    }
    const bool loaded = qdinfo::CQDInfoAPI::Create(true);
    if (loaded) srcwatch_remove_source_info(port);
    qdinfo::CQDInfoAPI::Destroy();
    if (!loaded) ThrowUnreadable(RecordKey(port));
}

}  // namespace ctl
