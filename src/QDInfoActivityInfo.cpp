// SPDX-License-Identifier: Apache-2.0
//
// The record of one input: its fields, their accessors and its JSON form.
#include "QDInfoActivityInfo.h"

#include "LineFormat.h"
#include "QDInfoCommon.h"

#include <utility>

#include <json/json.h>

namespace qdinfo {

struct CQDInfoActivityInfo::Schema {
    struct Field {
        const char* key;
        int CQDInfoActivityInfo::*number;  // exactly one of number and text is set
        std::string CQDInfoActivityInfo::*text;
    };

    static const Field kFields[18];

    static const Json::Value& Members();
    static Json::Value ValueOf(const CQDInfoActivityInfo& info, const Field& field);
};

namespace {

// Deliberate: null and the empty text leave the field as it is.
void AssignText(std::string& field, const char* s)
{
    if (s != nullptr && *s != '\0') field = s;
}

}  // namespace

using Info = CQDInfoActivityInfo;

// In the order in which Read and Write visit the members, which is not that of the declarations.
const Info::Schema::Field Info::Schema::kFields[18] = {
    {"PortNum", &Info::m_nPortNumber, nullptr},
    {"BName", nullptr, &Info::m_strBrandName},
    {"CName", nullptr, &Info::m_strCodesetName},
    {"DevType", &Info::m_nDeviceType, nullptr},
    {"DevName", nullptr, &Info::m_strDeviceName},
    {"PRName", nullptr, &Info::m_strProviderName},
    {"sDevType", nullptr, &Info::m_strDeviceType},
    {"CDevName", nullptr, &Info::m_strCECDeviceName},
    {"AKSV", nullptr, &Info::m_strAKSVKey},
    {"UnknownType", nullptr, &Info::m_strUnknownType},
    {"MFName", nullptr, &Info::m_strManufacturerName},
    {"ModelName", nullptr, &Info::m_strModelName},
    {"CECName", nullptr, &Info::m_strCECName},
    {"ScanState", &Info::m_nScanState, nullptr},
    {"DenyCount", &Info::m_nDenyCount, nullptr},
    {"DMethod", &Info::m_nDetectionMethod, nullptr},
    {"PrevPort", &Info::m_nPrevPort, nullptr},
    {"Changed", &Info::m_nChangedType, nullptr},
};

// A record whose members hold the positions of their fields: to fill a copy takes half the time of adding the members.
const Json::Value& Info::Schema::Members()
{
    static const Json::Value& members = *[] {
        Json::Value made;
        int position = 0;
        for (const Field& field : kFields) made[field.key] = position++;
        return new Json::Value(std::move(made));  // outlives static destructors
    }();
    return members;
}

Json::Value Info::Schema::ValueOf(const CQDInfoActivityInfo& info, const Field& field)
{
    return field.number != nullptr ? Json::Value(info.*field.number) : Json::Value(info.*field.text);
}

CQDInfoActivityInfo::CQDInfoActivityInfo() = default;
CQDInfoActivityInfo::CQDInfoActivityInfo(const CQDInfoActivityInfo& other) = default;
CQDInfoActivityInfo& CQDInfoActivityInfo::operator=(const CQDInfoActivityInfo& other) = default;
CQDInfoActivityInfo::~CQDInfoActivityInfo() = default;

bool CQDInfoActivityInfo::Read(Json::Value& obj)
{
    bool outOfMemory = false;
    return TryRead(obj, outOfMemory);
}

bool CQDInfoActivityInfo::TryRead(Json::Value& obj, bool& outOfMemory)
{
    try {
        for (const Schema::Field& field : Schema::kFields) {
            const Json::Value& value = obj[field.key];  // Deliberate: adds a missing member as null.
            if (field.number != nullptr) {
                this->*field.number = value.asInt();
            } else {
                this->*field.text = value.asString();
            }
        }
        return true;
    } catch (const Json::Exception& e) {
        // Outside of parsing, JsonCpp reports with this type that memory ran out.
        outOfMemory = dynamic_cast<const Json::RuntimeError*>(&e) != nullptr;
        const CallSite site = CallSite::Here(__FILE__, "Read");
        QDLOG_AT(site, QDLOG_ERROR, "Exception Handled by CQDInfoActivityInfo::Read: %s", e.what());
        return false;
    }
}

bool CQDInfoActivityInfo::Write(Json::Value& obj)
{
    try {
        if (obj.isNull()) {
            Json::Value record = Schema::Members();
            for (Json::Value& value : record) value = Schema::ValueOf(*this, Schema::kFields[value.asInt()]);
            obj = std::move(record);
        } else {
            for (const Schema::Field& field : Schema::kFields) obj[field.key] = Schema::ValueOf(*this, field);
        }
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by CQDInfoActivityInfo::Write: %s", e.what());
        return false;
    }
}

void CQDInfoActivityInfo::Clear() { *this = CQDInfoActivityInfo(); }

void CQDInfoActivityInfo::ResetSourceInfo()
{
    const int denyCount = m_nDenyCount;
    Clear();
    m_nDenyCount = denyCount;
}

int CQDInfoActivityInfo::GetDeviceType() { return m_nDeviceType; }
void CQDInfoActivityInfo::SetDeviceType(int value) { m_nDeviceType = value; }

const char* CQDInfoActivityInfo::GetStrDeviceType() { return m_strDeviceType.c_str(); }
void CQDInfoActivityInfo::SetStrDeviceType(const char* s) { AssignText(m_strDeviceType, s); }

const char* CQDInfoActivityInfo::GetBrandName()
{
    QDLOG(QDLOG_DEBUG, "brand name is %s", m_strBrandName.c_str());
    return m_strBrandName.c_str();
}
void CQDInfoActivityInfo::SetBrandName(const char* s) { AssignText(m_strBrandName, s); }

const char* CQDInfoActivityInfo::GetDeviceName()
{
    QDLOG(QDLOG_DEBUG, "device name is %s", m_strDeviceName.c_str());
    return m_strDeviceName.c_str();
}
void CQDInfoActivityInfo::SetDeviceName(const char* s) { AssignText(m_strDeviceName, s); }

const char* CQDInfoActivityInfo::GetProviderName()
{
    QDLOG(QDLOG_DEBUG, "provider name is %s", m_strProviderName.c_str());
    return m_strProviderName.c_str();
}
void CQDInfoActivityInfo::SetProviderName(const char* s) { AssignText(m_strProviderName, s); }

const char* CQDInfoActivityInfo::GetCodesetName()
{
    QDLOG(QDLOG_DEBUG, "codeset name is %s", m_strCodesetName.c_str());
    return m_strCodesetName.c_str();
}
void CQDInfoActivityInfo::SetCodesetName(const char* s)
{
    if (s != nullptr) m_strCodesetName = s;  // Deliberate: alone of all texts, this one can be emptied.
}

const char* CQDInfoActivityInfo::GetCECDeviceName()
{
    QDLOG(QDLOG_DEBUG, "cec device name is %s", m_strCECDeviceName.c_str());
    return m_strCECDeviceName.c_str();
}
void CQDInfoActivityInfo::SetCECDeviceName(const char* s) { AssignText(m_strCECDeviceName, s); }

const char* CQDInfoActivityInfo::GetAKSVKey()
{
    QDLOG(QDLOG_DEBUG, "aksv key name is %s", m_strAKSVKey.c_str());
    return m_strAKSVKey.c_str();
}
void CQDInfoActivityInfo::SetAKSVKey(const char* s) { AssignText(m_strAKSVKey, s); }

const char* CQDInfoActivityInfo::GetUnknownType()
{
    QDLOG(QDLOG_DEBUG, "Unknown Process %s", m_strUnknownType.c_str());
    return m_strUnknownType.c_str();
}
void CQDInfoActivityInfo::SetUnknownType(const char* s) { AssignText(m_strUnknownType, s); }

const char* CQDInfoActivityInfo::GetManufacturerName()
{
    QDLOG(QDLOG_DEBUG, "Manufacturer name (Infoframe Vendor brand) is %s", m_strManufacturerName.c_str());
    return m_strManufacturerName.c_str();
}
void CQDInfoActivityInfo::SetManufacturerName(const char* s) { AssignText(m_strManufacturerName, s); }

const char* CQDInfoActivityInfo::GetModelName()
{
    QDLOG(QDLOG_DEBUG, "Model name (Infoframe Model) is %s", m_strModelName.c_str());
    return m_strModelName.c_str();
}
void CQDInfoActivityInfo::SetModelName(const char* s) { AssignText(m_strModelName, s); }

const char* CQDInfoActivityInfo::GetCECName()
{
    QDLOG(QDLOG_DEBUG, "CEC name is %s", m_strCECName.c_str());
    return m_strCECName.c_str();
}
void CQDInfoActivityInfo::SetCECName(const char* s) { AssignText(m_strCECName, s); }

int CQDInfoActivityInfo::GetPortNumber() { return m_nPortNumber; }
void CQDInfoActivityInfo::SetPortNumber(int value) { m_nPortNumber = value; }

int CQDInfoActivityInfo::GetDenyCount() { return m_nDenyCount; }
void CQDInfoActivityInfo::SetDenyCount(int value) { m_nDenyCount = value; }

int CQDInfoActivityInfo::GetScanState() { return m_nScanState; }
void CQDInfoActivityInfo::SetScanState(int value) { m_nScanState = value; }

int CQDInfoActivityInfo::GetDetectionMethod() { return m_nDetectionMethod; }
void CQDInfoActivityInfo::SetDetectionMethod(int value) { m_nDetectionMethod = value; }

int CQDInfoActivityInfo::GetPrevPort() { return m_nPrevPort; }
void CQDInfoActivityInfo::SetPrevPort(int value) { m_nPrevPort = value; }

int CQDInfoActivityInfo::GetChangedType() { return m_nChangedType; }
void CQDInfoActivityInfo::SetChangedType(int value) { m_nChangedType = value; }

}  // namespace qdinfo
