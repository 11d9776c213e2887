// SPDX-License-Identifier: Apache-2.0
#include "Topology.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace srcwatch {

namespace {

// The addresses of the TV's inputs are 1.0.0.0, 2.0.0.0, and so on.
bool IsOfInput(const CecDevice& device)
{
    return device.physicalAddress && *device.physicalAddress != 0 && (*device.physicalAddress & 0x0fffU) == 0;
}

const CecDevice* FindAt(const CecLog& log, int address)
{
    const auto found = std::find_if(log.devices.begin(), log.devices.end(),
                                    [&](const CecDevice& device) { return device.physicalAddress == address; });
    return found == log.devices.end() ? nullptr : &*found;
}

}  // namespace

const CecDevice* FindOnPort(const CecLog& log, int hdmiInput)
{
    if (log.devices.size() == 1) return &log.devices.front();
    const CecDevice* const here = hdmiInput == kNoHdmiInput ? nullptr : FindAt(log, hdmiInput << 12);
    if (here != nullptr) return here;
    std::set<int> inputs;
    for (const CecDevice& device : log.devices) {
        if (IsOfInput(device)) inputs.insert(*device.physicalAddress);
    }
    return inputs.size() == 1 ? FindAt(log, *inputs.begin()) : nullptr;
}

std::vector<CecDevice> FindBehind(const CecLog& log, int hdmiInput)
{
    const CecDevice* const here = FindOnPort(log, hdmiInput);
    std::vector<CecDevice> behind;
    for (const CecDevice& device : log.devices) {
        const bool isHere = here == &device || (here != nullptr && here->physicalAddress &&
                                                here->physicalAddress == device.physicalAddress);
        if (!isHere) behind.push_back(device);
    }
    return behind;
}

std::string PhysicalAddressText(std::uint16_t address)
{
    char text[8];
    static_cast<void>(std::snprintf(text, sizeof text, "%x.%x.%x.%x", address >> 12U, address >> 8U & 0xfU,
                                    address >> 4U & 0xfU, address & 0xfU));  // 7 characters
    return text;
}

std::string VendorIdText(std::uint32_t vendorId)
{
    char text[9];
    static_cast<void>(std::snprintf(text, sizeof text, "%06x", static_cast<unsigned>(vendorId)));  // at most 8 digits
    return text;
}

}  // namespace srcwatch
