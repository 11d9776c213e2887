// SPDX-License-Identifier: Apache-2.0
#include "Topology.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

CecDevice At(int logicalAddress, std::optional<std::uint16_t> physicalAddress)
{
    CecDevice device;
    device.logicalAddress = logicalAddress;
    device.physicalAddress = physicalAddress;
    return device;
}

const CecDevice kReceiver = At(5, 0x1000);
const CecDevice kPlayer = At(8, 0x1100);

// The logical address of the device on a port; -1 if there is none.
int OnPort(const std::vector<CecDevice>& devices, int hdmiInput)
{
    const CecLog log{devices, 0, 0};
    const CecDevice* const found = FindOnPort(log, hdmiInput);
    return found == nullptr ? -1 : found->logicalAddress;
}

std::vector<int> Behind(const std::vector<CecDevice>& devices, int hdmiInput)
{
    std::vector<int> addresses;
    for (const CecDevice& device : FindBehind({devices, 0, 0}, hdmiInput)) addresses.push_back(device.logicalAddress);
    return addresses;
}

TEST(Topology, TakesTheDeviceWithTheAddressOfThePort)
{
    EXPECT_EQ(OnPort({kReceiver, kPlayer}, 1), 5);
    EXPECT_EQ(Behind({kReceiver, kPlayer}, 1), std::vector<int>{8});
    EXPECT_EQ(OnPort({At(4, 0x1000), At(5, 0x2000)}, 2), 5);
}

TEST(Topology, TakesACaptureOfAnotherPort)
{
    EXPECT_EQ(OnPort({kReceiver, kPlayer}, 3), 5);
    EXPECT_EQ(OnPort({kReceiver, kPlayer}, kNoHdmiInput), 5);
    EXPECT_EQ(Behind({kReceiver, kPlayer}, 3), std::vector<int>{8});
}

TEST(Topology, TakesTheOnlyDeviceWhereverItIs)
{
    EXPECT_EQ(OnPort({kPlayer}, 1), 8);
    EXPECT_EQ(OnPort({At(4, std::nullopt)}, 2), 4);
    EXPECT_EQ(Behind({kPlayer}, 1), std::vector<int>{});
}

TEST(Topology, TakesNoneWhereItCannotBeTold)
{
    EXPECT_EQ(OnPort({}, 1), -1);
    EXPECT_EQ(OnPort({kPlayer, At(9, 0x1200)}, 1), -1);
    EXPECT_EQ(OnPort({At(4, 0x1000), At(5, 0x2000)}, 3), -1);
    EXPECT_EQ(Behind({kPlayer, At(9, 0x1200)}, 1), (std::vector<int>{8, 9}));
}

TEST(Topology, CountsADeviceWithTwoLogicalAddressesOnce)
{
    EXPECT_EQ(OnPort({At(1, 0x1000), At(3, 0x1000), kPlayer}, 1), 1);
    EXPECT_EQ(Behind({At(1, 0x1000), At(3, 0x1000), kPlayer}, 1), std::vector<int>{8});
}

TEST(Topology, NeverTakesTheTv) { EXPECT_EQ(OnPort({At(1, 0x0000), kReceiver}, kNoHdmiInput), 5); }

TEST(Topology, WritesAddressesAndVendorIdsAsTheyAreSpoken)
{
    EXPECT_EQ(PhysicalAddressText(0x1000), "1.0.0.0");
    EXPECT_EQ(PhysicalAddressText(0xf21a), "f.2.1.a");
    EXPECT_EQ(VendorIdText(0x001a2b), "001a2b");
}

}  // namespace
}  // namespace srcwatch
