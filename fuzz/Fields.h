// SPDX-License-Identifier: Apache-2.0
//
// The eighteen fields of a record, independently of the library, in the order in which it reads them.
#ifndef SRCWATCH_FUZZ_FIELDS_H
#define SRCWATCH_FUZZ_FIELDS_H

#include "QDInfoData.h"

namespace fuzz {

/// A field: its member in JSON, and how it is read from the table and set in it. One of the two pairs is set.
struct Field {
    using Table = qdinfo::CQDInfoData;
    const char* name;
    int (Table::*number)(int port);
    bool (Table::*setNumber)(int value, int port);
    const char* (Table::*text)(int port);
    bool (Table::*setText)(const char* s, int port);
};

constexpr Field NumberField(const char* name, int (Field::Table::*get)(int), bool (Field::Table::*set)(int, int))
{
    return {name, get, set, nullptr, nullptr};
}

constexpr Field TextField(const char* name, const char* (Field::Table::*get)(int),
                          bool (Field::Table::*set)(const char*, int))
{
    return {name, nullptr, nullptr, get, set};
}

constexpr Field kFields[18] = {
    {"PortNum", &Field::Table::GetPortNumber, nullptr, nullptr, nullptr},  // is set to the port alone
    TextField("BName", &Field::Table::GetBrandName, &Field::Table::SetBrandName),
    TextField("CName", &Field::Table::GetCodesetName, &Field::Table::SetCodesetName),
    NumberField("DevType", &Field::Table::GetDeviceType, &Field::Table::SetDeviceType),
    TextField("DevName", &Field::Table::GetDeviceName, &Field::Table::SetDeviceName),
    TextField("PRName", &Field::Table::GetProviderName, &Field::Table::SetProviderName),
    TextField("sDevType", &Field::Table::GetStrDeviceType, &Field::Table::SetStrDeviceType),
    TextField("CDevName", &Field::Table::GetCECDeviceName, &Field::Table::SetCECDeviceName),
    TextField("AKSV", &Field::Table::GetAKSVKey, &Field::Table::SetAKSVKey),
    TextField("UnknownType", &Field::Table::GetUnknownType, &Field::Table::SetUnknownType),
    TextField("MFName", &Field::Table::GetManufacturerName, &Field::Table::SetManufacturerName),
    TextField("ModelName", &Field::Table::GetModelName, &Field::Table::SetModelName),
    TextField("CECName", &Field::Table::GetCECName, &Field::Table::SetCECName),
    NumberField("ScanState", &Field::Table::GetScanState, &Field::Table::SetScanState),
    NumberField("DenyCount", &Field::Table::GetDenyCount, &Field::Table::SetDenyCount),
    NumberField("DMethod", &Field::Table::GetDetectionMethod, &Field::Table::SetDetectionMethod),
    NumberField("PrevPort", &Field::Table::GetPrevPort, &Field::Table::SetPrevPort),
    NumberField("Changed", &Field::Table::GetChangedType, &Field::Table::SetChangedType),
};

}  // namespace fuzz

#endif
