// SPDX-License-Identifier: Apache-2.0
//
// Runs with several numbers of HDMI inputs; the tests of the class's HDMI records loop over those there are.
#include "QDInfoData.h"

#include "QDInfoCommon.h"
#include "TestPlatform.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>

#include <json/json.h>

namespace {

using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoData;
using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::PlatformTest;
using testing::ElementsAre;
using testing::IsEmpty;

using GetNumber = int (CQDInfoData::*)(int);
using SetNumber = bool (CQDInfoData::*)(int, int);
using GetText = const char* (CQDInfoData::*)(int);
using SetText = bool (CQDInfoData::*)(const char*, int);

struct NumberField {
    const char* key;
    GetNumber get;
    SetNumber set;
};

struct TextField {
    const char* key;
    GetText get;
    SetText set;
    const char* logged;            // what the record's getter logs in front of the text; null when it logs nothing
    const char* opticalGetterLog;  // what the table's own getter and setter log for port 99; null when nothing
    const char* opticalSetterLog;
};

const NumberField kNumbers[] = {
    {"DevType", &CQDInfoData::GetDeviceType, &CQDInfoData::SetDeviceType},
    {"DenyCount", &CQDInfoData::GetDenyCount, &CQDInfoData::SetDenyCount},
    {"ScanState", &CQDInfoData::GetScanState, &CQDInfoData::SetScanState},
    {"DMethod", &CQDInfoData::GetDetectionMethod, &CQDInfoData::SetDetectionMethod},
    {"PrevPort", &CQDInfoData::GetPrevPort, &CQDInfoData::SetPrevPort},
    {"Changed", &CQDInfoData::GetChangedType, &CQDInfoData::SetChangedType},
};

const TextField kTexts[] = {
    {"BName", &CQDInfoData::GetBrandName, &CQDInfoData::SetBrandName, "GetBrandName: brand name is ", nullptr, nullptr},
    {"DevName", &CQDInfoData::GetDeviceName, &CQDInfoData::SetDeviceName, "GetDeviceName: device name is ", nullptr,
     nullptr},
    {"PRName", &CQDInfoData::GetProviderName, &CQDInfoData::SetProviderName, "GetProviderName: provider name is ",
     "GetProviderName: GetProviderName called for Optical", "SetProviderName: SetProviderName called for Optical"},
    {"CName", &CQDInfoData::GetCodesetName, &CQDInfoData::SetCodesetName, "GetCodesetName: codeset name is ", nullptr,
     nullptr},
    {"CDevName", &CQDInfoData::GetCECDeviceName, &CQDInfoData::SetCECDeviceName,
     "GetCECDeviceName: cec device name is ", "GetCECDeviceName: GetCECDeviceName called for Optical",
     "SetCECDeviceName: SetCECDeviceName called for Optical"},
    {"AKSV", &CQDInfoData::GetAKSVKey, &CQDInfoData::SetAKSVKey, "GetAKSVKey: aksv key name is ", nullptr, nullptr},
    {"UnknownType", &CQDInfoData::GetUnknownType, &CQDInfoData::SetUnknownType, "GetUnknownType: Unknown Process ",
     nullptr, nullptr},
    {"MFName", &CQDInfoData::GetManufacturerName, &CQDInfoData::SetManufacturerName,
     "GetManufacturerName: Manufacturer name (Infoframe Vendor brand) is ", nullptr, nullptr},
    {"ModelName", &CQDInfoData::GetModelName, &CQDInfoData::SetModelName,
     "GetModelName: Model name (Infoframe Model) is ", nullptr, nullptr},
    {"CECName", &CQDInfoData::GetCECName, &CQDInfoData::SetCECName, "GetCECName: CEC name is ", nullptr, nullptr},
    {"sDevType", &CQDInfoData::GetStrDeviceType, &CQDInfoData::SetStrDeviceType, nullptr, nullptr, nullptr},
};

static_assert(std::size(kNumbers) + std::size(kTexts) == 17, "all fields but the port number");

const std::string kTableFile = "E QDInfoData.cpp ";

std::string TextOf(const char* key, int port) { return std::string(key) + " of port " + std::to_string(port); }

Json::Value HdmiDocumentOf(CQDInfoData& table)
{
    Json::Value root;
    EXPECT_TRUE(table.GetActivityInfoToStream(root));
    return root;
}

Json::Value OpticalDocumentOf(CQDInfoData& table)
{
    Json::Value root;
    EXPECT_TRUE(table.GetOpticalActivityInfoToStream(root));
    return root;
}

Json::Value DefaultRecord()
{
    Json::Value record;
    EXPECT_TRUE(CQDInfoActivityInfo().Write(record));
    return record;
}

std::size_t RecordsOf(CQDInfoData& table) { return HdmiDocumentOf(table)["activity"].size(); }

std::string WhatOf(const std::function<void()>& failing)
{
    try {
        failing();
    } catch (const Json::Exception& e) {
        return e.what();
    }
    return "nothing was thrown";
}

Json::Value Parse(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) << text;
    return root;
}

class ActivityTable : public PlatformTest {
protected:
    static std::size_t HdmiInputs() { return HDMI_PORT_COUNT > 0 ? static_cast<std::size_t>(HDMI_PORT_COUNT) : 0U; }

    // The HDMI ports of the TV, and the optical one.
    static std::vector<int> AllPorts()
    {
        std::vector<int> ports = {OPTICAL_PORT};
        for (int port = 0; port < HDMI_PORT_COUNT; ++port) ports.push_back(port);
        return ports;
    }

    static std::vector<int> PortsOutside()
    {
        const int size = static_cast<int>(HdmiInputs());
        return {-1, -2, -99, size, size + 1, size + 50, 98, 100, INT_MAX, INT_MIN};
    }

    // Gives every field of every record its own value.
    void GivenFilledTable()
    {
        Json::Value empty(Json::objectValue);
        table.SetActivityInfoFromStream(empty);
        for (const int port : AllPorts()) {
            for (const NumberField& field : kNumbers) (table.*field.set)(NumberOf(field, port), port);
            for (const TextField& field : kTexts) (table.*field.set)(TextOf(field.key, port).c_str(), port);
            table.SetPortNumber(port);
        }
        platform.sequence.clear();
        platform.log.clear();
    }

    static int NumberOf(const NumberField& field, int port)
    {
        return static_cast<int>(&field - kNumbers) * 1000 + port;
    }

    static Json::Value FilledRecord(int port)
    {
        Json::Value record(Json::objectValue);
        for (const NumberField& field : kNumbers) record[field.key] = NumberOf(field, port);
        for (const TextField& field : kTexts) record[field.key] = TextOf(field.key, port);
        record["PortNum"] = port;
        return record;
    }

    // As the documents show it.
    Json::Value RecordOf(int port)
    {
        if (port == OPTICAL_PORT) return OpticalDocumentOf(table)["activity"];
        return HdmiDocumentOf(table)["activity"][port];
    }

    CQDInfoData table;
};

// For what can only be seen on a TV with HDMI inputs.
class ActivityTableWithInputs : public ActivityTable {
protected:
    void SetUp() override
    {
        if (HdmiInputs() == 0) GTEST_SKIP() << "needs an HDMI input";
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// Making and growing

TEST_F(ActivityTable, RunsWithTheGivenNumberOfInputs) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

TEST_F(ActivityTable, StartsWithoutHdmiRecordsAndWithADefaultOpticalOne)
{
    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_EQ(RecordsOf(table), 0U);
    EXPECT_EQ(OpticalDocumentOf(table)["activity"], DefaultRecord());
}

TEST_F(ActivityTable, GetsOneDefaultRecordPerInput)
{
    EXPECT_TRUE(table.CreateAndAddNewActivity());

    EXPECT_THAT(platform.sequence,
                ElementsAre("D QDInfoData.cpp CreateAndAddNewActivity:  CQDInfoData::CreateAndAddNewActivity "));
    const Json::Value document = HdmiDocumentOf(table);
    ASSERT_EQ(RecordsOf(table), HdmiInputs());
    for (std::size_t i = 0; i < HdmiInputs(); ++i) {
        EXPECT_EQ(document["activity"][static_cast<Json::ArrayIndex>(i)], DefaultRecord()) << i;
    }
}

TEST_F(ActivityTable, IsDoubledWhenItIsFilledTwice)
{
    GivenFilledTable();
    const Json::Value before = HdmiDocumentOf(table);

    EXPECT_TRUE(table.CreateAndAddNewActivity());

    const Json::Value after = HdmiDocumentOf(table);
    ASSERT_EQ(RecordsOf(table), 2 * HdmiInputs());
    for (std::size_t i = 0; i < HdmiInputs(); ++i) {
        const auto index = static_cast<Json::ArrayIndex>(i);
        EXPECT_EQ(after["activity"][index], before["activity"][index]) << i;
        EXPECT_EQ(after["activity"][static_cast<Json::ArrayIndex>(i + HdmiInputs())], DefaultRecord()) << i;
    }
}

TEST_F(ActivityTable, GetsADefaultOpticalRecordWhenItIsFilled)
{
    GivenFilledTable();

    table.CreateAndAddNewActivity();

    EXPECT_EQ(OpticalDocumentOf(table)["activity"], DefaultRecord());
}

// ---------------------------------------------------------------------------------------------------------------------
// Fields

TEST_F(ActivityTable, KeepsEachFieldOfEachPortApart)
{
    GivenFilledTable();

    for (const int port : AllPorts()) {
        for (const NumberField& field : kNumbers) {
            EXPECT_EQ((table.*field.get)(port), NumberOf(field, port)) << field.key << port;
        }
        for (const TextField& field : kTexts) {
            EXPECT_EQ((table.*field.get)(port), TextOf(field.key, port)) << field.key << port;
        }
        EXPECT_EQ(table.GetPortNumber(port), port);
    }
}

TEST_F(ActivityTable, StoresEachFieldUnderItsKey)
{
    GivenFilledTable();

    const Json::Value document = HdmiDocumentOf(table);
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) EXPECT_EQ(document["activity"][port], FilledRecord(port));
    EXPECT_EQ(OpticalDocumentOf(table)["activity"], FilledRecord(OPTICAL_PORT));
}

TEST_F(ActivityTable, ReturnsTrueFromEverySetter)
{
    table.CreateAndAddNewActivity();

    for (const int port : AllPorts()) {
        for (const NumberField& field : kNumbers) EXPECT_TRUE((table.*field.set)(1, port)) << field.key;
        for (const TextField& field : kTexts) {
            EXPECT_TRUE((table.*field.set)("text", port)) << field.key;
            EXPECT_TRUE((table.*field.set)("", port)) << field.key;
            EXPECT_TRUE((table.*field.set)(nullptr, port)) << field.key;
        }
        EXPECT_TRUE(table.SetPortNumber(port));
    }
}

TEST_F(ActivityTable, IgnoresNullAndEmptyTextsExceptForTheCodeset)
{
    GivenFilledTable();

    for (const int port : AllPorts()) {
        for (const TextField& field : kTexts) {
            (table.*field.set)(nullptr, port);
            EXPECT_EQ((table.*field.get)(port), TextOf(field.key, port)) << field.key;
            (table.*field.set)("", port);
            const bool isCodeset = std::string(field.key) == "CName";
            EXPECT_EQ((table.*field.get)(port), isCodeset ? "" : TextOf(field.key, port)) << field.key;
        }
    }
}

TEST_F(ActivityTable, LogsOnlyTextGettersForHdmiPorts)
{
    GivenFilledTable();

    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        for (const TextField& field : kTexts) {
            platform.sequence.clear();
            (table.*field.set)(TextOf(field.key, port).c_str(), port);
            EXPECT_THAT(platform.sequence, IsEmpty()) << field.key;
            (table.*field.get)(port);
            std::vector<std::string> expected;
            if (field.logged != nullptr) {
                expected.push_back(std::string("D QDInfoActivityInfo.cpp ") + field.logged + TextOf(field.key, port));
            }
            EXPECT_EQ(platform.sequence, expected) << field.key;
        }
    }
}

TEST_F(ActivityTable, LogsTheFourTextAccessorsThatKnowTheOpticalSource)
{
    GivenFilledTable();

    for (const TextField& field : kTexts) {
        std::vector<std::string> expected;
        platform.sequence.clear();

        (table.*field.set)("optical", OPTICAL_PORT);
        if (field.opticalSetterLog != nullptr) expected.push_back(kTableFile + field.opticalSetterLog);
        EXPECT_EQ(platform.sequence, expected) << field.key;

        EXPECT_STREQ((table.*field.get)(OPTICAL_PORT), "optical") << field.key;
        if (field.opticalGetterLog != nullptr) expected.push_back(kTableFile + field.opticalGetterLog);
        if (field.logged != nullptr) {
            expected.push_back(std::string("D QDInfoActivityInfo.cpp ") + field.logged + "optical");
        }
        EXPECT_EQ(platform.sequence, expected) << field.key;
    }
}

TEST_F(ActivityTable, LogsNoNumber)
{
    GivenFilledTable();

    for (const int port : AllPorts()) {
        for (const NumberField& field : kNumbers) {
            (table.*field.set)(1, port);
            (table.*field.get)(port);
        }
        table.SetPortNumber(port);
        table.GetPortNumber(port);
    }

    EXPECT_THAT(platform.sequence, IsEmpty());
}

TEST_F(ActivityTable, SetsTheOpticalRecordAlsoWithoutHdmiRecords)
{
    table.SetCECDeviceName("Amplifier", OPTICAL_PORT);

    EXPECT_THAT(platform.sequence,
                ElementsAre("E QDInfoData.cpp SetCECDeviceName: SetCECDeviceName called for Optical"));
    EXPECT_STREQ(table.GetCECDeviceName(OPTICAL_PORT), "Amplifier");
}

// ---------------------------------------------------------------------------------------------------------------------
// Ports outside the table

TEST_F(ActivityTable, GivesDefaultsForPortsOutside)
{
    GivenFilledTable();

    for (const int port : PortsOutside()) {
        for (const NumberField& field : kNumbers) EXPECT_EQ((table.*field.get)(port), 0) << field.key << port;
        for (const TextField& field : kTexts) EXPECT_STREQ((table.*field.get)(port), "") << field.key << port;
        EXPECT_EQ(table.GetPortNumber(port), 0) << port;
    }
}

TEST_F(ActivityTable, TakesAndForgetsWhatIsSetForPortsOutside)
{
    GivenFilledTable();
    const Json::Value hdmi = HdmiDocumentOf(table);
    const Json::Value optical = OpticalDocumentOf(table);

    for (const int port : PortsOutside()) {
        for (const NumberField& field : kNumbers) {
            EXPECT_TRUE((table.*field.set)(5, port)) << field.key << port;
            EXPECT_EQ((table.*field.get)(port), 0) << field.key << port;
        }
        for (const TextField& field : kTexts) {
            EXPECT_TRUE((table.*field.set)("nowhere", port)) << field.key << port;
            EXPECT_STREQ((table.*field.get)(port), "") << field.key << port;
        }
        EXPECT_TRUE(table.SetPortNumber(port));
        EXPECT_EQ(table.GetPortNumber(port), 0) << port;
        table.ResetSourceInfo(port);
    }

    EXPECT_EQ(HdmiDocumentOf(table), hdmi);
    EXPECT_EQ(OpticalDocumentOf(table), optical);
}

TEST_F(ActivityTable, KeepsATextOfAPortOutsideWhenAnotherIsAskedFor)
{
    GivenFilledTable();
    const char* brand = table.GetBrandName(-1);
    const char* device = table.GetDeviceName(-1);

    EXPECT_STREQ(brand, "");
    EXPECT_STREQ(device, "");
}

TEST_F(ActivityTable, LetsThreadsUsePortsOutsideAtTheSameTime)
{
    GivenFilledTable();
    const char* there = nullptr;

    std::thread other([&] {
        for (int i = 0; i < 100; ++i) {
            table.SetBrandName("nowhere", -1);
            there = table.GetBrandName(-1);
        }
    });
    for (int i = 0; i < 100; ++i) {
        table.SetBrandName("nowhere", -1);
        EXPECT_STREQ(table.GetBrandName(-1), "");
    }
    other.join();

    EXPECT_STREQ(there, "");  // valid after the end of the thread that asked for it
}

TEST_F(ActivityTable, HasNoHdmiPortBeforeItIsFilled)
{
    EXPECT_TRUE(table.SetBrandName("nowhere", 0));
    EXPECT_STREQ(table.GetBrandName(0), "");
    EXPECT_EQ(table.GetDeviceType(0), 0);
    EXPECT_EQ(RecordsOf(table), 0U);
}

// ---------------------------------------------------------------------------------------------------------------------
// Resetting

TEST_F(ActivityTable, ResetsOnePortAndKeepsItsDenyCount)
{
    for (const int reset : AllPorts()) {
        GivenFilledTable();
        for (const int port : AllPorts()) table.SetDenyCount(3, port);

        table.ResetSourceInfo(reset);

        EXPECT_THAT(platform.sequence, ElementsAre("E QDInfoData.cpp m_ResetSourceInfo: Port(" + std::to_string(reset) +
                                                   ") Reset Source Info"));
        Json::Value expected = DefaultRecord();
        expected["DenyCount"] = 3;
        EXPECT_EQ(RecordOf(reset), expected) << reset;
        for (const int port : AllPorts()) {
            if (port == reset) continue;
            expected = FilledRecord(port);
            expected["DenyCount"] = 3;
            EXPECT_EQ(RecordOf(port), expected) << port;
        }
    }
}

TEST_F(ActivityTable, LogsTheResetOfAPortOutside)
{
    table.ResetSourceInfo(-7);

    EXPECT_THAT(platform.sequence, ElementsAre("E QDInfoData.cpp m_ResetSourceInfo: Port(-7) Reset Source Info"));
    EXPECT_EQ(platform.log.at(0).format, "%s: %s(%d) > <%ld> Port(%d) Reset Source Info\n");
}

// ---------------------------------------------------------------------------------------------------------------------
// HDMI records into a document

std::string SizeLine(std::size_t size)
{
    return "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = " + std::to_string(size) + " ";
}

TEST_F(ActivityTable, LeavesTheRootAsItIsWhenThereAreNoRecords)
{
    for (const Json::Value& given :
         {Json::Value(), Json::Value(5), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        Json::Value root = given;
        platform.sequence.clear();

        EXPECT_TRUE(table.GetActivityInfoToStream(root));

        EXPECT_EQ(root, given);
        EXPECT_EQ(root.type(), given.type());
        EXPECT_THAT(platform.sequence, ElementsAre(SizeLine(0)));
    }
}

TEST_F(ActivityTableWithInputs, WritesTheRecordsInPortOrderAndLogsTheirNumber)
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

TEST_F(ActivityTableWithInputs, KeepsOtherMembersAndElementsOfTheRoot)
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

TEST_F(ActivityTableWithInputs, RefusesARootThatCannotTakeTheRecords)
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

TEST_F(ActivityTable, ReplacesTheRecordsThatItHadAndNeverTheOpticalOne)
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

TEST_F(ActivityTableWithInputs, CompletesTheRootWithNullsAndLeavesItsElements)
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

TEST_F(ActivityTableWithInputs, KeepsADefaultRecordForAnElementThatIsNoObject)
{
    Json::Value root = Parse("{\"activity\":[5]}");

    EXPECT_TRUE(table.SetActivityInfoFromStream(root));

    EXPECT_EQ(RecordsOf(table), HdmiInputs());
    EXPECT_EQ(RecordOf(0), DefaultRecord());
    EXPECT_EQ(root["activity"][0], 5);
}

TEST_F(ActivityTableWithInputs, RefusesADocumentOfAnotherShapeAndIsThenEmpty)
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

TEST(ActivityTableInterface, HasItsVirtualFunctionsInOrderAfterTheTwoDestructors)
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
    explicit Store(int& alive) : m_alive(alive) { ++m_alive; }
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
    int alive = 0;
    const auto store = std::make_unique<Store>(alive);
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
    int alive = 0;
    std::unique_ptr<CQDInfoData> table = std::make_unique<Store>(alive);
    EXPECT_EQ(alive, 1);

    table.reset();

    EXPECT_EQ(alive, 0);
}

static_assert(std::has_virtual_destructor_v<CQDInfoData>);

}  // namespace
