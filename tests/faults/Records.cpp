// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "srcwatch-api.h"

namespace srcwatch_test {

namespace {

using Table = qdinfo::CQDInfoData;

constexpr bool (Table::*kTextSetters[])(const char* text, int port) = {
    &Table::SetBrandName, &Table::SetDeviceName,  &Table::SetProviderName,     &Table::SetCodesetName,
    &Table::SetAKSVKey,   &Table::SetUnknownType, &Table::SetManufacturerName, &Table::SetCECDeviceName,
    &Table::SetModelName, &Table::SetCECName,     &Table::SetStrDeviceType,
};

constexpr bool (Table::*kNumberSetters[])(int number, int port) = {
    &Table::SetDenyCount, &Table::SetScanState, &Table::SetDetectionMethod, &Table::SetPrevPort, &Table::SetChangedType,
};

}  // namespace

void FillRecords(Table& table, int generation)
{
    const std::string text = TextOfGeneration(generation);
    for (int port = 0; port < kRecords; ++port) {
        for (const auto set : kTextSetters) (table.*set)(text.c_str(), port);
        for (const auto set : kNumberSetters) (table.*set)(generation, port);
        table.SetDeviceType(SRCWATCH_DEVICE_STREAMING_BOX, port);
        table.SetPortNumber(port);
    }
}

}  // namespace srcwatch_test
