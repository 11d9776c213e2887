// SPDX-License-Identifier: Apache-2.0
//
// The record from JSON objects and into them.
#include "ActivityInfoTest.h"

#include <climits>
#include <memory>
#include <random>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// Reading

TEST_F(ActivityInfo, ReadsEveryFieldFromItsKey)
{
    Json::Value obj = ObjectOf(NewValueOf);

    EXPECT_TRUE(record.Read(obj));

    EXPECT_THAT(platform.sequence, IsEmpty());
    for (int i = 0; i < kFieldCount; ++i) EXPECT_EQ(Get(record, kFields[i]), NewValueOf(i)) << kFields[i].key;
    EXPECT_EQ(obj, ObjectOf(NewValueOf));
}

TEST_F(ActivityInfo, ReadsAnEmptyObjectAsDefaultsAndAddsNulls)
{
    GivenOldValues();
    Json::Value obj(Json::objectValue);

    EXPECT_TRUE(record.Read(obj));

    EXPECT_EQ(obj.size(), 18U);
    for (const Field& field : kFields) {
        EXPECT_TRUE(obj.isMember(field.key)) << field.key;
        EXPECT_TRUE(obj[field.key].isNull()) << field.key;
    }
    ExpectDefaults();
}

TEST_F(ActivityInfo, ReadsNullAsAnEmptyObject)
{
    GivenOldValues();
    Json::Value obj;

    EXPECT_TRUE(record.Read(obj));

    EXPECT_TRUE(obj.isObject());
    EXPECT_EQ(obj.size(), 18U);
    ExpectDefaults();
}

TEST_P(ActivityField, ReadsAsItsDefaultWhereItIsMissing)
{
    GivenOldValues();
    Json::Value obj = ObjectOf(NewValueOf);
    obj.removeMember(field.key);

    EXPECT_TRUE(record.Read(obj));

    EXPECT_EQ(Get(record, field), DefaultOf(field));
    EXPECT_EQ(obj.size(), 18U);
    EXPECT_TRUE(obj[field.key].isNull());
}

TEST_P(ActivityField, ReadsAsItsDefaultWhereItIsNull)
{
    GivenOldValues();
    Json::Value obj = ObjectOf(NewValueOf);
    obj[field.key] = Json::nullValue;

    EXPECT_TRUE(record.Read(obj));

    EXPECT_EQ(Get(record, field), DefaultOf(field));
}

TEST_F(ActivityInfo, LeavesOtherMembersOfTheObjectAlone)
{
    Json::Value obj = ObjectOf(NewValueOf);
    obj["Other"]["deep"] = 1;
    const Json::Value before = obj;

    EXPECT_TRUE(record.Read(obj));

    EXPECT_EQ(obj, before);
}

TEST_F(ActivityInfo, ReadsEmptyTextsThatItsSettersRefuse)
{
    GivenOldValues();
    Json::Value obj = ObjectOf(NewValueOf);
    obj["BName"] = "";

    EXPECT_TRUE(record.Read(obj));

    EXPECT_STREQ(record.GetBrandName(), "");
}

TEST_F(ActivityInfo, KeepsAZeroByteInsideAText)
{
    const std::string text("before\0after", 12);
    Json::Value obj(Json::objectValue);
    obj["DevName"] = text;
    Json::Value written;

    EXPECT_TRUE(record.Read(obj));
    EXPECT_TRUE(record.Write(written));

    EXPECT_STREQ(record.GetDeviceName(), "before");
    EXPECT_EQ(written["DevName"].asString(), text);
}

// The wrong kinds of value for a number and for a text.
std::vector<Json::Value> WrongValuesFor(const Field& field)
{
    Json::Value array(Json::arrayValue);
    array.append(1);
    Json::Value object(Json::objectValue);
    object["a"] = 1;
    std::vector<Json::Value> values = {array, object, Json::arrayValue, Json::objectValue};
    if (field.IsNumber()) {
        values.insert(values.end(),
                      {"5", "", Json::Int64(INT_MAX) + 1, Json::Int64(INT_MIN) - 1, 1e10, Json::UInt64(UINT64_MAX)});
    }
    return values;
}

TEST_P(ActivityField, OfTheWrongKindKeepsItselfAndTheLaterFields)
{
    for (const Json::Value& wrong : WrongValuesFor(field)) {
        GivenOldValues();
        Json::Value obj = ObjectOf(NewValueOf);
        obj[field.key] = wrong;

        EXPECT_FALSE(record.Read(obj)) << wrong;

        for (int i = 0; i < kFieldCount; ++i) {
            EXPECT_EQ(Get(record, kFields[i]), i < index ? NewValueOf(i) : OldValueOf(i)) << kFields[i].key << wrong;
        }
    }
}

TEST_P(ActivityField, OfTheWrongKindIsLoggedOnceWithTheReason)
{
    for (const Json::Value& wrong : WrongValuesFor(field)) {
        const std::string reason = WhatOf([&] { field.IsNumber() ? void(wrong.asInt()) : void(wrong.asString()); });
        Json::Value obj = ObjectOf(NewValueOf);
        obj[field.key] = wrong;
        platform.sequence.clear();

        record.Read(obj);

        EXPECT_THAT(
            platform.sequence,
            ElementsAre("E QDInfoActivityInfo.cpp Read: Exception Handled by CQDInfoActivityInfo::Read: " + reason));
    }
}

TEST_P(ActivityField, OfTheWrongKindEndsTheVisitOfTheKeys)
{
    Json::Value obj(Json::objectValue);
    obj[field.key] = Json::arrayValue;

    EXPECT_FALSE(record.Read(obj));

    for (int i = 0; i < kFieldCount; ++i) EXPECT_EQ(obj.isMember(kFields[i].key), i <= index) << kFields[i].key;
}

struct Conversion {
    Json::Value stored;
    Json::Value read;
};

TEST_P(ActivityNumber, IsConvertedFromOtherKinds)
{
    const Conversion conversions[] = {
        {false, 0}, {true, 1}, {3.9, 3}, {-3.9, -3}, {7U, 7}, {Json::Int64(INT_MIN), INT_MIN}, {INT_MAX, INT_MAX},
    };
    for (const Conversion& conversion : conversions) {
        Json::Value obj(Json::objectValue);
        obj[field.key] = conversion.stored;

        EXPECT_TRUE(record.Read(obj)) << conversion.stored;

        EXPECT_EQ(Get(record, field), conversion.read) << conversion.stored;
    }
}

TEST_P(ActivityText, IsConvertedFromOtherKinds)
{
    const Conversion conversions[] = {{false, "false"}, {true, "true"}, {-5, "-5"}, {7U, "7"}, {1.5, "1.5"}};
    for (const Conversion& conversion : conversions) {
        Json::Value obj(Json::objectValue);
        obj[field.key] = conversion.stored;

        EXPECT_TRUE(record.Read(obj)) << conversion.stored;

        EXPECT_EQ(Get(record, field), conversion.read) << conversion.stored;
    }
}

// Not null and not an object.
const Json::Value kNoObjects[] = {Json::arrayValue, 5, 7U, 1.5, true, "text", ""};

TEST_F(ActivityInfo, RefusesToReadWhatIsNotAnObject)
{
    for (Json::Value obj : kNoObjects) {
        const Json::Value before = obj;
        const std::string reason = WhatOf([&] { obj["PortNum"]; });
        GivenOldValues();
        platform.sequence.clear();

        EXPECT_FALSE(record.Read(obj)) << before;

        EXPECT_THAT(
            platform.sequence,
            ElementsAre("E QDInfoActivityInfo.cpp Read: Exception Handled by CQDInfoActivityInfo::Read: " + reason));
        EXPECT_EQ(obj, before);
        for (int i = 0; i < kFieldCount; ++i) EXPECT_EQ(Get(record, kFields[i]), OldValueOf(i)) << kFields[i].key;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Writing

TEST_F(ActivityInfo, WritesEighteenMembersOfTheirKinds)
{
    GivenOldValues();
    Json::Value obj;

    EXPECT_TRUE(record.Write(obj));

    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_EQ(obj.size(), 18U);
    for (int i = 0; i < kFieldCount; ++i) {
        const Json::Value& member = obj[kFields[i].key];
        EXPECT_EQ(member, OldValueOf(i)) << kFields[i].key;
        EXPECT_EQ(member.type(), kFields[i].IsNumber() ? Json::intValue : Json::stringValue) << kFields[i].key;
    }
}

TEST_F(ActivityInfo, WritesExactlyThisText)
{
    record.SetDeviceType(1);
    record.SetStrDeviceType("STB");
    record.SetBrandName("Brand \"B\"");
    record.SetDeviceName("Box\tOne");
    record.SetProviderName("Prov\u00edder");
    record.SetCodesetName("C0123");
    record.SetCECDeviceName("CecDev");
    record.SetAKSVKey("0123456789");
    record.SetUnknownType("0");
    record.SetManufacturerName("Maker");
    record.SetModelName("M/1");
    record.SetCECName("Cec");
    record.SetPortNumber(2);
    record.SetDenyCount(3);
    record.SetScanState(-4);
    record.SetDetectionMethod(5);
    record.SetPrevPort(99);
    record.SetChangedType(7);
    Json::Value obj;

    ASSERT_TRUE(record.Write(obj));

    EXPECT_EQ(Json::writeString(Json::StreamWriterBuilder(), obj),
              "{\n"
              "\t\"AKSV\" : \"0123456789\",\n"
              "\t\"BName\" : \"Brand \\\"B\\\"\",\n"
              "\t\"CDevName\" : \"CecDev\",\n"
              "\t\"CECName\" : \"Cec\",\n"
              "\t\"CName\" : \"C0123\",\n"
              "\t\"Changed\" : 7,\n"
              "\t\"DMethod\" : 5,\n"
              "\t\"DenyCount\" : 3,\n"
              "\t\"DevName\" : \"Box\\tOne\",\n"
              "\t\"DevType\" : 1,\n"
              "\t\"MFName\" : \"Maker\",\n"
              "\t\"ModelName\" : \"M/1\",\n"
              "\t\"PRName\" : \"Prov\\u00edder\",\n"
              "\t\"PortNum\" : 2,\n"
              "\t\"PrevPort\" : 99,\n"
              "\t\"ScanState\" : -4,\n"
              "\t\"UnknownType\" : \"0\",\n"
              "\t\"sDevType\" : \"STB\"\n"
              "}");
}

TEST_F(ActivityInfo, ReplacesItsMembersAndLeavesTheOthers)
{
    GivenOldValues();
    Json::Value obj(Json::objectValue);
    obj["Other"] = "kept";
    obj["BName"]["deep"] = 1;
    obj["DevType"] = "text";

    EXPECT_TRUE(record.Write(obj));

    Json::Value expected = ObjectOf(OldValueOf);
    expected["Other"] = "kept";
    EXPECT_EQ(obj, expected);
}

TEST_F(ActivityInfo, RefusesToWriteIntoWhatIsNotAnObject)
{
    for (Json::Value obj : kNoObjects) {
        const Json::Value before = obj;
        const std::string reason = WhatOf([&] { obj["PortNum"]; });
        platform.sequence.clear();

        EXPECT_FALSE(record.Write(obj)) << before;

        EXPECT_THAT(
            platform.sequence,
            ElementsAre("E QDInfoActivityInfo.cpp Write: Exception Handled by CQDInfoActivityInfo::Write: " + reason));
        EXPECT_EQ(obj, before);
    }
}

TEST_F(ActivityInfo, RestoresDefaultsFromWhatItWrote)
{
    Json::Value obj;
    ASSERT_TRUE(record.Write(obj));
    CQDInfoActivityInfo restored;
    restored.SetBrandName("old");
    restored.SetDenyCount(-3);

    EXPECT_TRUE(restored.Read(obj));

    EXPECT_STREQ(restored.GetBrandName(), "");
    EXPECT_EQ(restored.GetDenyCount(), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Round trips

class RandomRecords {
public:
    RandomRecords(char lowest, char highest) : m_byte(lowest, highest) {}

    void Fill(CQDInfoActivityInfo& record)
    {
        for (const Field& field : kFields) {
            if (field.IsNumber()) {
                (record.*field.setNumber)(m_number(m_random));
            } else {
                (record.*field.setText)(Text().c_str());
            }
        }
    }

private:
    std::string Text()
    {
        std::string text;
        for (int length = m_length(m_random); length > 0; --length) {
            const int byte = m_byte(m_random);
            if (byte != 0) text.push_back(static_cast<char>(byte));
        }
        return text;
    }

    std::mt19937 m_random{20240229};  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same records at each run
    std::uniform_int_distribution<int> m_byte;
    std::uniform_int_distribution<int> m_length{0, 200};
    std::uniform_int_distribution<int> m_number{INT_MIN, INT_MAX};
};

TEST_F(ActivityInfo, RestoresRandomRecordsOfAnyBytesFromObjects)
{
    RandomRecords records(CHAR_MIN, CHAR_MAX);
    for (int round = 0; round < 500; ++round) {
        records.Fill(record);
        Json::Value obj;
        CQDInfoActivityInfo restored;

        ASSERT_TRUE(record.Write(obj));
        ASSERT_TRUE(restored.Read(obj));

        for (const Field& field : kFields) ASSERT_EQ(Get(restored, field), Get(record, field)) << field.key;
    }
}

TEST_F(ActivityInfo, RestoresRandomRecordsOfAsciiFromJsonTexts)
{
    RandomRecords records(1, 127);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    for (int round = 0; round < 200; ++round) {
        records.Fill(record);
        Json::Value obj;
        ASSERT_TRUE(record.Write(obj));
        const std::string text = Json::writeString(Json::StreamWriterBuilder(), obj);
        Json::Value parsed;
        CQDInfoActivityInfo restored;

        ASSERT_TRUE(reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr)) << text;
        ASSERT_TRUE(restored.Read(parsed));

        for (const Field& field : kFields) ASSERT_EQ(Get(restored, field), Get(record, field)) << field.key;
    }
}

}  // namespace
