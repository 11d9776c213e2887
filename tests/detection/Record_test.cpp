// SPDX-License-Identifier: Apache-2.0
#include "Record.h"

#include "srcwatch-protocol.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

Classification Device(const std::string& product)
{
    Classification device;
    device.deviceType = 6;
    device.manufacturerName = "ACME";
    device.modelName = product;
    return device;
}

Statistics Seen(int port, const Classification& device)
{
    Statistics statistics;
    statistics.Add(port, device, 1);
    return statistics;
}

bool Nowhere(int /*port*/) { return false; }

TEST(Record, DiffersByEachOfItsParts)
{
    const Record record;
    Record device = record;
    device.device.cecName = "Acme";
    Record count = record;
    count.changed = 1;

    EXPECT_TRUE(record == Record());
    EXPECT_FALSE(record == device);
    EXPECT_FALSE(record == count);
}

TEST(Record, OfANewDeviceTakesItsPastFromTheStatistics)
{
    Record before;
    before.device = Device("Player");
    before.denyCount = 3;
    before.scanState = SRCWATCH_SCAN_FOUND;
    before.changed = SRCWATCH_CHANGED_NEW;

    const Record record = ComposeRecord(0, before, Device("Console"), Seen(2, Device("Console")), Nowhere);

    EXPECT_EQ(record.device.modelName, "Console");
    EXPECT_EQ(record.denyCount, 3);
    EXPECT_EQ(record.scanState, SRCWATCH_SCAN_FOUND);
    EXPECT_EQ(record.previousPort, 2);
    EXPECT_EQ(record.changed, SRCWATCH_CHANGED_MOVED);
}

TEST(Record, OfTheSameDeviceKeepsItsPast)
{
    Record before;
    before.device = Device("Console");
    before.previousPort = 3;
    before.changed = SRCWATCH_CHANGED_NEW;
    Classification better = Device("Console");
    better.deviceName = "The Console";

    const Record record = ComposeRecord(0, before, better, Seen(2, better), Nowhere);

    EXPECT_EQ(record.device.deviceName, "The Console");
    EXPECT_EQ(record.previousPort, 3);
    EXPECT_EQ(record.changed, SRCWATCH_CHANGED_NEW);
}

TEST(Record, TakesThePastOfANewDeviceFromTheStatistics)
{
    const Record record = ComposeRecord(0, Record(), Device("Console"), Seen(0, Device("Console")), Nowhere);

    EXPECT_EQ(record.previousPort, -1);
    EXPECT_EQ(record.changed, SRCWATCH_CHANGED_NOT);
}

TEST(Record, DoesNotTakeADeviceFromAPortThatStillHasIt)
{
    const Record record =
        ComposeRecord(0, Record(), Device("Console"), Seen(2, Device("Console")), [](int port) { return port == 2; });

    EXPECT_EQ(record.previousPort, -1);
    EXPECT_EQ(record.changed, SRCWATCH_CHANGED_NEW);
}

}  // namespace
}  // namespace srcwatch
