// SPDX-License-Identifier: Apache-2.0
#include "Statistics.h"

#include "srcwatch-protocol.h"

#include <sstream>

#include <gtest/gtest.h>
#include <json/json.h>

namespace srcwatch {
namespace {

Json::Value Parsed(const std::string& text)
{
    Json::Value document;
    std::istringstream(text) >> document;
    return document;
}

Json::Value EntriesOf(const Statistics& statistics) { return Parsed(statistics.Text())["Auto"]; }

Classification Device(const std::string& vendor, const std::string& product, const std::string& aksv)
{
    Classification device;
    device.deviceType = 6;
    device.method = DetectionMethod::kSpd;
    device.deviceTypeText = "GAME";
    device.manufacturerName = device.brandName = vendor;
    device.modelName = device.deviceName = product;
    device.aksv = aksv;
    return device;
}

Classification OnlyCec(const std::string& osdName, const std::string& vendorId)
{
    Classification device;
    device.deviceType = 5;
    device.cecName = osdName;
    device.vendorId = vendorId;
    return device;
}

const Classification kConsole = Device("ACME", "Console", "aksv000001");
const Classification kPlayer = Device("ACME", "Player", "");
const Classification kNameless = Device("", "", "");

class Memory : public testing::Test {
protected:
    void Seen(int port, const Classification& device) { m_statistics.Add(port, device, 1); }
    Past Appears(int port, const Classification& device) const
    {
        return m_statistics.FindPast(port, IdentityOf(device), [this](int other) { return other == m_occupied; });
    }

    Statistics m_statistics;
    int m_occupied = -1;
};

testing::AssertionResult Is(const Past& past, int previousPort, int changed)
{
    if (past.previousPort == previousPort && past.changed == changed) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "previous port " << past.previousPort << ", changed " << past.changed;
}

TEST(Statistics, AreWrittenInTheFormThatTheLibraryReads)
{
    Statistics statistics;
    Classification device = kConsole;
    device.cecName = "Acme";
    device.vendorId = "001a2b";
    statistics.Add(3, device, 150);

    const Json::Value entry = EntriesOf(statistics)[0];

    EXPECT_EQ(entry["port"].asInt(), 3);
    EXPECT_EQ(entry["pri"].asInt(), 2);
    EXPECT_EQ(entry["t"].asInt(), 150);
    ASSERT_EQ(entry["spd"].size(), 3U);
    EXPECT_EQ(entry["spd"][0].asString(), "ACME");
    EXPECT_EQ(entry["spd"][1].asString(), "Console");
    EXPECT_EQ(entry["spd"][2].asString(), "Acme");
    ASSERT_EQ(entry["result"].size(), 3U);
    EXPECT_EQ(entry["result"][0].asString(), "Console");
    EXPECT_EQ(entry["result"][1].asString(), "ACME");
    EXPECT_EQ(entry["result"][2].asString(), "GAME");
    EXPECT_EQ(entry["aksv"].asString(), "aksv000001");
    EXPECT_EQ(entry["vendor_id"].asString(), "001a2b");
}

TEST(Statistics, NameTheProviderOfASetTopBoxAsItsResult)
{
    Statistics statistics;
    Classification device = Device("ACME", "Box", "");
    device.deviceType = 1;
    device.providerName = "Volt TV";
    statistics.Add(0, device, 1);

    EXPECT_EQ(EntriesOf(statistics)[0]["result"][0].asString(), "Volt TV");
}

Classification WithPlayerBehind(Classification device)
{
    CecDevice player;
    player.logicalAddress = 8;
    player.physicalAddress = 0x1100;
    player.osdName = "Player";
    player.vendorId = 0x001a2b;
    player.primaryDeviceType = 4;
    device.behind = {player};
    return device;
}

TEST(Statistics, ListTheDevicesBehindTheOneOnThePort)
{
    Statistics statistics;
    statistics.Add(0, WithPlayerBehind(kConsole), 1);
    statistics.Add(1, kPlayer, 1);

    const Json::Value behind = statistics.BehindOn(0);

    ASSERT_EQ(behind.size(), 1U);
    EXPECT_EQ(behind[0], Parsed(R"({"logical_address": 8, "physical_address": "1.1.0.0", "osd_name": "Player",
                                    "vendor_id": "001a2b", "device_type": "Playback device"})"));
    EXPECT_FALSE(EntriesOf(statistics)[1].isMember("behind"));
    EXPECT_EQ(statistics.BehindOn(1), Json::Value(Json::arrayValue));
    EXPECT_EQ(statistics.BehindOn(2), Json::Value(Json::arrayValue));
}

TEST(Statistics, FollowWhatARecordDoesNotHave)
{
    Statistics statistics;
    statistics.Add(0, kConsole, 1);
    statistics.Add(1, kConsole, 1);

    EXPECT_TRUE(statistics.Refresh(0, WithPlayerBehind(kConsole)));
    EXPECT_FALSE(statistics.Refresh(0, WithPlayerBehind(kConsole)));
    EXPECT_EQ(statistics.BehindOn(0).size(), 1U);
    EXPECT_TRUE(statistics.Refresh(0, kConsole));
    EXPECT_EQ(statistics.BehindOn(0).size(), 0U);
    EXPECT_FALSE(statistics.Refresh(2, kConsole));
    EXPECT_EQ(EntriesOf(statistics).size(), 2U);
}

TEST(Statistics, KeepTheLastEightOfEachPort)
{
    Statistics statistics;
    statistics.Add(1, kPlayer, 77);
    for (int i = 0; i < 20; ++i) statistics.Add(0, kConsole, i);

    const Json::Value entries = EntriesOf(statistics);

    ASSERT_EQ(entries.size(), 9U);
    EXPECT_EQ(entries[0]["t"].asInt(), 77);
    EXPECT_EQ(entries[1]["t"].asInt(), 12);
    EXPECT_EQ(entries[8]["t"].asInt(), 19);
}

TEST(Statistics, SurviveBeingStored)
{
    Statistics statistics;
    statistics.Add(0, kConsole, 5);

    EXPECT_EQ(Statistics(Parsed(statistics.Text())).Text(), statistics.Text());
}

TEST(Statistics, PassOverEntriesThatSomebodyElseWrote)
{
    Statistics statistics(Parsed(R"({"Auto": [null, 5, [], {"port": "x"}, {"port": 1, "spd": 7, "aksv": {}},
                                               {"port": 1, "spd": [1, 2, 3]}, {"port": 99999999999}]})"));
    statistics.Add(1, kConsole, 1);

    EXPECT_TRUE(Is(statistics.FindPast(0, IdentityOf(kConsole), [](int) { return false; }), 1, SRCWATCH_CHANGED_MOVED));
    EXPECT_EQ(EntriesOf(statistics).size(), 8U);
}

TEST_F(Memory, HoldsTheFirstDeviceForNew) { EXPECT_TRUE(Is(Appears(0, kConsole), -1, SRCWATCH_CHANGED_NEW)); }

TEST_F(Memory, KnowsADeviceThatComesBack)
{
    Seen(0, kConsole);

    EXPECT_TRUE(Is(Appears(0, kConsole), -1, SRCWATCH_CHANGED_NOT));
}

TEST_F(Memory, HoldsAnotherDeviceForNew)
{
    Seen(0, kConsole);
    Seen(0, kPlayer);

    EXPECT_TRUE(Is(Appears(0, kConsole), -1, SRCWATCH_CHANGED_NEW));
}

TEST_F(Memory, KnowsADeviceThatMoved)
{
    Seen(2, kConsole);
    Seen(0, kPlayer);

    EXPECT_TRUE(Is(Appears(0, kConsole), 2, SRCWATCH_CHANGED_MOVED));
    EXPECT_TRUE(Is(Appears(5, kPlayer), 0, SRCWATCH_CHANGED_MOVED));
}

TEST_F(Memory, KnowsWhereAReturningDeviceWasBefore)
{
    Seen(2, kConsole);
    Seen(0, kConsole);

    EXPECT_TRUE(Is(Appears(0, kConsole), 2, SRCWATCH_CHANGED_NOT));
}

TEST_F(Memory, HoldsADeviceThatMovedBackForMoved)
{
    Seen(0, kConsole);
    Seen(2, kConsole);

    EXPECT_TRUE(Is(Appears(0, kConsole), 2, SRCWATCH_CHANGED_MOVED));
}

TEST_F(Memory, NamesTheLastOfSeveralPorts)
{
    Seen(1, kConsole);
    Seen(2, kConsole);
    Seen(3, kConsole);

    EXPECT_TRUE(Is(Appears(0, kConsole), 3, SRCWATCH_CHANGED_MOVED));
}

TEST_F(Memory, DoesNotTakeADeviceFromAPortThatStillHasIt)
{
    Seen(2, kConsole);
    m_occupied = 2;

    EXPECT_TRUE(Is(Appears(0, kConsole), -1, SRCWATCH_CHANGED_NEW));
}

TEST_F(Memory, KnowsADeviceByItsAksvAlone)
{
    Seen(2, kConsole);

    EXPECT_TRUE(Is(Appears(0, Device("", "", "aksv000001")), 2, SRCWATCH_CHANGED_MOVED));
}

TEST_F(Memory, KnowsADeviceByVendorAndProductAlone)
{
    Seen(2, kConsole);

    EXPECT_TRUE(Is(Appears(0, Device("ACME", "Console", "")), 2, SRCWATCH_CHANGED_MOVED));
    EXPECT_TRUE(Is(Appears(0, Device("ACME", "", "")), -1, SRCWATCH_CHANGED_NEW));
}

TEST_F(Memory, KnowsDevicesThatHaveOnlyCecByTheirNames)
{
    const Classification box = OnlyCec("Box", "001a2b");
    Seen(0, box);

    EXPECT_TRUE(Is(Appears(0, box), -1, SRCWATCH_CHANGED_NOT));
    EXPECT_TRUE(Is(Appears(0, OnlyCec("Tuner", "00903e")), -1, SRCWATCH_CHANGED_NEW));
    EXPECT_TRUE(Is(Appears(0, OnlyCec("Box", "00903e")), -1, SRCWATCH_CHANGED_NEW));
    EXPECT_TRUE(Is(Appears(1, box), 0, SRCWATCH_CHANGED_MOVED));
}

TEST_F(Memory, NeverFollowsADeviceWithoutAnyIdentity)
{
    Seen(2, kNameless);
    Seen(0, kNameless);

    EXPECT_TRUE(Is(Appears(1, kNameless), -1, SRCWATCH_CHANGED_NEW));
    EXPECT_TRUE(Is(Appears(0, kNameless), -1, SRCWATCH_CHANGED_NEW));
}

}  // namespace
}  // namespace srcwatch
