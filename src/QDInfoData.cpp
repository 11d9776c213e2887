// SPDX-License-Identifier: Apache-2.0
//
// The table of records in memory. Persistence is the business of the store that derives from it.
#include "QDInfoData.h"

#include "QDInfoCommon.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include <glib.h>
#include <json/json.h>

namespace qdinfo {
namespace {

// The record of a port outside the table: this thread's own, empty at each call.
CQDInfoActivityInfo& Nobody()
{
    static GPrivate nobodies =
        G_PRIVATE_INIT([](gpointer nobody) { delete static_cast<CQDInfoActivityInfo*>(nobody); });
    auto* nobody = static_cast<CQDInfoActivityInfo*>(g_private_get(&nobodies));
    if (nobody == nullptr) {
        nobody = new CQDInfoActivityInfo;
        g_private_set(&nobodies, nobody);
    }
    nobody->Clear();
    return *nobody;
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

bool CQDInfoData::HasPort(int port) const
{
    return port == OPTICAL_PORT || (port >= 0 && static_cast<std::size_t>(port) < t_ActivityInfo.size());
}

CQDInfoActivityInfo& CQDInfoData::At(int port)
{
    if (port == OPTICAL_PORT) return m_OpticalActivityInfo;
    return HasPort(port) ? t_ActivityInfo[static_cast<std::size_t>(port)] : Nobody();
}

bool CQDInfoData::CreateAndAddNewActivity()
{
    QDLOG(QDLOG_DEBUG, " CQDInfoData::CreateAndAddNewActivity ");
    // Deliberate: appends at each call. All of them or, without memory, none.
    t_ActivityInfo.resize(t_ActivityInfo.size() + static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 0)));
    m_OpticalActivityInfo = CQDInfoActivityInfo();
    return true;
}

void CQDInfoData::ResetSourceInfo(int port) { m_ResetSourceInfo(port); }

void CQDInfoData::m_ResetSourceInfo(int port)
{
    At(port).ResetSourceInfo();
    QDLOG(QDLOG_ERROR, "Port(%d) Reset Source Info", port);
}

bool CQDInfoData::GetActivityInfoToStream(Json::Value& root)
{
    try {
        QDLOG(QDLOG_ERROR, "t_ActivityInfo.size() = %zu ", t_ActivityInfo.size());
        for (std::size_t i = 0; i < t_ActivityInfo.size(); ++i) {
            Json::Value record;
            if (!t_ActivityInfo[i].Write(record)) return false;  // no memory: a part of a record is none
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
        if (!m_OpticalActivityInfo.Write(record)) return false;  // no memory
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
    std::vector<CQDInfoActivityInfo> records;
    try {
        for (int i = 0; i < HDMI_PORT_COUNT; ++i) {
            Json::Value element = root["activity"][i];  // a copy: Read completes it
            CQDInfoActivityInfo record;
            bool outOfMemory = false;
            // Deliberate: a record that can be read in part is kept in part; not one that there was no memory for.
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
bool CQDInfoData::SetDeviceType(int value, int port)
{
    At(port).SetDeviceType(value);
    return true;
}

const char* CQDInfoData::GetStrDeviceType(int port) { return At(port).GetStrDeviceType(); }
bool CQDInfoData::SetStrDeviceType(const char* s, int port)
{
    At(port).SetStrDeviceType(s);
    return true;
}

const char* CQDInfoData::GetBrandName(int port) { return At(port).GetBrandName(); }
bool CQDInfoData::SetBrandName(const char* s, int port)
{
    At(port).SetBrandName(s);
    return true;
}

const char* CQDInfoData::GetDeviceName(int port) { return At(port).GetDeviceName(); }
bool CQDInfoData::SetDeviceName(const char* s, int port)
{
    At(port).SetDeviceName(s);
    return true;
}

const char* CQDInfoData::GetProviderName(int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "GetProviderName called for Optical");
    return At(port).GetProviderName();
}
bool CQDInfoData::SetProviderName(const char* s, int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "SetProviderName called for Optical");
    At(port).SetProviderName(s);
    return true;
}

const char* CQDInfoData::GetCodesetName(int port) { return At(port).GetCodesetName(); }
bool CQDInfoData::SetCodesetName(const char* s, int port)
{
    At(port).SetCodesetName(s);
    return true;
}

const char* CQDInfoData::GetCECDeviceName(int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "GetCECDeviceName called for Optical");
    return At(port).GetCECDeviceName();
}
bool CQDInfoData::SetCECDeviceName(const char* s, int port)
{
    if (port == OPTICAL_PORT) QDLOG(QDLOG_ERROR, "SetCECDeviceName called for Optical");
    At(port).SetCECDeviceName(s);
    return true;
}

const char* CQDInfoData::GetAKSVKey(int port) { return At(port).GetAKSVKey(); }
bool CQDInfoData::SetAKSVKey(const char* s, int port)
{
    At(port).SetAKSVKey(s);
    return true;
}

const char* CQDInfoData::GetUnknownType(int port) { return At(port).GetUnknownType(); }
bool CQDInfoData::SetUnknownType(const char* s, int port)
{
    At(port).SetUnknownType(s);
    return true;
}

const char* CQDInfoData::GetManufacturerName(int port) { return At(port).GetManufacturerName(); }
bool CQDInfoData::SetManufacturerName(const char* s, int port)
{
    At(port).SetManufacturerName(s);
    return true;
}

const char* CQDInfoData::GetModelName(int port) { return At(port).GetModelName(); }
bool CQDInfoData::SetModelName(const char* s, int port)
{
    At(port).SetModelName(s);
    return true;
}

const char* CQDInfoData::GetCECName(int port) { return At(port).GetCECName(); }
bool CQDInfoData::SetCECName(const char* s, int port)
{
    At(port).SetCECName(s);
    return true;
}

int CQDInfoData::GetPortNumber(int port) { return At(port).GetPortNumber(); }
bool CQDInfoData::SetPortNumber(int port)
{
    At(port).SetPortNumber(port);
    return true;
}

int CQDInfoData::GetDenyCount(int port) { return At(port).GetDenyCount(); }
bool CQDInfoData::SetDenyCount(int value, int port)
{
    At(port).SetDenyCount(value);
    return true;
}

int CQDInfoData::GetScanState(int port) { return At(port).GetScanState(); }
bool CQDInfoData::SetScanState(int value, int port)
{
    At(port).SetScanState(value);
    return true;
}

int CQDInfoData::GetDetectionMethod(int port) { return At(port).GetDetectionMethod(); }
bool CQDInfoData::SetDetectionMethod(int value, int port)
{
    At(port).SetDetectionMethod(value);
    return true;
}

int CQDInfoData::GetPrevPort(int port) { return At(port).GetPrevPort(); }
bool CQDInfoData::SetPrevPort(int value, int port)
{
    At(port).SetPrevPort(value);
    return true;
}

int CQDInfoData::GetChangedType(int port) { return At(port).GetChangedType(); }
bool CQDInfoData::SetChangedType(int value, int port)
{
    At(port).SetChangedType(value);
    return true;
}

}  // namespace qdinfo
