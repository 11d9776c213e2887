// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "Log.h"
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "Settings.h"
#include "StoredValues.h"

#include <algorithm>
#include <optional>

#include <json/json.h>
#include <vconf.h>

namespace srcwatch {

namespace {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using qdinfo::CQDInfoServerData;

// The text fields of a record: how they are read of a stored one, and written to the table.
struct TextField {
    std::string Classification::*text;
    const char* (CQDInfoActivityInfo::*get)();
    bool (CQDInfoData::*set)(const char*, int);
};
constexpr TextField kTextFields[] = {
    {&Classification::deviceTypeText, &CQDInfoActivityInfo::GetStrDeviceType, &CQDInfoData::SetStrDeviceType},
    {&Classification::brandName, &CQDInfoActivityInfo::GetBrandName, &CQDInfoData::SetBrandName},
    {&Classification::deviceName, &CQDInfoActivityInfo::GetDeviceName, &CQDInfoData::SetDeviceName},
    {&Classification::providerName, &CQDInfoActivityInfo::GetProviderName, &CQDInfoData::SetProviderName},
    {&Classification::codesetName, &CQDInfoActivityInfo::GetCodesetName, &CQDInfoData::SetCodesetName},
    {&Classification::cecDeviceName, &CQDInfoActivityInfo::GetCECDeviceName, &CQDInfoData::SetCECDeviceName},
    {&Classification::aksv, &CQDInfoActivityInfo::GetAKSVKey, &CQDInfoData::SetAKSVKey},
    {&Classification::unknownType, &CQDInfoActivityInfo::GetUnknownType, &CQDInfoData::SetUnknownType},
    {&Classification::manufacturerName, &CQDInfoActivityInfo::GetManufacturerName, &CQDInfoData::SetManufacturerName},
    {&Classification::modelName, &CQDInfoActivityInfo::GetModelName, &CQDInfoData::SetModelName},
    {&Classification::cecName, &CQDInfoActivityInfo::GetCECName, &CQDInfoData::SetCECName},
};

// The number fields, in the same way.
struct NumberField {
    int Record::*number;
    int (CQDInfoActivityInfo::*get)();
    bool (CQDInfoData::*set)(int, int);
};
constexpr NumberField kNumberFields[] = {
    {&Record::denyCount, &CQDInfoActivityInfo::GetDenyCount, &CQDInfoData::SetDenyCount},
    {&Record::scanState, &CQDInfoActivityInfo::GetScanState, &CQDInfoData::SetScanState},
    {&Record::previousPort, &CQDInfoActivityInfo::GetPrevPort, &CQDInfoData::SetPrevPort},
    {&Record::changed, &CQDInfoActivityInfo::GetChangedType, &CQDInfoData::SetChangedType},
};

// A copy is read, because reading completes what it reads. What cannot be read stays empty.
Record RecordOf(Json::Value stored)
{
    Record record;
    CQDInfoActivityInfo info;
    if (!stored.isNull()) (void)info.Read(stored);  // a record that is readable in part counts in part
    record.device.deviceType = info.GetDeviceType();
    record.device.method = static_cast<DetectionMethod>(info.GetDetectionMethod());
    for (const NumberField& field : kNumberFields) record.*field.number = (info.*field.get)();
    for (const TextField& field : kTextFields) record.device.*field.text = (info.*field.get)();
    return record;
}

// Text setters ignore the empty text, so what is to be empty is emptied first.
void WriteTable(CQDInfoData& table, int port, const Record& record)
{
    table.ResetSourceInfo(port);
    table.SetPortNumber(port);
    table.SetDeviceType(record.device.deviceType, port);
    table.SetDetectionMethod(static_cast<int>(record.device.method), port);
    for (const NumberField& field : kNumberFields) (table.*field.set)(record.*field.number, port);
    for (const TextField& field : kTextFields) {
        const std::string& text = record.device.*field.text;
        if (!text.empty()) (table.*field.set)(text.c_str(), port);
    }
}

// The HDMI records of an activity document, as many as the TV has inputs.
std::map<int, Record> RecordsOf(const Json::Value& document)
{
    std::map<int, Record> records;
    const Json::Value& list = document["activity"];
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        records[port] = RecordOf(list.get(static_cast<Json::ArrayIndex>(port), Json::nullValue));
    }
    return records;
}

}  // namespace

Records::~Records() { CQDInfoAPI::Destroy(); }

std::string Records::Load()
{
    const bool loaded = CQDInfoAPI::Create(true);
    m_table = CQDInfoAPI::GetQDInfoUtil();
    if (m_table == nullptr) return "no memory for the records";
    if (!loaded) m_table->CreateAndAddNewActivity();
    const StoredDocument hdmi = LoadDocument(VCONF_SOURCE_ACTIVITY, StoredKind::kActivity);
    if (!hdmi.isKept) return "the stored records are unreadable and cannot be kept aside";
    const StoredDocument optical = LoadDocument(VCONF_OPTICAL_SOURCE_ACTIVITY, StoredKind::kOptical);
    if (!optical.isKept) return "the stored optical record is unreadable and cannot be kept aside";
    m_unreadableHdmi = hdmi.unreadable;
    m_unreadableOptical = optical.unreadable;
    ReadTable();  // what of the HDMI records was readable
    if (!optical.root) return "";
    m_records[OPTICAL_PORT] = RecordOf((*optical.root)["activity"]);
    WriteTable(*m_table, OPTICAL_PORT, m_records[OPTICAL_PORT]);
    return "";
}

void Records::ReadTable()
{
    Json::Value document;
    (void)m_table->GetActivityInfoToStream(document);  // without memory, the records begin empty
    for (auto& [port, record] : RecordsOf(document)) m_records[port] = std::move(record);
}

// What another service has restored meanwhile stays.
void Records::Restore()
{
    if (m_unreadableHdmi && ReadText(VCONF_SOURCE_ACTIVITY) == m_unreadableHdmi) Save(0);
    if (m_unreadableOptical && ReadText(VCONF_OPTICAL_SOURCE_ACTIVITY) == m_unreadableOptical) Save(OPTICAL_PORT);
}

bool Records::Set(int port, const Record& record)
{
    if (Get(port) == record) return false;
    m_records[port] = record;
    WriteTable(*m_table, port, record);
    Save(port);
    return true;
}

bool Records::Clear(int port)
{
    Record record;
    record.denyCount = Get(port).denyCount;
    return Set(port, record);
}

void Records::Save(int port)
{
    if (port == OPTICAL_PORT) SaveOptical();
    srcwatch_set_source_info(port, 0);
}

void Records::SaveOptical()
{
    Json::Value root;
    if (!m_table->GetOpticalActivityInfoToStream(root)) return;  // logged by the table
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), root);
    if (vconf_set_str(VCONF_OPTICAL_SOURCE_ACTIVITY.c_str(), text.c_str()) != 0) {
        SWLOG(DLOG_ERROR, "the optical record could not be saved");
    }
}

// Notices of this service's own writes come later, perhaps several after the last of them: what counts is what is
// stored now.
void Records::HandleWritten()
{
    const std::string text = ReadText(VCONF_SOURCE_ACTIVITY).value_or("");
    const JsonText json(text);
    const std::string wrong = WhatIsWrong(Inspect(json, StoredKind::kActivity));
    if (!wrong.empty()) {
        if (!text.empty()) (void)KeepUnreadable(VCONF_SOURCE_ACTIVITY, text, wrong);  // logged; ours must be restored
        SWLOG(DLOG_WARN, "another process spoilt the stored records; they are written again");
        return Save(0);
    }
    const std::map<int, Record> stored = RecordsOf(json.Root());
    if (std::all_of(stored.begin(), stored.end(),
                    [&](const auto& entry) { return Get(entry.first) == entry.second; })) {
        return;
    }
    SWLOG(DLOG_INFO, "another process wrote the records; they are taken over");
    (void)m_table->t_LoadActivityInfoToMemory();  // has just been read, and found to be good
    ReadTable();
}

Json::Value Records::Stored(int port)
{
    Json::Value record;
    CQDInfoData* const store = CQDInfoServerData::GetInstance();
    if (store == nullptr) return record;
    if (port == OPTICAL_PORT) {
        (void)store->t_LoadOpticalPortJsonInfoToMemory(port, record);  // null when there is none
    } else {
        (void)store->t_LoadPortJsonInfoToMemory(port, record);
    }
    return record;
}

}  // namespace srcwatch
