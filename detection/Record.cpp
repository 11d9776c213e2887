// SPDX-License-Identifier: Apache-2.0
#include "Record.h"

#include "Identity.h"

#include <tuple>

namespace srcwatch {

namespace {

auto FieldsOf(const Classification& device)
{
    return std::tie(device.deviceType, device.method, device.deviceTypeText, device.brandName, device.deviceName,
                    device.providerName, device.codesetName, device.cecDeviceName, device.aksv, device.unknownType,
                    device.manufacturerName, device.modelName, device.cecName);
}

auto CountsOf(const Record& record)
{
    return std::tie(record.denyCount, record.scanState, record.previousPort, record.changed);
}

}  // namespace

bool operator==(const Record& a, const Record& b)
{
    return FieldsOf(a.device) == FieldsOf(b.device) && CountsOf(a) == CountsOf(b);
}

Record ComposeRecord(int port, const Record& before, const Classification& device, const Statistics& statistics,
                     const std::function<bool(int)>& isOccupied)
{
    Record record = before;
    record.device = device;
    const Identity identity = IdentityOf(device);
    if (before.HasDevice() && IdentityOf(before.device).Matches(identity)) return record;
    const Past past = statistics.FindPast(port, identity, isOccupied);
    record.previousPort = past.previousPort;
    record.changed = past.changed;
    return record;
}

}  // namespace srcwatch
