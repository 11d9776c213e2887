// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the record share: the eighteen fields, in the order in which they are read and written.
#ifndef SRCWATCH_TESTS_ACTIVITYINFOTEST_H
#define SRCWATCH_TESTS_ACTIVITYINFOTEST_H

#include "PlatformTest.h"
#include "QDInfoActivityInfo.h"
#include "WhatOf.h"

#include <string>

#include <json/json.h>

namespace srcwatch_test {

using qdinfo::CQDInfoActivityInfo;

using GetNumber = int (CQDInfoActivityInfo::*)();
using SetNumber = void (CQDInfoActivityInfo::*)(int);
using GetText = const char* (CQDInfoActivityInfo::*)();
using SetText = void (CQDInfoActivityInfo::*)(const char*);

struct Field {
    const char* key;
    GetNumber getNumber;
    SetNumber setNumber;
    GetText getText;
    SetText setText;
    const char* logged;  ///< what the getter logs in front of the text; null if it logs nothing

    bool IsNumber() const { return getNumber != nullptr; }
};

using Info = CQDInfoActivityInfo;

constexpr Field Number(const char* key, GetNumber get, SetNumber set)
{
    return {key, get, set, nullptr, nullptr, nullptr};
}

constexpr Field Text(const char* key, GetText get, SetText set, const char* logged)
{
    return {key, nullptr, nullptr, get, set, logged};
}

inline const Field kFields[] = {
    Number("PortNum", &Info::GetPortNumber, &Info::SetPortNumber),
    Text("BName", &Info::GetBrandName, &Info::SetBrandName, "GetBrandName: brand name is "),
    Text("CName", &Info::GetCodesetName, &Info::SetCodesetName, "GetCodesetName: codeset name is "),
    Number("DevType", &Info::GetDeviceType, &Info::SetDeviceType),
    Text("DevName", &Info::GetDeviceName, &Info::SetDeviceName, "GetDeviceName: device name is "),
    Text("PRName", &Info::GetProviderName, &Info::SetProviderName, "GetProviderName: provider name is "),
    Text("sDevType", &Info::GetStrDeviceType, &Info::SetStrDeviceType, nullptr),
    Text("CDevName", &Info::GetCECDeviceName, &Info::SetCECDeviceName, "GetCECDeviceName: cec device name is "),
    Text("AKSV", &Info::GetAKSVKey, &Info::SetAKSVKey, "GetAKSVKey: aksv key name is "),
    Text("UnknownType", &Info::GetUnknownType, &Info::SetUnknownType, "GetUnknownType: Unknown Process "),
    Text("MFName", &Info::GetManufacturerName, &Info::SetManufacturerName,
         "GetManufacturerName: Manufacturer name (Infoframe Vendor brand) is "),
    Text("ModelName", &Info::GetModelName, &Info::SetModelName, "GetModelName: Model name (Infoframe Model) is "),
    Text("CECName", &Info::GetCECName, &Info::SetCECName, "GetCECName: CEC name is "),
    Number("ScanState", &Info::GetScanState, &Info::SetScanState),
    Number("DenyCount", &Info::GetDenyCount, &Info::SetDenyCount),
    Number("DMethod", &Info::GetDetectionMethod, &Info::SetDetectionMethod),
    Number("PrevPort", &Info::GetPrevPort, &Info::SetPrevPort),
    Number("Changed", &Info::GetChangedType, &Info::SetChangedType),
};

constexpr int kFieldCount = 18;
static_assert(std::size(kFields) == kFieldCount);

/// Different for each field, and not a default.
inline Json::Value ValueOf(int index, int number, const std::string& text)
{
    if (kFields[index].IsNumber()) return number + index;
    return text + std::to_string(index);
}

inline Json::Value OldValueOf(int index) { return ValueOf(index, -1000, "old "); }
inline Json::Value NewValueOf(int index) { return ValueOf(index, 1000, "new "); }

inline Json::Value ObjectOf(Json::Value (*valueOf)(int))
{
    Json::Value obj(Json::objectValue);
    for (int i = 0; i < kFieldCount; ++i) obj[kFields[i].key] = valueOf(i);
    return obj;
}

inline Json::Value Get(CQDInfoActivityInfo& record, const Field& field)
{
    if (field.IsNumber()) return (record.*field.getNumber)();
    return (record.*field.getText)();
}

inline void Set(CQDInfoActivityInfo& record, const Field& field, const Json::Value& value)
{
    if (field.IsNumber()) {
        (record.*field.setNumber)(value.asInt());
    } else {
        (record.*field.setText)(value.asCString());
    }
}

inline Json::Value DefaultOf(const Field& field) { return field.IsNumber() ? Json::Value(0) : Json::Value(""); }

class ActivityInfo : public PlatformTest {
protected:
    /// Writes through the setters, so that a test of reading does not depend on reading.
    void GivenOldValues()
    {
        for (int i = 0; i < kFieldCount; ++i) Set(record, kFields[i], OldValueOf(i));
    }

    void ExpectDefaults(const std::string& exceptKey = "")
    {
        for (const Field& field : kFields) {
            if (exceptKey == field.key) continue;
            EXPECT_EQ(Get(record, field), DefaultOf(field)) << field.key;
        }
    }

    CQDInfoActivityInfo record;
};

class ActivityField : public ActivityInfo, public testing::WithParamInterface<int> {
protected:
    const int index = GetParam();
    const Field& field = kFields[GetParam()];
};

class ActivityText : public ActivityField {};

class ActivityNumber : public ActivityField {};

}  // namespace srcwatch_test

#endif
