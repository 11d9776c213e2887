// SPDX-License-Identifier: Apache-2.0
#include "PortProgress.h"

#include <gtest/gtest.h>

namespace {

using panel::PortProgress;

TEST(PanelPortProgress, GoesFromEmptyToDetected)
{
    PortProgress port;
    port.Update({false, false, false}, 0);
    EXPECT_STREQ(port.State(), "empty");

    port.Update({true, false, false}, 10);
    EXPECT_STREQ(port.State(), "plugged");
    port.Update({true, true, false}, 12);
    EXPECT_STREQ(port.State(), "reading");
    port.Update({true, true, true}, 15);

    EXPECT_STREQ(port.State(), "detected");
    EXPECT_EQ(port.Milliseconds(), 5);
}

TEST(PanelPortProgress, HasNoTimeForADeviceThatWasThereBefore)
{
    PortProgress port;
    port.Update({true, true, true}, 10);

    EXPECT_STREQ(port.State(), "detected");
    EXPECT_FALSE(port.Milliseconds().has_value());
}

TEST(PanelPortProgress, ForgetsTheTimeWithTheDevice)
{
    PortProgress port;
    port.Update({true, false, false}, 10);
    port.Update({true, true, true}, 15);
    port.Update({false, false, false}, 20);
    EXPECT_FALSE(port.Milliseconds().has_value());

    port.Update({true, false, false}, 30);
    port.Update({true, true, true}, 37);

    EXPECT_EQ(port.Milliseconds(), 7);
}

TEST(PanelPortProgress, BeginsAgainWithADeviceThatTakesThePlace)
{
    PortProgress port;
    port.Update({false, false, false}, 0);
    port.Update({true, false, false}, 10);
    port.Update({true, true, true}, 15);
    port.Update({false, false, true}, 20);  // the record is not cleared yet
    port.Update({true, false, true}, 21);
    EXPECT_FALSE(port.Milliseconds().has_value());
    port.Update({true, false, false}, 22);
    port.Update({true, true, true}, 30);

    EXPECT_EQ(port.Milliseconds(), 9);
}

TEST(PanelPortProgress, KnowsWhetherTheDeviceCameBeforeIt)
{
    PortProgress before;
    before.Update({true, true, true}, 0);
    PortProgress since;
    since.Update({false, false, false}, 0);
    since.Update({true, true, true}, 1);

    EXPECT_FALSE(before.IsFromHere());
    EXPECT_TRUE(since.IsFromHere());
    EXPECT_FALSE(since.Milliseconds().has_value());
}

TEST(PanelPortProgress, KeepsTheTimeWhileTheDeviceStays)
{
    PortProgress port;
    port.Update({false, true, false}, 10);
    port.Update({false, true, true}, 15);
    port.Update({false, true, true}, 99);

    EXPECT_EQ(port.Milliseconds(), 5);
}

}  // namespace
