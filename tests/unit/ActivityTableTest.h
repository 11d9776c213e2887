// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the table of records share: its fields, and a table in which each has a value of its own.
#ifndef SRCWATCH_TESTS_ACTIVITYTABLETEST_H
#define SRCWATCH_TESTS_ACTIVITYTABLETEST_H

#include "PlatformTest.h"
#include "QDInfoCommon.h"
#include "QDInfoData.h"
#include "WhatOf.h"

#include <climits>
#include <memory>

#include <json/json.h>

namespace srcwatch_test {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoData;

using GetNumber = int (CQDInfoData::*)(int);
using SetNumber = bool (CQDInfoData::*)(int, int);
using GetText = const char* (CQDInfoData::*)(int);
using SetText = bool (CQDInfoData::*)(const char*, int);

struct NumberField {
    const char* key;
    GetNumber get;
    SetNumber set;
};

struct TextField {
    const char* key;
    GetText get;
    SetText set;
    const char* logged;            ///< what the record's getter logs in front of the text; null if it logs nothing
    const char* opticalGetterLog;  ///< what the table's own getter and setter log for port 99; null if nothing
    const char* opticalSetterLog;
};

inline const NumberField kNumbers[] = {
    {"DevType", &CQDInfoData::GetDeviceType, &CQDInfoData::SetDeviceType},
    {"DenyCount", &CQDInfoData::GetDenyCount, &CQDInfoData::SetDenyCount},
    {"ScanState", &CQDInfoData::GetScanState, &CQDInfoData::SetScanState},
    {"DMethod", &CQDInfoData::GetDetectionMethod, &CQDInfoData::SetDetectionMethod},
    {"PrevPort", &CQDInfoData::GetPrevPort, &CQDInfoData::SetPrevPort},
    {"Changed", &CQDInfoData::GetChangedType, &CQDInfoData::SetChangedType},
};

inline const TextField kTexts[] = {
    {"BName", &CQDInfoData::GetBrandName, &CQDInfoData::SetBrandName, "GetBrandName: brand name is ", nullptr, nullptr},
    {"DevName", &CQDInfoData::GetDeviceName, &CQDInfoData::SetDeviceName, "GetDeviceName: device name is ", nullptr,
     nullptr},
    {"PRName", &CQDInfoData::GetProviderName, &CQDInfoData::SetProviderName, "GetProviderName: provider name is ",
     "GetProviderName: GetProviderName called for Optical", "SetProviderName: SetProviderName called for Optical"},
    {"CName", &CQDInfoData::GetCodesetName, &CQDInfoData::SetCodesetName, "GetCodesetName: codeset name is ", nullptr,
     nullptr},
    {"CDevName", &CQDInfoData::GetCECDeviceName, &CQDInfoData::SetCECDeviceName,
     "GetCECDeviceName: cec device name is ", "GetCECDeviceName: GetCECDeviceName called for Optical",
     "SetCECDeviceName: SetCECDeviceName called for Optical"},
    {"AKSV", &CQDInfoData::GetAKSVKey, &CQDInfoData::SetAKSVKey, "GetAKSVKey: aksv key name is ", nullptr, nullptr},
    {"UnknownType", &CQDInfoData::GetUnknownType, &CQDInfoData::SetUnknownType, "GetUnknownType: Unknown Process ",
     nullptr, nullptr},
    {"MFName", &CQDInfoData::GetManufacturerName, &CQDInfoData::SetManufacturerName,
     "GetManufacturerName: Manufacturer name (Infoframe Vendor brand) is ", nullptr, nullptr},
    {"ModelName", &CQDInfoData::GetModelName, &CQDInfoData::SetModelName,
     "GetModelName: Model name (Infoframe Model) is ", nullptr, nullptr},
    {"CECName", &CQDInfoData::GetCECName, &CQDInfoData::SetCECName, "GetCECName: CEC name is ", nullptr, nullptr},
    {"sDevType", &CQDInfoData::GetStrDeviceType, &CQDInfoData::SetStrDeviceType, nullptr, nullptr, nullptr},
};

static_assert(std::size(kNumbers) + std::size(kTexts) == 17, "all fields but the port number");

const std::string kTableFile = "E QDInfoData.cpp ";

inline std::string TextOf(const char* key, int port) { return std::string(key) + " of port " + std::to_string(port); }

inline Json::Value HdmiDocumentOf(CQDInfoData& table)
{
    Json::Value root;
    EXPECT_TRUE(table.GetActivityInfoToStream(root));
    return root;
}

inline Json::Value OpticalDocumentOf(CQDInfoData& table)
{
    Json::Value root;
    EXPECT_TRUE(table.GetOpticalActivityInfoToStream(root));
    return root;
}

inline Json::Value DefaultRecord()
{
    Json::Value record;
    EXPECT_TRUE(CQDInfoActivityInfo().Write(record));
    return record;
}

inline std::size_t RecordsOf(CQDInfoData& table) { return HdmiDocumentOf(table)["activity"].size(); }

inline Json::Value Parse(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) << text;
    return root;
}

class ActivityTable : public PlatformTest {
protected:
    static std::size_t HdmiInputs() { return HDMI_PORT_COUNT > 0 ? static_cast<std::size_t>(HDMI_PORT_COUNT) : 0U; }

    /// The HDMI ports of the TV, and the optical one.
    static std::vector<int> AllPorts()
    {
        std::vector<int> ports = {OPTICAL_PORT};
        for (int port = 0; port < HDMI_PORT_COUNT; ++port) ports.push_back(port);
        return ports;
    }

    static std::vector<int> PortsOutside()
    {
        const int size = static_cast<int>(HdmiInputs());
        return {-1, -2, -99, size, size + 1, size + 50, 98, 100, INT_MAX, INT_MIN};
    }

    /// Sets every field of every record to a value of its own.
    void GivenFilledTable()
    {
        Json::Value empty(Json::objectValue);
        table.SetActivityInfoFromStream(empty);
        for (const int port : AllPorts()) {
            for (const NumberField& field : kNumbers) (table.*field.set)(NumberOf(field, port), port);
            for (const TextField& field : kTexts) (table.*field.set)(TextOf(field.key, port).c_str(), port);
            table.SetPortNumber(port);
        }
        platform.sequence.clear();
        platform.log.clear();
    }

    static int NumberOf(const NumberField& field, int port)
    {
        return static_cast<int>(&field - kNumbers) * 1000 + port;
    }

    static Json::Value FilledRecord(int port)
    {
        Json::Value record(Json::objectValue);
        for (const NumberField& field : kNumbers) record[field.key] = NumberOf(field, port);
        for (const TextField& field : kTexts) record[field.key] = TextOf(field.key, port);
        record["PortNum"] = port;
        return record;
    }

    /// As the documents show it.
    Json::Value RecordOf(int port)
    {
        if (port == OPTICAL_PORT) return OpticalDocumentOf(table)["activity"];
        return HdmiDocumentOf(table)["activity"][port];
    }

    CQDInfoData table;
};

/// For what can only be seen on a TV with HDMI inputs.
class ActivityTableWithInputs : public ActivityTable {
protected:
    void SetUp() override
    {
        if (HdmiInputs() == 0) GTEST_SKIP() << "needs an HDMI input";
    }
};

}  // namespace srcwatch_test

#endif
