// SPDX-License-Identifier: Apache-2.0
//
// The table of records in memory. The store that derives from it makes it persistent.
#include "QDInfoData.h"

#include "QDInfoCommon.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include <json/json.h>

namespace qdinfo {
namespace {

using Info = CQDInfoActivityInfo;

// Sets a field of a record, null for a port outside the table. Deliberate: true in any case.
template <typename Value>
bool Set(Info* record, void (Info::*setter)(Value), Value value)
{
    if (record != nullptr) (record->*setter)(value);
    return true;
}

}  // namespace

CQDInfoData::CQDInfoData() : m_nActivityIndex(-2) { m_OpticalActivityInfo.ResetSourceInfo(); }

CQDInfoData::~CQDInfoData() = default;

bool CQDInfoData::t_Initialize() { return false; }
void CQDInfoData::t_UnInitialize() {}
void CQDInfoData::t_CheckAndSaveActivity(int) {}
void CQDInfoData::t_CheckAndSaveActivityWithNotify(int) {}
bool CQDInfoData::t_LoadActivityInfoToMemory() { return false; }
bool CQDInfoData::t_LoadPortJsonInfoToMemory(int, Json::Value&) { return false; }
bool CQDInfoData::t_LoadOpticalPortJsonInfoToMemory(int, Json::Value&) { return false; }
bool CQDInfoData::t_LoadPortJsonKPIInfoToMemory(int, Json::Value&) { return false; }
bool CQDInfoData::t_LoadAllJsonKPIInfoToMemory(Json::Value*) { return false; }

Info* CQDInfoData::Find(int port)
{
    if (port == OPTICAL_PORT) return &m_OpticalActivityInfo;
    const bool isInTable = port >= 0 && static_cast<std::size_t>(port) < t_ActivityInfo.size();
    return isInTable ? &t_ActivityInfo[static_cast<std::size_t>(port)] : nullptr;
}

// The record of a port for getters; outside the table, one that is always empty.
Info& CQDInfoData::At(int port)
{
    static Info& empty = *new Info;  // outlives static destructors
    Info* const record = Find(port);
    return record != nullptr ? *record : empty;
}

bool CQDInfoData::CreateAndAddNewActivity()
{
    QDLOG(QDLOG_DEBUG, " CQDInfoData::CreateAndAddNewActivity ");
    // Deliberate: appends at each call. All of them or, without memory, none.
    t_ActivityInfo.resize(t_ActivityInfo.size() + static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 0)));
    m_OpticalActivityInfo = Info();
    return true;
}

void CQDInfoData::ResetSourceInfo(int port) { m_ResetSourceInfo(port); }

void CQDInfoData::m_ResetSourceInfo(int port)
{
    Info* const record = Find(port);
    if (record != nullptr) record->ResetSourceInfo();
    QDLOG(QDLOG_ERROR, "Port(%d) Reset Source Info", port);
}

bool CQDInfoData::GetActivityInfoToStream(Json::Value& root)
{
    try {
        QDLOG(QDLOG_ERROR, "t_ActivityInfo.size() = %zu ", t_ActivityInfo.size());
        for (std::size_t i = 0; i < t_ActivityInfo.size(); ++i) {
            Json::Value record;
            if (!t_ActivityInfo[i].Write(record)) return false;  // only without memory: a null value takes any record
            root["activity"][static_cast<Json::ArrayIndex>(i)] = std::move(record);
        }
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by GetActivityInfoToStream: %s", e.what());
        return false;
    }
}

bool CQDInfoData::GetOpticalActivityInfoToStream(Json::Value& root)
{
    try {
        Json::Value record;
        if (!m_OpticalActivityInfo.Write(record)) return false;  // only without memory
        root["activity"] = std::move(record);
        return true;
    } catch (const Json::Exception& e) {
        // Deliberate: the text names the HDMI function.
        QDLOG(QDLOG_ERROR, "Exception Handled by GetActivityInfoToStream: %s", e.what());
        return false;
    }
}

bool CQDInfoData::SetActivityInfoFromStream(Json::Value& root)
{
    std::vector<Info> records;
    try {
        for (int i = 0; i < HDMI_PORT_COUNT; ++i) {
            Json::Value element = root["activity"][i];  // a copy: Read completes it
            Info record;
            bool outOfMemory = false;
            // Deliberate: what can be read of a record is kept; but nothing of one that there is no memory for.
            record.TryRead(element, outOfMemory);
            if (outOfMemory) throw std::bad_alloc();
            records.push_back(record);
        }
        t_ActivityInfo = std::move(records);
        return true;
    } catch (const Json::Exception& e) {
        // Of a document of another shape, what was read counts; without memory, the table stays as it was.
        if (dynamic_cast<const Json::LogicError*>(&e) != nullptr) t_ActivityInfo = std::move(records);
        QDLOG(QDLOG_ERROR, "Exception Handled by SetActivityInfoFromStream: %s", e.what());
        return false;
    }
}

int CQDInfoData::GetDeviceType(int port) { return At(port).GetDeviceType(); }
bool CQDInfoData::SetDeviceType(int value, int port) { return Set(Find(port), &Info::SetDeviceType, value); }

const char* CQDInfoData::GetStrDeviceType(int port) { return At(port).GetStrDeviceType(); }
bool CQDInfoData::SetStrDeviceType(const char* s, int port) { return Set(Find(port), &Info::SetStrDeviceType, s); }

const char* CQDInfoData::GetBrandName(int port) { return At(port).GetBrandName(); }
bool CQDInfoData::SetBrandName(const char* s, int port) { return Set(Find(port), &Info::SetBrandName, s); }

const char* CQDInfoData::GetDeviceName(int port) { return At(port).GetDeviceName(); }
bool CQDInfoData::SetDeviceName(const char* s, int port) { return Set(Find(port), &Info::SetDeviceName, s); }

const char* CQDInfoData::GetProviderName(int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "GetProviderName called for Optical");
    return At(port).GetProviderName();
}
bool CQDInfoData::SetProviderName(const char* s, int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "SetProviderName called for Optical");
    return Set(Find(port), &Info::SetProviderName, s);
}

const char* CQDInfoData::GetCodesetName(int port) { return At(port).GetCodesetName(); }
bool CQDInfoData::SetCodesetName(const char* s, int port) { return Set(Find(port), &Info::SetCodesetName, s); }

const char* CQDInfoData::GetCECDeviceName(int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "GetCECDeviceName called for Optical");
    return At(port).GetCECDeviceName();
}
bool CQDInfoData::SetCECDeviceName(const char* s, int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "SetCECDeviceName called for Optical");
    return Set(Find(port), &Info::SetCECDeviceName, s);
}

const char* CQDInfoData::GetAKSVKey(int port) { return At(port).GetAKSVKey(); }
bool CQDInfoData::SetAKSVKey(const char* s, int port) { return Set(Find(port), &Info::SetAKSVKey, s); }

const char* CQDInfoData::GetUnknownType(int port) { return At(port).GetUnknownType(); }
bool CQDInfoData::SetUnknownType(const char* s, int port) { return Set(Find(port), &Info::SetUnknownType, s); }

const char* CQDInfoData::GetManufacturerName(int port) { return At(port).GetManufacturerName(); }
bool CQDInfoData::SetManufacturerName(const char* s, int port)
{
    return Set(Find(port), &Info::SetManufacturerName, s);
}

const char* CQDInfoData::GetModelName(int port) { return At(port).GetModelName(); }
bool CQDInfoData::SetModelName(const char* s, int port) { return Set(Find(port), &Info::SetModelName, s); }

const char* CQDInfoData::GetCECName(int port) { return At(port).GetCECName(); }
bool CQDInfoData::SetCECName(const char* s, int port) { return Set(Find(port), &Info::SetCECName, s); }

int CQDInfoData::GetPortNumber(int port) { return At(port).GetPortNumber(); }
bool CQDInfoData::SetPortNumber(int port) { return Set(Find(port), &Info::SetPortNumber, port); }

int CQDInfoData::GetDenyCount(int port) { return At(port).GetDenyCount(); }
bool CQDInfoData::SetDenyCount(int value, int port) { return Set(Find(port), &Info::SetDenyCount, value); }

int CQDInfoData::GetScanState(int port) { return At(port).GetScanState(); }
bool CQDInfoData::SetScanState(int value, int port) { return Set(Find(port), &Info::SetScanState, value); }

int CQDInfoData::GetDetectionMethod(int port) { return At(port).GetDetectionMethod(); }
bool CQDInfoData::SetDetectionMethod(int value, int port) { return Set(Find(port), &Info::SetDetectionMethod, value); }

int CQDInfoData::GetPrevPort(int port) { return At(port).GetPrevPort(); }
bool CQDInfoData::SetPrevPort(int value, int port) { return Set(Find(port), &Info::SetPrevPort, value); }

int CQDInfoData::GetChangedType(int port) { return At(port).GetChangedType(); }
bool CQDInfoData::SetChangedType(int value, int port) { return Set(Find(port), &Info::SetChangedType, value); }

}  // namespace qdinfo
