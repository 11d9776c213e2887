// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "Inspection.h"
#include "Log.h"
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "Settings.h"
#include "StoredValues.h"

#include <optional>

#include <json/json.h>
#include <vconf.h>

namespace srcwatch {

namespace {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using qdinfo::CQDInfoServerData;

// The text fields of a record with their accessors in the table.
struct TextField {
    std::string Classification::*text;
    const char* (CQDInfoData::*get)(int);
    bool (CQDInfoData::*set)(const char*, int);
};
constexpr TextField kTextFields[] = {
    {&Classification::deviceTypeText, &CQDInfoData::GetStrDeviceType, &CQDInfoData::SetStrDeviceType},
    {&Classification::brandName, &CQDInfoData::GetBrandName, &CQDInfoData::SetBrandName},
    {&Classification::deviceName, &CQDInfoData::GetDeviceName, &CQDInfoData::SetDeviceName},
    {&Classification::providerName, &CQDInfoData::GetProviderName, &CQDInfoData::SetProviderName},
    {&Classification::codesetName, &CQDInfoData::GetCodesetName, &CQDInfoData::SetCodesetName},
    {&Classification::cecDeviceName, &CQDInfoData::GetCECDeviceName, &CQDInfoData::SetCECDeviceName},
    {&Classification::aksv, &CQDInfoData::GetAKSVKey, &CQDInfoData::SetAKSVKey},
    {&Classification::unknownType, &CQDInfoData::GetUnknownType, &CQDInfoData::SetUnknownType},
    {&Classification::manufacturerName, &CQDInfoData::GetManufacturerName, &CQDInfoData::SetManufacturerName},
    {&Classification::modelName, &CQDInfoData::GetModelName, &CQDInfoData::SetModelName},
    {&Classification::cecName, &CQDInfoData::GetCECName, &CQDInfoData::SetCECName},
};

// The number fields, with their accessors.
struct NumberField {
    int Record::*number;
    int (CQDInfoData::*get)(int);
    bool (CQDInfoData::*set)(int, int);
};
constexpr NumberField kNumberFields[] = {
    {&Record::denyCount, &CQDInfoData::GetDenyCount, &CQDInfoData::SetDenyCount},
    {&Record::scanState, &CQDInfoData::GetScanState, &CQDInfoData::SetScanState},
    {&Record::previousPort, &CQDInfoData::GetPrevPort, &CQDInfoData::SetPrevPort},
    {&Record::changed, &CQDInfoData::GetChangedType, &CQDInfoData::SetChangedType},
};

Record ReadTable(CQDInfoData& table, int port)
{
    Record record;
    record.device.deviceType = table.GetDeviceType(port);
    record.device.method = static_cast<DetectionMethod>(table.GetDetectionMethod(port));
    for (const NumberField& field : kNumberFields) record.*field.number = (table.*field.get)(port);
    // The table says at each of these, for the optical source, that the source is the optical one.
    for (const TextField& field : kTextFields) record.device.*field.text = (table.*field.get)(port);
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

// The stored optical record, through the library's record class, which knows the members' names.
Record ReadOptical(const Json::Value& stored)
{
    CQDInfoActivityInfo info;
    Json::Value copy = stored;
    (void)info.Read(copy);  // what cannot be read stays empty; the text has been examined before
    Record record;
    record.device.deviceType = info.GetDeviceType();
    record.device.method = static_cast<DetectionMethod>(info.GetDetectionMethod());
    record.device.deviceTypeText = info.GetStrDeviceType();
    record.device.brandName = info.GetBrandName();
    record.device.deviceName = info.GetDeviceName();
    record.device.providerName = info.GetProviderName();
    record.device.codesetName = info.GetCodesetName();
    record.device.cecDeviceName = info.GetCECDeviceName();
    record.device.aksv = info.GetAKSVKey();
    record.device.unknownType = info.GetUnknownType();
    record.device.manufacturerName = info.GetManufacturerName();
    record.device.modelName = info.GetModelName();
    record.device.cecName = info.GetCECName();
    record.denyCount = info.GetDenyCount();
    record.scanState = info.GetScanState();
    record.previousPort = info.GetPrevPort();
    record.changed = info.GetChangedType();
    return record;
}

}  // namespace

Records::~Records() { CQDInfoAPI::Destroy(); }

std::string Records::Load()
{
    const bool loaded = CQDInfoAPI::Create(true);
    m_Table = CQDInfoAPI::GetQDInfoUtil();
    if (m_Table == nullptr) return "no memory for the records";
    if (!loaded) m_Table->CreateAndAddNewActivity();
    const std::string error = LoadHdmi();
    return error.empty() ? LoadOptical() : error;
}

// A text of which only a part can be read is kept aside too: the next save would lose the rest.
std::string Records::LoadHdmi()
{
    const std::optional<std::string> text = ReadText(VCONF_SOURCE_ACTIVITY);
    if (!text) return "";
    m_KnownText = *text;
    const std::string wrong = WhatIsWrong(Inspect(JsonText(*text), StoredKind::kActivity));
    if (wrong.empty()) return "";
    m_UnreadableText = *text;
    if (KeepUnreadable(VCONF_SOURCE_ACTIVITY, *text, wrong)) return "";
    return "the stored records are unreadable and cannot be kept aside";
}

std::string Records::LoadOptical()
{
    const std::optional<std::string> text = ReadText(VCONF_OPTICAL_SOURCE_ACTIVITY);
    if (!text) return "";
    const std::string wrong = WhatIsWrong(Inspect(JsonText(*text), StoredKind::kOptical));
    if (wrong.empty()) {
        WriteTable(*m_Table, OPTICAL_PORT, ReadOptical(Stored(OPTICAL_PORT)));
        return "";
    }
    m_UnreadableOpticalText = *text;
    if (KeepUnreadable(VCONF_OPTICAL_SOURCE_ACTIVITY, *text, wrong)) return "";
    return "the stored optical record is unreadable and cannot be kept aside";
}

// What another service has restored meanwhile stays.
void Records::Restore()
{
    if (m_UnreadableText && ReadText(VCONF_SOURCE_ACTIVITY) == m_UnreadableText) Save(0);
    if (m_UnreadableOpticalText && ReadText(VCONF_OPTICAL_SOURCE_ACTIVITY) == m_UnreadableOpticalText) {
        Save(OPTICAL_PORT);
    }
}

Record Records::Get(int port) const { return ReadTable(*m_Table, port); }

bool Records::Set(int port, const Record& record)
{
    if (Get(port) == record) return false;
    WriteTable(*m_Table, port, record);
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
    if (port != OPTICAL_PORT) m_KnownText = ReadText(VCONF_SOURCE_ACTIVITY).value_or("");
}

void Records::SaveOptical()
{
    Json::Value root;
    if (!m_Table->GetOpticalActivityInfoToStream(root)) return;  // logged by the table
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), root);
    if (vconf_set_str(VCONF_OPTICAL_SOURCE_ACTIVITY.c_str(), text.c_str()) != 0) {
        SWLOG(DLOG_ERROR, "the optical record could not be saved");
    }
}

void Records::HandleWritten()
{
    const std::string text = ReadText(VCONF_SOURCE_ACTIVITY).value_or("");
    if (text == m_KnownText) return;
    const std::string wrong = WhatIsWrong(Inspect(JsonText(text), StoredKind::kActivity));
    m_KnownText = text;
    if (wrong.empty()) {
        SWLOG(DLOG_INFO, "another process wrote the records; they are taken over");
        (void)m_Table->t_LoadActivityInfoToMemory();  // has just been read, and found to be good
        return;
    }
    if (!text.empty()) (void)KeepUnreadable(VCONF_SOURCE_ACTIVITY, text, wrong);  // logged; ours must be restored
    SWLOG(DLOG_WARN, "another process spoilt the stored records; they are written again");
    Save(0);
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
