// SPDX-License-Identifier: Apache-2.0
//
// The table of records in memory. Runs with several numbers of HDMI inputs; the tests of
// the class's HDMI records loop over those there are.
#include "ActivityTableTest.h"

#include <cstring>
#include <thread>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// Making and growing

TEST_F(ActivityTable, RunsWithTheExpectedNumberOfInputs) { EXPECT_EQ(HDMI_PORT_COUNT, ExpectedHdmiCount()); }

TEST_F(ActivityTable, StartsWithADefaultOpticalRecordAlone)
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

TEST_F(ActivityTable, LogsTheFourAccessorsThatKnowTheOpticalPort)
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

TEST_F(ActivityTable, HasDefaultsForPortsOutside)
{
    GivenFilledTable();

    for (const int port : PortsOutside()) {
        for (const NumberField& field : kNumbers) EXPECT_EQ((table.*field.get)(port), 0) << field.key << port;
        for (const TextField& field : kTexts) EXPECT_STREQ((table.*field.get)(port), "") << field.key << port;
        EXPECT_EQ(table.GetPortNumber(port), 0) << port;
    }
}

TEST_F(ActivityTable, DropsWhatIsSetForPortsOutside)
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

}  // namespace
