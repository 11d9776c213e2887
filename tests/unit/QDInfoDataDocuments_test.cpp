// SPDX-License-Identifier: Apache-2.0
//
// The table of records to documents and back. Runs with several numbers of HDMI inputs; the tests of
// the class's HDMI records loop over those there are.
#include "ActivityTableTest.h"

#include <cstring>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// HDMI records into a document

std::string SizeLine(std::size_t size)
{
    return "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = " + std::to_string(size) + " ";
}

TEST_F(ActivityTable, LeavesTheRootAsItIsWhenThereAreNoRecords)
{
    for (const Json::Value& before :
         {Json::Value(), Json::Value(5), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        Json::Value root = before;
        platform.sequence.clear();

        EXPECT_TRUE(table.GetActivityInfoToStream(root));

        EXPECT_EQ(root, before);
        EXPECT_EQ(root.type(), before.type());
        EXPECT_THAT(platform.sequence, ElementsAre(SizeLine(0)));
    }
}

TEST_F(ActivityTableWithInputs, WritesRecordsInPortOrder)
{
    GivenFilledTable();
    Json::Value root;

    EXPECT_TRUE(table.GetActivityInfoToStream(root));

    EXPECT_THAT(platform.sequence, ElementsAre(SizeLine(HdmiInputs())));
    EXPECT_EQ(platform.log.at(0).format, "%s: %s(%d) > <%ld> t_ActivityInfo.size() = %zu \n");
    EXPECT_THAT(root.getMemberNames(), ElementsAre("activity"));
    ASSERT_TRUE(root["activity"].isArray());
    ASSERT_EQ(root["activity"].size(), HdmiInputs());
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) EXPECT_EQ(root["activity"][port], FilledRecord(port));
}

TEST_F(ActivityTableWithInputs, KeepsOtherPartsOfTheRoot)
{
    GivenFilledTable();
    Json::Value root;
    root["other"] = 1;
    root["activity"][HDMI_PORT_COUNT] = "beyond";

    EXPECT_TRUE(table.GetActivityInfoToStream(root));

    EXPECT_EQ(root["other"], 1);
    ASSERT_EQ(root["activity"].size(), HdmiInputs() + 1);
    EXPECT_EQ(root["activity"][HDMI_PORT_COUNT], "beyond");
    EXPECT_EQ(root["activity"][0], FilledRecord(0));
}

TEST_F(ActivityTableWithInputs, ReplacesTheElementsThatTheRootHad)
{
    GivenFilledTable();
    Json::Value root;
    root["activity"][0]["BName"] = "old";
    root["activity"][0]["Other"] = "old";

    EXPECT_TRUE(table.GetActivityInfoToStream(root));

    EXPECT_EQ(root["activity"][0], FilledRecord(0));
}

TEST_F(ActivityTableWithInputs, RefusesAnUnsuitableRoot)
{
    GivenFilledTable();
    for (const char* text : {"[]", "[1]", "5", "\"text\"", "true", "{\"activity\":{}}", "{\"activity\":7}"}) {
        Json::Value root = Parse(text);
        const std::string reason = WhatOf([&] { root["activity"][0]; });
        platform.sequence.clear();

        EXPECT_FALSE(table.GetActivityInfoToStream(root)) << text;

        EXPECT_EQ(root, Parse(text));
        EXPECT_THAT(platform.sequence, ElementsAre(SizeLine(HdmiInputs()),
                                                   "E QDInfoData.cpp GetActivityInfoToStream: Exception Handled by "
                                                   "GetActivityInfoToStream: " +
                                                       reason))
            << text;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Optical record into a document

TEST_F(ActivityTable, WritesTheOpticalRecordAsOneObject)
{
    GivenFilledTable();
    Json::Value root;

    EXPECT_TRUE(table.GetOpticalActivityInfoToStream(root));

    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_THAT(root.getMemberNames(), ElementsAre("activity"));
    EXPECT_EQ(root["activity"], FilledRecord(OPTICAL_PORT));
}

TEST_F(ActivityTable, ReplacesTheOpticalRecordThatTheRootHad)
{
    GivenFilledTable();
    Json::Value root = Parse("{\"activity\":[1,2,3],\"other\":1}");

    EXPECT_TRUE(table.GetOpticalActivityInfoToStream(root));

    EXPECT_EQ(root["activity"], FilledRecord(OPTICAL_PORT));
    EXPECT_EQ(root["other"], 1);
}

TEST_F(ActivityTable, RefusesARootThatCannotTakeTheOpticalRecord)
{
    for (const char* text : {"[]", "5", "\"text\"", "false"}) {
        Json::Value root = Parse(text);
        const std::string reason = WhatOf([&] { root["activity"]; });
        platform.sequence.clear();

        EXPECT_FALSE(table.GetOpticalActivityInfoToStream(root)) << text;

        EXPECT_EQ(root, Parse(text));
        // The text names the HDMI function.
        EXPECT_THAT(platform.sequence, ElementsAre("E QDInfoData.cpp GetOpticalActivityInfoToStream: Exception Handled "
                                                   "by GetActivityInfoToStream: " +
                                                   reason))
            << text;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Records from a document

TEST_F(ActivityTable, RestoresWhatItWrote)
{
    GivenFilledTable();
    Json::Value root = HdmiDocumentOf(table);
    CQDInfoData restored;
    platform.sequence.clear();

    EXPECT_TRUE(restored.SetActivityInfoFromStream(root));

    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_EQ(HdmiDocumentOf(restored), HdmiDocumentOf(table));
    EXPECT_EQ(OpticalDocumentOf(restored)["activity"], DefaultRecord());
}

TEST_F(ActivityTable, ReplacesItsRecordsAndNeverTheOpticalOne)
{
    GivenFilledTable();
    table.CreateAndAddNewActivity();
    table.SetBrandName("optical", OPTICAL_PORT);
    const Json::Value optical = OpticalDocumentOf(table);
    Json::Value root(Json::objectValue);

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) EXPECT_EQ(RecordOf(port), DefaultRecord());
    EXPECT_EQ(OpticalDocumentOf(table), optical);
}

TEST_F(ActivityTable, FillsMissingElementsWithDefaultRecords)
{
    Json::Value root = Parse("{\"activity\":[{\"PortNum\":0}]}");

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) EXPECT_EQ(RecordOf(port), DefaultRecord());
}

TEST_F(ActivityTable, IgnoresElementsBeyondTheInputs)
{
    Json::Value root;
    for (int i = 0; i < 12; ++i) root["activity"][i]["DevType"] = 100 + i;

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) EXPECT_EQ(table.GetDeviceType(port), 100 + port);
    EXPECT_EQ(root["activity"].size(), 12U);
}

TEST_F(ActivityTableWithInputs, AddsNullsToTheRootAndKeepsElements)
{
    Json::Value missing(Json::objectValue);
    Json::Value null;
    Json::Value element = Parse("{\"activity\":[{\"DevType\":5}],\"other\":1}");

    EXPECT_TRUE(table.SetActivityInfoFromStream(missing));
    EXPECT_TRUE(table.SetActivityInfoFromStream(null));
    EXPECT_TRUE(table.SetActivityInfoFromStream(element));

    EXPECT_EQ(missing["activity"].size(), HdmiInputs());
    for (const Json::Value& added : missing["activity"]) EXPECT_TRUE(added.isNull());
    EXPECT_EQ(null, missing);
    EXPECT_EQ(element["activity"].size(), HdmiInputs());
    EXPECT_EQ(element["activity"][0], Parse("{\"DevType\":5}"));
    EXPECT_EQ(element["other"], 1);
}

TEST_F(ActivityTableWithInputs, KeepsARecordThatCouldBeReadInPart)
{
    Json::Value root;
    const int last = HDMI_PORT_COUNT - 1;
    for (int port = 0; port <= last; ++port) root["activity"][port]["DevType"] = 100 + port;
    root["activity"][0]["BName"] = "read";
    root["activity"][0]["DevName"] = Json::arrayValue;
    root["activity"][0]["PRName"] = "never reached";

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(platform.LogOf(DLOG_ERROR).size(), 1U);
    EXPECT_THAT(platform.LogOf(DLOG_ERROR).at(0),
                testing::StartsWith("Read: Exception Handled by CQDInfoActivityInfo::Read: "));
    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    EXPECT_STREQ(table.GetBrandName(0), "read");
    EXPECT_STREQ(table.GetDeviceName(0), "");
    EXPECT_STREQ(table.GetProviderName(0), "");
    for (int port = 0; port <= last; ++port) EXPECT_EQ(table.GetDeviceType(port), 100 + port);
}

TEST_F(ActivityTableWithInputs, KeepsADefaultRecordForNonObjects)
{
    Json::Value root = Parse("{\"activity\":[5]}");

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    EXPECT_EQ(RecordOf(0), DefaultRecord());
    EXPECT_EQ(root["activity"][0], 5);
}

TEST_F(ActivityTableWithInputs, IsEmptyAfterAnotherShape)
{
    for (const char* text : {"[]", "5", "\"text\"", "true", "{\"activity\":{}}", "{\"activity\":{\"DevType\":1}}",
                             "{\"activity\":7}", "{\"activity\":\"text\"}"}) {
        GivenFilledTable();
        Json::Value root = Parse(text);
        const std::string reason = WhatOf([&] { root["activity"][0]; });

        EXPECT_FALSE(table.SetActivityInfoFromStream(root)) << text;

        EXPECT_THAT(platform.sequence, ElementsAre("E QDInfoData.cpp SetActivityInfoFromStream: Exception Handled by "
                                                   "SetActivityInfoFromStream: " +
                                                   reason))
            << text;
        EXPECT_EQ(RecordsOf(table), 0U);
        EXPECT_EQ(root, Parse(text));
    }
}

TEST_F(ActivityTable, TakesAnyDocumentWhenThereIsNoInput)
{
    if (HdmiInputs() != 0) GTEST_SKIP() << "needs a TV without HDMI inputs";
    for (const char* text : {"[]", "5", "{\"activity\":{}}", "{\"activity\":[{}]}"}) {
        Json::Value root = Parse(text);

        EXPECT_TRUE(table.SetActivityInfoFromStream(root)) << text;

        EXPECT_THAT(platform.sequence, IsEmpty());
        EXPECT_EQ(root, Parse(text));
        platform.sequence.clear();
        EXPECT_EQ(RecordsOf(table), 0U);
        platform.sequence.clear();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The store's interface

TEST_F(ActivityTable, DoesNothingInItsOwnStoreOperations)
{
    GivenFilledTable();
    const Json::Value hdmi = HdmiDocumentOf(table);
    platform.sequence.clear();
    Json::Value out = "untouched";

    EXPECT_FALSE(table.t_Initialize());
    table.t_UnInitialize();
    table.t_CheckAndSaveActivity(0);
    table.t_CheckAndSaveActivityWithNotify(OPTICAL_PORT);
    EXPECT_FALSE(table.t_LoadActivityInfoToMemory());
    EXPECT_FALSE(table.t_LoadPortJsonInfoToMemory(0, out));
    EXPECT_FALSE(table.t_LoadOpticalPortJsonInfoToMemory(OPTICAL_PORT, out));
    EXPECT_FALSE(table.t_LoadPortJsonKPIInfoToMemory(0, out));
    EXPECT_FALSE(table.t_LoadAllJsonKPIInfoToMemory(&out));
    EXPECT_FALSE(table.t_LoadAllJsonKPIInfoToMemory(nullptr));

    EXPECT_EQ(out, "untouched");
    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_EQ(HdmiDocumentOf(table), hdmi);
}

// A pointer to a virtual member function holds its place in the table of virtual functions.
template <typename Member>
std::size_t VirtualSlot(Member member)
{
    std::uintptr_t offset = 0;
    static_assert(sizeof(member) == 2 * sizeof(offset));
    std::memcpy(&offset, &member, sizeof(offset));
    return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(ActivityTableInterface, HasVirtualFunctionsAfterDestructors)
{
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_Initialize), 2U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_UnInitialize), 3U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_CheckAndSaveActivity), 4U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_CheckAndSaveActivityWithNotify), 5U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_LoadActivityInfoToMemory), 6U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_LoadPortJsonInfoToMemory), 7U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_LoadOpticalPortJsonInfoToMemory), 8U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_LoadPortJsonKPIInfoToMemory), 9U);
    EXPECT_EQ(VirtualSlot(&CQDInfoData::t_LoadAllJsonKPIInfoToMemory), 10U);
}

class Store : public CQDInfoData {
public:
    explicit Store(int& instances) : m_alive(instances) { ++m_alive; }
    ~Store() override { --m_alive; }

    bool t_Initialize() override { return Called("t_Initialize"); }
    void t_UnInitialize() override { Called("t_UnInitialize"); }
    void t_CheckAndSaveActivity(int port) override { Called("t_CheckAndSaveActivity", port); }
    void t_CheckAndSaveActivityWithNotify(int port) override { Called("t_CheckAndSaveActivityWithNotify", port); }
    bool t_LoadActivityInfoToMemory() override { return Called("t_LoadActivityInfoToMemory"); }
    bool t_LoadPortJsonInfoToMemory(int port, Json::Value& out) override { return Called("port", port, &out); }
    bool t_LoadOpticalPortJsonInfoToMemory(int port, Json::Value& out) override
    {
        return Called("optical", port, &out);
    }
    bool t_LoadPortJsonKPIInfoToMemory(int port, Json::Value& out) override { return Called("KPI", port, &out); }
    bool t_LoadAllJsonKPIInfoToMemory(Json::Value* out) override { return Called("all KPI", 0, out); }

    std::vector<std::string> calls;

private:
    bool Called(const char* name, int port = 0, Json::Value* out = nullptr)
    {
        calls.push_back(name + (" " + std::to_string(port)));
        if (out != nullptr) *out = name;
        return true;
    }

    int& m_alive;
};

TEST(ActivityTableInterface, ReachesADerivedStore)
{
    int instances = 0;
    const auto store = std::make_unique<Store>(instances);
    CQDInfoData& table = *store;
    Json::Value out;

    EXPECT_TRUE(table.t_Initialize());
    table.t_UnInitialize();
    table.t_CheckAndSaveActivity(1);
    table.t_CheckAndSaveActivityWithNotify(2);
    EXPECT_TRUE(table.t_LoadActivityInfoToMemory());
    EXPECT_TRUE(table.t_LoadPortJsonInfoToMemory(3, out));
    EXPECT_TRUE(table.t_LoadOpticalPortJsonInfoToMemory(4, out));
    EXPECT_TRUE(table.t_LoadPortJsonKPIInfoToMemory(5, out));
    EXPECT_TRUE(table.t_LoadAllJsonKPIInfoToMemory(&out));

    EXPECT_EQ(out, "all KPI");
    EXPECT_THAT(store->calls, ElementsAre("t_Initialize 0", "t_UnInitialize 0", "t_CheckAndSaveActivity 1",
                                          "t_CheckAndSaveActivityWithNotify 2", "t_LoadActivityInfoToMemory 0",
                                          "port 3", "optical 4", "KPI 5", "all KPI 0"));
}

TEST(ActivityTableInterface, DestroysADerivedStoreThroughTheBase)
{
    int instances = 0;
    std::unique_ptr<CQDInfoData> table = std::make_unique<Store>(instances);
    EXPECT_EQ(instances, 1);

    table.reset();

    EXPECT_EQ(instances, 0);
}

static_assert(std::has_virtual_destructor_v<CQDInfoData>);

}  // namespace
