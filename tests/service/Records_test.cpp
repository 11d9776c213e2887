// SPDX-License-Identifier: Apache-2.0
#include "Records.h"

#include "CountedStore.h"
#include "RoomTest.h"

#include <vconf.h>

namespace srcwatch_test {
namespace {

class RecordsTest : public RoomTest {};

TEST_F(RecordsTest, AreSavedWhenTheyDiffer)
{
    EXPECT_TRUE(m_records.Set(1, RecordOfType(6)));
    EXPECT_FALSE(m_records.Set(1, RecordOfType(6)));
    EXPECT_TRUE(m_records.Set(SRCWATCH_PORT_OPTICAL, RecordOfType(4)));

    EXPECT_EQ(StoredRecord(1)["DevType"], 6);
    EXPECT_EQ(StoredRecord(SRCWATCH_PORT_OPTICAL)["DevType"], 4);
    EXPECT_EQ(m_records.Get(0).device.deviceType, 0);
    EXPECT_EQ(m_records.Get(SRCWATCH_PORT_OPTICAL).device.deviceType, 4);
}

TEST_F(RecordsTest, KeepTheDenyCountWhenCleared)
{
    srcwatch::Record record = RecordOfType(6);
    record.denyCount = 2;
    static_cast<void>(m_records.Set(1, record));

    m_records.Clear(1);

    EXPECT_FALSE(m_records.Get(1).HasDevice());
    EXPECT_EQ(StoredRecord(1)["DenyCount"], 2);
}

// The first of two notices comes when the second write is stored already.
TEST_F(RecordsTest, KnowTheirOwnWritesByOneReadForEachNotice)
{
    static_cast<void>(m_records.Set(1, RecordOfType(6)));
    static_cast<void>(m_records.Set(1, RecordOfType(3)));
    TheStoreReads() = {};

    m_records.HandleWritten();
    m_records.HandleWritten();

    EXPECT_EQ(m_records.Get(1).device.deviceType, 3);
    EXPECT_EQ(TheStoreReads().texts, (std::map<std::string, int>{{kActivityKey, 2}}));
}

TEST_F(RecordsTest, TakeOverWhatAnotherProcessWrote)
{
    static_cast<void>(m_records.Set(0, RecordOfType(6)));
    vconf_set_str(kActivityKey, R"({"activity":[{},{"DevType":3,"DevName":"Theirs"}]})");

    m_records.HandleWritten();

    EXPECT_FALSE(m_records.Get(0).HasDevice());
    EXPECT_EQ(m_records.Get(1).device.deviceName, "Theirs");
    static_cast<void>(m_records.Set(2, RecordOfType(9)));
    EXPECT_EQ(StoredRecord(1)["DevName"], "Theirs");
}

TEST_F(RecordsTest, RestoreWhatAnotherProcessSpoilt)
{
    static_cast<void>(m_records.Set(0, RecordOfType(6)));
    vconf_set_str(kActivityKey, R"({"activity":[[]]})");

    m_records.HandleWritten();

    EXPECT_EQ(StoredRecord(0)["DevType"], 6);
    EXPECT_EQ(TextSetting(std::string(kActivityKey) + ".unreadable"), R"({"activity":[[]]})");
}

class UnreadableRecords : public RoomTest {
protected:
    void SetUp() override
    {
        vconf_set_str(kActivityKey, R"({"activity":[{"DevType":6},[]]})");
        RoomTest::SetUp();
    }
};

TEST_F(UnreadableRecords, AreKeptAsideAndReplaced)
{
    EXPECT_EQ(m_records.Get(0).device.deviceType, 6);
    EXPECT_EQ(TextSetting(std::string(kActivityKey) + ".unreadable"), R"({"activity":[{"DevType":6},[]]})");
    EXPECT_EQ(StoredRecord(0)["DevType"], 6);
    EXPECT_EQ(StoredRecord(1)["DevType"], 0);
}

}  // namespace
}  // namespace srcwatch_test
