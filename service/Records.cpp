// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "Log.h"
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoData.h"
#include "QDInfoServerData.h"
#include "Settings.h"
#include "StoredValues.h"

#include <utility>

#include <json/json.h>
#include <vconf.h>

namespace srcwatch {

namespace {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using qdinfo::kOpticalActivityKey;
using qdinfo::kSourceActivityKey;

// The HDMI records are saved together.
const char* SavingOf(int port)
{
    return port == OPTICAL_PORT ? "saving the optical record" : "saving the HDMI records";
}

// The text fields of a record, each with the functions that read it from a stored record and write it to the table.
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

// The same for the number fields.
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

// What cannot be read stays empty. Takes a copy, because Read() completes what it reads.
Record RecordOf(Json::Value stored)
{
    CQDInfoActivityInfo info;
    if (!stored.isNull()) static_cast<void>(info.Read(stored));  // what it could read counts
    Record record;
    record.device.deviceType = info.GetDeviceType();
    record.device.method = static_cast<DetectionMethod>(info.GetDetectionMethod());
    for (const NumberField& field : kNumberFields) record.*field.number = (info.*field.get)();
    for (const TextField& field : kTextFields) record.device.*field.text = (info.*field.get)();
    return record;
}

// Text setters ignore the empty text, so all fields are emptied first.
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

}  // namespace

Records::~Records() { CQDInfoAPI::Destroy(); }

std::string Records::Load()
{
    std::string failure;
    const bool isLoaded = RetryNow([&] { return (failure = TryLoad()).empty(); });
    return isLoaded ? "" : failure;
}

// A store that fails for a moment must not be taken for an empty one, so it is read before the library reads it.
std::string Records::TryLoad()
{
    constexpr char kCannotRead[] = "the stored records cannot be read";
    const std::optional<StoredDocument> hdmi = LoadDocument(kSourceActivityKey, StoredKind::kActivity);
    if (!hdmi) return kCannotRead;
    const std::optional<StoredDocument> optical = LoadDocument(kOpticalActivityKey, StoredKind::kOptical);
    if (!optical) return kCannotRead;
    if (!hdmi->isKept || !optical->isKept) return "the stored records are unreadable and cannot be kept aside";
    const bool isLoaded = CQDInfoAPI::Create(true);
    if (!isLoaded && hdmi->root) return kCannotRead;
    m_table = CQDInfoAPI::GetQDInfoUtil();
    if (m_table == nullptr) return "no memory for the records";
    if (!isLoaded) m_table->CreateAndAddNewActivity();

    Json::Value document;
    static_cast<void>(m_table->GetActivityInfoToStream(document));  // without memory, the records begin empty
    static_cast<void>(Adopt(document));                             // they are the first ones
    if (optical->root) {
        m_records[OPTICAL_PORT] = RecordOf((*optical->root)["activity"]);
        WriteTable(*m_table, OPTICAL_PORT, m_records[OPTICAL_PORT]);
    }
    for (const int port : {0, OPTICAL_PORT}) m_settings.Keep(SavingOf(port), [this, port] { return TrySave(port); });
    if (hdmi->isUnreadable) Save(0);
    if (optical->isUnreadable) Save(OPTICAL_PORT);
    return "";
}

// Makes the HDMI records of a document, as many as the TV has inputs, the current ones. @return True if one differed.
bool Records::Adopt(const Json::Value& document)
{
    bool differs = false;
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        const auto index = static_cast<Json::ArrayIndex>(port);
        Record stored = RecordOf(document["activity"].get(index, Json::nullValue));
        if (stored == m_records[port]) continue;  // which knows more than is stored
        m_records[port] = std::move(stored);
        differs = true;
    }
    return differs;
}

bool Records::Set(int port, const Record& record)
{
    const bool isStored = Get(port) == record;
    m_records[port] = record;
    if (isStored) return false;
    WriteTable(*m_table, port, record);
    Save(port);
    return true;
}

void Records::SetScanState(int port, int state)
{
    Record record = Get(port);
    record.scanState = state;
    static_cast<void>(Set(port, record));  // the port may have that state
}

void Records::Clear(int port)
{
    Record record;
    record.denyCount = Get(port).denyCount;
    static_cast<void>(Set(port, record));  // the port may have no device
}

bool Records::IsSaved(int port) const { return !m_settings.IsPending(SavingOf(port)); }

void Records::CallWhenSaved(int port, std::function<void()> callback)
{
    if (IsSaved(port)) return callback();
    m_callbacks[port] = std::move(callback);
}

void Records::Save(int port)
{
    m_settings.Write(SavingOf(port), [this, port] { return TrySave(port); });
}

bool Records::TrySave(int port)
{
    if (port == OPTICAL_PORT) {
        Json::Value root;
        if (!m_table->GetOpticalActivityInfoToStream(root)) return false;
        const std::string text = Json::writeString(Json::StreamWriterBuilder(), root);
        if (vconf_set_str(kOpticalActivityKey, text.c_str()) != 0) return false;
    } else if (!qdinfo::CQDInfoServerData::GetInstance()->t_SaveActivityInfoToFile()) {
        return false;
    }
    srcwatch_set_source_info(OPTICAL_PORT, 0);  // for this port the library announces without saving

    for (auto& [waiting, callback] : std::exchange(m_callbacks, {})) {
        if (SavingOf(waiting) == SavingOf(port)) {
            callback();
        } else {
            m_callbacks[waiting] = std::move(callback);
        }
    }
    return true;
}

// Notices of this service's own writes come later, perhaps several after the last of them, so what is stored now
// counts.
void Records::HandleWritten()
{
    m_settings.Attain(std::string("reading ") + kSourceActivityKey, [this] { return TakeOver(); });
}

bool Records::TakeOver()
{
    if (!IsSaved(0)) return true;  // the records of this service are newer, and will be saved
    std::optional<StoredDocument> stored = LoadDocument(kSourceActivityKey, StoredKind::kActivity);
    if (!stored) return false;
    if (stored->isTooLarge) return true;
    if (!stored->root) {
        SWLOG(kLogWarn, "another process made the stored records unreadable; they are written again");
        Save(0);
    } else if (Adopt(*stored->root)) {
        SWLOG(kLogInfo, "another process wrote the records; they are taken over");
        static_cast<void>(m_table->SetActivityInfoFromStream(*stored->root));  // succeeds for a readable document
    }
    return true;
}

Json::Value Records::Document(int port) const
{
    Json::Value root;
    const bool isOptical = port == OPTICAL_PORT;
    const bool isMade =
        isOptical ? m_table->GetOpticalActivityInfoToStream(root) : m_table->GetActivityInfoToStream(root);
    if (!isMade) return {};
    return isOptical ? root["activity"] : root["activity"].get(static_cast<Json::ArrayIndex>(port), Json::nullValue);
}

std::optional<Json::Value> Records::Stored(int port) const
{
    const bool isOptical = port == OPTICAL_PORT;
    Json::Value record;
    const bool isLoaded = isOptical ? m_table->t_LoadOpticalPortJsonInfoToMemory(port, record)
                                    : m_table->t_LoadPortJsonInfoToMemory(port, record);
    // The library does not say why it fails.
    std::string text;
    const char* const key = isOptical ? kOpticalActivityKey : kSourceActivityKey;
    if (!isLoaded && ReadText(key, text) == ReadResult::kFailed) return std::nullopt;
    return record;
}

}  // namespace srcwatch
