// SPDX-License-Identifier: Apache-2.0
//
// The codeset of a device and the strings of a detection result.
#include "QueryTest.h"
#include "srcwatch-api.h"

namespace {

using namespace srcwatch_test;

Json::Value Record(int type)
{
    Json::Value record;
    record["DevType"] = type;
    record["PRName"] = "Provider";
    record["DevName"] = "Device";
    record["BName"] = "Brand";
    record["UnknownType"] = "Detection";
    record["CName"] = "C0123";
    return record;
}

Json::Value Changed(Json::Value record, const char* key, const Json::Value& value)
{
    record[key] = value;
    return record;
}

class Codeset : public QueryTest {
protected:
    int AskFor(int port, const Json::Value& record)
    {
        GivenRecord(port, record);
        dst = GuardedText(SRCWATCH_CODESET_TEXT_SIZE);
        ForgetCalls();
        const int result = srcwatch_get_codeset_info(port, &known, dst.data());
        EXPECT_TRUE(dst.GuardsHold());
        return result;
    }

    std::vector<std::string> OwnMessages() const
    {
        std::vector<std::string> messages;
        for (const LogLine& line : platform.log) {
            if (line.function == "srcwatch_get_codeset_info") messages.push_back(line.message);
        }
        return messages;
    }

    GuardedText dst{SRCWATCH_CODESET_TEXT_SIZE};
    bool known = false;
};

TEST_F(Codeset, IsCopiedIntoTenBytes)
{
    for (const int port : kAcceptedPorts) {
        known = false;
        EXPECT_EQ(AskFor(port, Record(3)), 0);
        EXPECT_TRUE(known);
        EXPECT_EQ(dst.Content(), std::string("C0123\0\0\0\0\0", 10));
        EXPECT_TRUE(OwnMessages().empty());
    }
}

TEST_F(Codeset, IsNotTerminatedAtTenBytesOrMore)
{
    for (const std::size_t length : {1U, 9U, 10U, 11U, 12U, 99U, 100U, 101U, 5000U}) {
        EXPECT_EQ(AskFor(2, Changed(Record(5), "CName", std::string(length, 'c'))), 0);
        EXPECT_EQ(dst.Content(), Copied(std::string(length, 'c'), 10)) << length;
    }
}

TEST_F(Codeset, IsCutInsideACharacter)
{
    EXPECT_EQ(AskFor(2, Changed(Record(5), "CName", "123456789\xc3\xa9")), 0);
    EXPECT_EQ(dst.Content(), "123456789\xc3");
}

TEST_F(Codeset, OfAGenericSetTopBoxIsNotKnown)
{
    known = true;
    EXPECT_EQ(AskFor(1, Changed(Record(1), "PRName", "STB Provider")), 3);
    EXPECT_FALSE(known);
    EXPECT_TRUE(dst.IsUntouched());
    EXPECT_THAT(OwnMessages(), testing::ElementsAre("Device name(Unknown) makes empty codeset return\n"));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> Device name(%s) makes empty codeset return\n\n");
    EXPECT_EQ(platform.log.back().priority, DLOG_ERROR);
}

TEST_F(Codeset, OfADeviceThatIsShownAsGenericIsNotKnown)
{
    for (const char* name : {"Unknown", "Unknown box", "Unknownbox", "STB", "STB 5", "STBox"}) {
        for (const int type : {3, 4, 5, 6, 7, 9}) {
            known = true;
            EXPECT_EQ(AskFor(1, Changed(Record(type), "DevName", name)), 3);
            EXPECT_FALSE(known);
            EXPECT_TRUE(dst.IsUntouched());
            EXPECT_THAT(OwnMessages(),
                        testing::ElementsAre(std::string("Device name(") + name + ") makes empty codeset return\n"));
        }
    }
}

TEST_F(Codeset, OfADeviceWithANameThatOnlyLooksGenericIsKnown)
{
    for (const char* name : {"unknown", "Unknow", " Unknown", "stb", "ST", "My STB"}) {
        EXPECT_EQ(AskFor(1, Changed(Record(3), "DevName", name)), 0) << name;
        EXPECT_TRUE(known);
    }
}

TEST_F(Codeset, OfADeviceWithoutNameIsNotKnown)
{
    for (const int type : {1, 3, 4, 5, 6, 7, 9}) {
        EXPECT_EQ(AskFor(1, Changed(Changed(Record(type), "DevName", ""), "PRName", "")), 3);
        EXPECT_THAT(OwnMessages(), testing::ElementsAre("Device name(Unknown) makes empty codeset return\n"));
    }
}

TEST_F(Codeset, OfAnErrorTypeIsNeverKnown)
{
    for (const int type : {-3, -1, 0, 2, 10, 11, 12}) {
        EXPECT_EQ(AskFor(1, Record(type)), 3);
        EXPECT_THAT(OwnMessages(), testing::ElementsAre("Device name(Unknown) makes empty codeset return\n"));
    }
}

TEST_F(Codeset, OfADeviceThatIsNotSupportedIsReadIfStored)
{
    EXPECT_EQ(AskFor(1, Record(8)), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(dst.Content(), Copied("C0123", 10));
}

TEST_F(Codeset, ThatIsEmptyIsNotKnownAndNotLogged)
{
    for (const Json::Value& empty : {Json::Value(""), Json::Value()}) {
        known = true;
        EXPECT_EQ(AskFor(1, Changed(Record(3), "CName", empty)), 3);
        EXPECT_FALSE(known);
        EXPECT_TRUE(dst.IsUntouched());
        EXPECT_TRUE(OwnMessages().empty());
    }
}

// The name as stored is not empty, although what is copied of it is.
TEST_F(Codeset, ThatBeginsWithAZeroIsKnownAndCopiedAsZeros)
{
    for (const int port : kAcceptedPorts) {
        known = false;
        EXPECT_EQ(AskFor(port, Changed(Record(3), "CName", std::string("\0abc", 4))), 0);
        EXPECT_NE(platform.settings.texts[StoredKey(port)].find("\"CName\":\"\\u0000abc\""), std::string::npos);
        EXPECT_TRUE(known);
        EXPECT_EQ(dst.Content(), std::string(10, '\0'));
        EXPECT_TRUE(OwnMessages().empty());
    }
}

TEST_F(Codeset, IsReportedByTheResultAloneWithoutAnOutput)
{
    const Json::Value unreadable(Json::objectValue);
    struct Case {
        Json::Value record;
        int result;
        std::string text;
    };
    const Case cases[] = {{Record(3), 0, Copied("C0123", 10)},
                          {Changed(Record(3), "DevName", "STB"), 3, "##########"},
                          {Changed(Record(3), "CName", ""), 3, "##########"},
                          {Changed(Record(3), "CName", unreadable), 1, "##########"}};
    for (const Case& c : cases) {
        for (const int port : kAcceptedPorts) {
            EXPECT_EQ(AskFor(port, c.record), c.result);
            const std::vector<std::string> lines = platform.sequence;
            GuardedText text(SRCWATCH_CODESET_TEXT_SIZE);
            ForgetCalls();

            EXPECT_EQ(srcwatch_get_codeset_info(port, nullptr, text.data()), c.result);

            EXPECT_EQ(text.Content(), c.text);
            EXPECT_EQ(platform.sequence, lines);
        }
    }
}

TEST_F(Codeset, ThatCannotBeReadLeavesTheOutputs)
{
    const Json::Value wrong(Json::objectValue);
    const std::string what = JsonErrorOf([&] { static_cast<void>(wrong.asString()); });
    for (const bool before : {false, true}) {
        known = before;
        EXPECT_EQ(AskFor(1, Changed(Record(3), "CName", wrong)), 1);
        EXPECT_EQ(known, before);
        EXPECT_TRUE(dst.IsUntouched());
        EXPECT_THAT(OwnMessages(),
                    testing::ElementsAre("Exception Handled by srcwatch_get_codeset_info: " + what + "\n"));
    }
}

TEST_F(Codeset, IsReadThoughTheNestedQueryFailed)
{
    EXPECT_EQ(AskFor(1, Changed(Record(3), "DevType", "three")), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(dst.Content(), Copied("C0123", 10));
    const std::vector<std::string> lines = platform.LogOf(DLOG_ERROR);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].find("srcwatch_get_device_info: Exception Handled by srcwatch_get_device_info: "), 0U);
}

TEST_F(Codeset, LogsANameThatFillsTheTextWithoutReadingOn)
{
    const std::string name = "STB" + std::string(150, 's');
    EXPECT_EQ(AskFor(1, Changed(Record(3), "DevName", name)), 3);
    EXPECT_THAT(OwnMessages(),
                testing::ElementsAre("Device name(" + name.substr(0, 100) + ") makes empty codeset return\n"));
}

TEST_F(Codeset, ReadsTheStoreOnceWhenTheDeviceIsGeneric)
{
    AskFor(1, Record(2));
    EXPECT_THAT(platform.SequenceWithoutLog(), testing::ElementsAre(std::string("gets ") + kHdmiKey));
    AskFor(1, Record(3));
    EXPECT_THAT(platform.SequenceWithoutLog(),
                testing::ElementsAre(std::string("gets ") + kHdmiKey, std::string("gets ") + kHdmiKey));
    AskFor(kOptical, Record(3));
    EXPECT_THAT(platform.SequenceWithoutLog(),
                testing::ElementsAre(std::string("gets ") + kOpticalKey, std::string("gets ") + kOpticalKey));
}

TEST_F(Codeset, IsRefusedPortFirstAndWithoutALine)
{
    for (const int port : kRefusedPorts) {
        EXPECT_EQ(srcwatch_get_codeset_info(port, &known, dst.data()), 2);
        EXPECT_EQ(srcwatch_get_codeset_info(port, nullptr, nullptr), 2);
    }
    known = true;
    for (const int port : kAcceptedPorts) {
        EXPECT_EQ(srcwatch_get_codeset_info(port, &known, nullptr), 4);
        EXPECT_EQ(srcwatch_get_codeset_info(port, nullptr, nullptr), 4);
    }
    EXPECT_TRUE(known);
    EXPECT_TRUE(dst.IsUntouched());
    EXPECT_TRUE(platform.sequence.empty());
}

class ResultString : public QueryTest {
protected:
    // What a query leaves in a buffer of '#'; the buffer's own 100 bytes when it did not write.
    std::string First(int port = 1) { return Read(srcwatch_get_result_str1_name, port); }
    std::string Second(int port = 1) { return Read(srcwatch_get_result_str2_name, port); }

    const std::string untouched = std::string(100, '#');

private:
    static std::string Read(int (*query)(char*, int), int port)
    {
        GuardedText dst;
        EXPECT_EQ(query(dst.data(), port), 0);
        EXPECT_TRUE(dst.GuardsHold());
        return dst.Content();
    }
};

TEST_F(ResultString, IsChosenByTypeOnAllPorts)
{
    for (const int port : kAcceptedPorts) {
        for (int type = -3; type <= 12; ++type) {
            GivenRecord(port, Record(type));
            const bool named = type == 3 || type == 4 || type == 5 || type == 6;
            const bool first = named || type == 9;
            EXPECT_EQ(First(port), type == 1 ? Copied("Provider") : first ? Copied("Device") : untouched) << type;
            EXPECT_EQ(Second(port), named ? Copied("Brand") : untouched) << type;
        }
    }
    for (const LogLine& line : platform.log) EXPECT_EQ(line.priority, DLOG_DEBUG) << line.message;
}

TEST_F(ResultString, KeepsGenericAndEmptyNamesAsTheyAre)
{
    GivenRecord(1, Changed(Record(1), "PRName", "STB Provider"));
    EXPECT_EQ(First(), Copied("STB Provider"));
    GivenRecord(1, Changed(Record(1), "PRName", ""));
    EXPECT_EQ(First(), std::string(100, '\0'));
    GivenRecord(1, Changed(Record(9), "DevName", ""));
    EXPECT_EQ(First(), std::string(100, '\0'));
}

TEST_F(ResultString, OfAPcHasNoSecondThoughDeviceInfoHasABrand)
{
    GivenRecord(1, Record(9));
    EXPECT_EQ(Second(), untouched);
    EXPECT_EQ(Ask(QueryNamed("srcwatch_get_device_info"), 1).outputs.text2, Copied("Brand"));
}

TEST_F(ResultString, OfAnotherDeviceIsEmptyThoughDeviceInfoHasAName)
{
    GivenRecord(1, Record(7));
    EXPECT_EQ(First(), untouched);
    EXPECT_EQ(Ask(QueryNamed("srcwatch_get_device_info"), 1).outputs.text1, Copied("Device"));
}

TEST_F(ResultString, LeavesTheBufferWithoutARecord)
{
    for (const int port : kAcceptedPorts) {
        EXPECT_EQ(First(port), untouched);
        EXPECT_EQ(Second(port), untouched);
    }
}

TEST_F(ResultString, ReadsOnlyTheMemberThatItsTypeNeeds)
{
    Json::Value record;  // all members but those of the type are unreadable
    for (const char* key : {"PRName", "DevName", "BName", "UnknownType", "CName"}) {
        record[key] = Json::Value(Json::arrayValue);
    }
    record["DevType"] = 8;
    GivenRecord(1, record);
    EXPECT_EQ(First(), untouched);
    EXPECT_EQ(Second(), untouched);
    GivenRecord(1, Changed(Changed(record, "DevType", 3), "DevName", "Device"));
    EXPECT_EQ(First(), Copied("Device"));
    GivenRecord(1, Changed(Changed(record, "DevType", 3), "BName", "Brand"));
    EXPECT_EQ(Second(), Copied("Brand"));
    GivenRecord(1, Changed(Changed(record, "DevType", 1), "PRName", "Provider"));
    EXPECT_EQ(First(), Copied("Provider"));
}

TEST_F(ResultString, LogsAnExceptionUnderItsOwnName)
{
    struct Row {
        int (*query)(char*, int);
        const char* name;
        const char* key;
    };
    const Row rows[] = {{srcwatch_get_result_str1_name, "srcwatch_get_result_str1_name", "DevName"},
                        {srcwatch_get_result_str2_name, "srcwatch_get_result_str2_name", "BName"}};
    const Json::Value wrong(Json::objectValue);
    const std::string what = JsonErrorOf([&] { static_cast<void>(wrong.asString()); });
    for (const Row& row : rows) {
        GivenRecord(1, Changed(Record(4), row.key, wrong));
        GuardedText dst;
        ForgetCalls();

        EXPECT_EQ(row.query(dst.data(), 1), 1);

        EXPECT_TRUE(dst.IsUntouched());
        EXPECT_THAT(platform.LogOf(DLOG_ERROR), testing::ElementsAre(std::string(row.name) + ": Exception Handled by " +
                                                                     row.name + ": " + what + "\n"));
    }
}

}  // namespace
