// SPDX-License-Identifier: Apache-2.0
//
// The two strings to show for a device.
#include "QueryTest.h"
#include "srcwatch-api.h"

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

class DeviceInfo : public QueryTest {
protected:
    // Stores a record and queries it. Returns the messages of the call without the first, which they share.
    std::vector<std::string> MessagesFor(int port, const Json::Value& record)
    {
        GivenRecord(port, record);
        outcome = Ask(QueryNamed("srcwatch_get_device_info"), port, fill);
        std::vector<std::string> messages;
        for (const LogLine& line : platform.log) {
            if (line.priority == DLOG_ERROR) messages.push_back(line.message);
        }
        EXPECT_EQ(messages.at(0), "srcwatch_get_device_info called for Port (" + std::to_string(port) + ")\n");
        messages.erase(messages.begin());
        return messages;
    }

    static std::string OwnLine(const std::string& message)
    {
        return "E QDInfo.cpp srcwatch_get_device_info: " + message;
    }

    std::vector<std::string> MessagesFor(const Json::Value& record) { return MessagesFor(1, record); }

    char fill = '#';
    Outcome outcome{};
    const std::string untouched = std::string(100, '#');
};

Json::Value Record(int type)
{
    Json::Value record;
    record["DevType"] = type;
    record["PRName"] = "Provider";
    record["DevName"] = "Device";
    record["BName"] = "Brand";
    record["UnknownType"] = "Detection";
    return record;
}

Json::Value Changed(Json::Value record, const char* key, const Json::Value& value)
{
    record[key] = value;
    return record;
}

TEST_F(DeviceInfo, ShowsASetTopBoxByItsProvider)
{
    EXPECT_THAT(MessagesFor(Record(1)), ElementsAre("Device Info Send STB(1) : Provider\n",
                                                    "Detection Info Send for STB Device(1): Detection\n"));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.outputs.number1, 1);
    EXPECT_EQ(outcome.outputs.text1, Copied("Provider"));
    EXPECT_EQ(outcome.outputs.text2, Copied("Detection"));
}

TEST_F(DeviceInfo, HidesAGenericSetTopBox)
{
    for (const char* provider : {"STB Provider", "STB", "STBx"}) {
        EXPECT_THAT(MessagesFor(99, Changed(Record(1), "PRName", provider)),
                    ElementsAre("Device Info Send STB(99) : " + std::string(provider) + " to Unknown\n",
                                "Detection Info Send for STB Device(99): Detection\n"));
        EXPECT_EQ(outcome.outputs.text1, Copied("Unknown"));
    }
}

TEST_F(DeviceInfo, LogsTheWholeNameOfAGenericSetTopBox)
{
    const std::string provider = "STB" + std::string(200, 'p');
    EXPECT_EQ(MessagesFor(Changed(Record(1), "PRName", provider)).at(0),
              "Device Info Send STB(1) : " + provider + " to Unknown\n");
}

TEST_F(DeviceInfo, LogsTheProviderAsWritten)
{
    EXPECT_EQ(MessagesFor(Changed(Record(1), "PRName", std::string(150, 'p'))).at(0),
              "Device Info Send STB(1) : " + std::string(100, 'p') + "\n");
    EXPECT_EQ(outcome.outputs.text1, std::string(100, 'p'));
}

TEST_F(DeviceInfo, DistinguishesCaseInTheGenericName)
{
    for (const char* provider : {"Stb Box", "stb", "ST", "xSTB", "S"}) {
        EXPECT_EQ(MessagesFor(Changed(Record(1), "PRName", provider)).at(0),
                  std::string("Device Info Send STB(1) : ") + provider + "\n");
        EXPECT_EQ(outcome.outputs.text1, Copied(provider));
    }
}

TEST_F(DeviceInfo, NamesASetTopBoxWithoutProviderUnknown)
{
    EXPECT_THAT(MessagesFor(Changed(Record(1), "PRName", "")),
                ElementsAre("Device Info Send STB(1) : \n", "Detection Info Send for STB Device(1): Detection\n",
                            "String is NULL: Change to Unknown (Type 1)\n"));
    EXPECT_EQ(outcome.outputs.text1, Copied("Unknown"));
}

TEST_F(DeviceInfo, ShowsDiscPlayersAndTheatresByDeviceAndBrand)
{
    for (const int type : {3, 4}) {
        EXPECT_THAT(MessagesFor(Record(type)), ElementsAre("Device Info Send BD HTS(1): Device Brand\n"));
        EXPECT_EQ(outcome.outputs.number1, type);
        EXPECT_EQ(outcome.outputs.text1, Copied("Device"));
        EXPECT_EQ(outcome.outputs.text2, Copied("Brand"));
    }
}

TEST_F(DeviceInfo, ShowsStreamersAndConsolesByDeviceAndBrand)
{
    for (const int type : {5, 6}) {
        EXPECT_THAT(MessagesFor(Record(type)), ElementsAre("Device Info Send OTT GAME(1): Device Brand\n"));
        EXPECT_EQ(outcome.outputs.number1, type);
        EXPECT_EQ(outcome.outputs.text1, Copied("Device"));
        EXPECT_EQ(outcome.outputs.text2, Copied("Brand"));
    }
}

TEST_F(DeviceInfo, ShowsAnotherDeviceByNameAndDetection)
{
    EXPECT_THAT(MessagesFor(Record(7)), ElementsAre("Device Info Send OTHER(1): Device\n",
                                                    "Detection Info Send for OTHER Device(1): Detection\n"));
    EXPECT_EQ(outcome.outputs.text1, Copied("Device"));
    EXPECT_EQ(outcome.outputs.text2, Copied("Detection"));
}

TEST_F(DeviceInfo, EmptiesOnlyTheFirstByteIfNotSupported)
{
    EXPECT_THAT(MessagesFor(Record(8)), ElementsAre("Device Info Send NOT SUPPORT(1): \n",
                                                    "Detection Info Send for NOT_SUPPORT Device(1): Detection\n"));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.outputs.text1, std::string(1, '\0') + std::string(99, '#'));
    EXPECT_EQ(outcome.outputs.text2, Copied("Detection"));
}

TEST_F(DeviceInfo, LogsDeviceAndBrandOfAPcInTwoLines)
{
    EXPECT_THAT(MessagesFor(Record(9)),
                ElementsAre("Device Info Send PC(1): Device\n", "Brand Info Send PC(1): Brand\n"));
    EXPECT_EQ(outcome.outputs.text1, Copied("Device"));
    EXPECT_EQ(outcome.outputs.text2, Copied("Brand"));
}

TEST_F(DeviceInfo, LeavesTheStringsOfAnErrorTypeToTheCaller)
{
    for (const int type : {2, 0, -1, -3, 10, 12, INT_MIN, INT_MAX}) {
        EXPECT_THAT(MessagesFor(Record(type)), ElementsAre("Device Type Error: " + std::to_string(type) + "\n"));
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.outputs.number1, type);
        EXPECT_EQ(outcome.outputs.text1, untouched);
        EXPECT_EQ(outcome.outputs.text2, untouched);
    }
}

TEST_F(DeviceInfo, WritesEightBytesIntoTheEmptyBufferOfAnErrorType)
{
    GivenRecord(1, Record(2));
    GuardedText str1;
    GuardedText str2;
    *str1.data() = '\0';
    int type = -5;

    EXPECT_EQ(srcwatch_get_device_info(1, &type, str1.data(), str2.data()), 0);

    EXPECT_EQ(str1.Content(), std::string("Unknown\0", 8) + std::string(92, '#'));
    EXPECT_TRUE(str2.IsUntouched());
    EXPECT_EQ(platform.log.back().message, "String is NULL: Change to Unknown (Type 2)\n");
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> String is NULL: Change to Unknown (Type %d)\n\n");
}

TEST_F(DeviceInfo, NamesADeviceWithoutNameUnknownUnlessNotSupported)
{
    for (const int type : {3, 4, 5, 6, 7, 9}) {
        const auto messages = MessagesFor(Changed(Record(type), "DevName", ""));
        EXPECT_EQ(messages.back(), "String is NULL: Change to Unknown (Type " + std::to_string(type) + ")\n");
        EXPECT_EQ(outcome.outputs.text1, Copied("Unknown"));
    }
}

TEST_F(DeviceInfo, NeverReplacesTheSecondString)
{
    Json::Value record = Record(3);
    record["BName"] = "";
    record["UnknownType"] = "";
    for (const int type : {1, 3, 4, 5, 6, 7, 8, 9}) {
        const auto messages = MessagesFor(Changed(record, "DevType", type));
        EXPECT_EQ(outcome.outputs.text2, std::string(100, '\0'));
        for (const std::string& message : messages) EXPECT_EQ(message.find("String is NULL"), std::string::npos);
    }
}

TEST_F(DeviceInfo, AnnouncesTheCallAndThenRefusesOtherPorts)
{
    for (const int port : kRefusedPorts) {
        const std::string number = std::to_string(port);
        GuardedText text;
        int type = -5;
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_device_info(port, &type, text.data(), text.data()), 2);
        EXPECT_EQ(srcwatch_get_device_info(port, nullptr, nullptr, nullptr), 2);

        const std::string called = OwnLine("srcwatch_get_device_info called for Port (" + number + ")\n");
        const std::string refused = OwnLine("Port Index Error: " + number + "\n");
        EXPECT_THAT(platform.sequence, ElementsAre(called, refused, called, refused));
        EXPECT_TRUE(text.IsUntouched());
        EXPECT_EQ(type, -5);
    }
}

TEST_F(DeviceInfo, NamesTheFirstNullStringOnly)
{
    GuardedText text;
    int type = -5;
    const std::string called = OwnLine("srcwatch_get_device_info called for Port (0)\n");

    EXPECT_EQ(srcwatch_get_device_info(0, &type, nullptr, nullptr), 4);
    EXPECT_EQ(srcwatch_get_device_info(0, &type, nullptr, text.data()), 4);
    EXPECT_EQ(srcwatch_get_device_info(0, &type, text.data(), nullptr), 4);
    EXPECT_EQ(srcwatch_get_device_info(0, nullptr, nullptr, nullptr), 4);

    EXPECT_THAT(
        platform.sequence,
        ElementsAre(called, OwnLine("device_info_str1 is NULL\n"), called, OwnLine("device_info_str1 is NULL\n"),
                    called, OwnLine("device_info_str2 is NULL\n"), called, OwnLine("device_info_str1 is NULL\n")));
    EXPECT_TRUE(text.IsUntouched());
    EXPECT_EQ(type, -5);
}

TEST_F(DeviceInfo, KeepsWhatItWroteBeforeAnException)
{
    struct Case {
        int type;
        const char* wrong;
        std::string text1;
        std::string text2;
        std::size_t lines;  // before that of the exception
    };
    const Case cases[] = {
        {1, "PRName", untouched, untouched, 0},
        {1, "UnknownType", Copied("Provider"), untouched, 1},
        {3, "DevName", untouched, untouched, 0},
        {3, "BName", untouched, untouched, 0},  // both are read before one is copied
        {6, "BName", untouched, untouched, 0},
        {7, "UnknownType", Copied("Device"), untouched, 1},
        {8, "UnknownType", std::string(1, '\0') + std::string(99, '#'), untouched, 1},
        {9, "DevName", untouched, untouched, 0},
        {9, "BName", Copied("Device"), untouched, 1},
    };
    const Json::Value wrong(Json::arrayValue);
    const std::string what = JsonErrorOf([&] { static_cast<void>(wrong.asString()); });
    for (const Case& c : cases) {
        const auto messages = MessagesFor(Changed(Record(c.type), c.wrong, wrong));

        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.outputs.number1, c.type);
        EXPECT_EQ(outcome.outputs.text1, c.text1) << c.type << c.wrong;
        EXPECT_EQ(outcome.outputs.text2, c.text2) << c.type << c.wrong;
        ASSERT_EQ(messages.size(), c.lines + 1);
        EXPECT_EQ(messages.back(), "Exception Handled by srcwatch_get_device_info: " + what + "\n");
    }
}

TEST_F(DeviceInfo, LeavesAllOutputsWhenTheTypeCannotBeRead)
{
    MessagesFor(Changed(Record(3), "DevType", "3"));

    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome, Expected(QueryNamed("srcwatch_get_device_info"), 1, &platform.settings.texts[kHdmiKey]));
    EXPECT_EQ(outcome.outputs.text1, untouched);
}

TEST_F(DeviceInfo, LogsEveryOutcomeWithTheStatedFormat)
{
    const std::string prefix = "%s: %s(%d) > <%ld> ";
    const std::map<int, std::vector<std::string>> formats = {
        {1, {"Device Info Send STB(%d) : %s\n\n", "Detection Info Send for STB Device(%d): %s\n\n"}},
        {2, {"Device Type Error: %d\n\n"}},
        {3, {"Device Info Send BD HTS(%d): %s %s\n\n"}},
        {4, {"Device Info Send BD HTS(%d): %s %s\n\n"}},
        {5, {"Device Info Send OTT GAME(%d): %s %s\n\n"}},
        {6, {"Device Info Send OTT GAME(%d): %s %s\n\n"}},
        {7, {"Device Info Send OTHER(%d): %s\n\n", "Detection Info Send for OTHER Device(%d): %s\n\n"}},
        {8, {"Device Info Send NOT SUPPORT(%d): %s\n\n", "Detection Info Send for NOT_SUPPORT Device(%d): %s\n\n"}},
        {9, {"Device Info Send PC(%d): %s\n\n", "Brand Info Send PC(%d): %s\n\n"}},
    };
    for (const auto& [type, expected] : formats) {
        MessagesFor(Record(type));
        std::vector<std::string> seen;
        for (const LogLine& line : platform.log) {
            EXPECT_EQ(line.function == "srcwatch_get_device_info", line.file == "QDInfo.cpp");
            if (line.file == "QDInfo.cpp") seen.push_back(line.format);
        }
        ASSERT_EQ(seen.size(), expected.size() + 1) << type;
        EXPECT_EQ(seen[0], prefix + "srcwatch_get_device_info called for Port (%d)\n\n");
        for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(seen[i + 1], prefix + expected[i]) << type;
    }
    MessagesFor(Changed(Record(1), "PRName", "STB"));
    EXPECT_EQ(platform.log.at(2).format, prefix + "Device Info Send STB(%d) : %s to %s\n\n");
}

TEST_F(DeviceInfo, LogsTheCallBeforeItReadsTheStore)
{
    GivenRecord(4, Record(2));
    Ask(QueryNamed("srcwatch_get_device_info"), 4);

    std::vector<std::string> expected = OneRead(4);
    expected.insert(expected.begin(),
                    "E QDInfo.cpp srcwatch_get_device_info: srcwatch_get_device_info called for Port (4)\n");
    expected.emplace_back("E QDInfo.cpp srcwatch_get_device_info: Device Type Error: 2\n");
    EXPECT_EQ(platform.sequence, expected);
}

// Every type with every combination of what the four members may hold; null stands for a member that is absent.
TEST_F(DeviceInfo, AgreesWithTheTableForEveryTypeAndContent)
{
    const Json::Value contents[] = {Json::Value(), "", "STB Provider", std::string(100, 'l'),
                                    Json::Value(Json::objectValue)};
    const char* const keys[] = {"PRName", "DevName", "BName", "UnknownType"};
    const std::vector<Query> queries = {QueryNamed("srcwatch_get_device_info"), QueryNamed("srcwatch_get_codeset_info"),
                                        QueryNamed("srcwatch_get_result_str1_name"),
                                        QueryNamed("srcwatch_get_result_str2_name")};
    int combinations = 0;
    for (int type = -3; type <= 12; ++type) {
        for (int combination = 0; combination < 5 * 5 * 5 * 5; ++combination) {
            Json::Value record;
            record["DevType"] = type;
            if (combination % 3 != 0) record["CName"] = "codeset of 18 byte";
            int rest = combination;
            for (const char* key : keys) {
                const Json::Value& content = contents[rest % 5];
                rest /= 5;
                if (!content.isNull()) record[key] = content;
            }
            const int port = kAcceptedPorts[combinations++ % 9];
            GivenRecord(port, record);
            const std::string* stored = &platform.settings.texts[StoredKey(port)];
            const char old = combination % 2 == 0 ? '#' : '\0';
            for (const Query& query : queries) {
                ASSERT_EQ(Ask(query, port, old), Expected(query, port, stored, old))
                    << query.name << " " << port << " " << *stored;
            }
        }
    }
    EXPECT_EQ(combinations, 16 * 625);
}

}  // namespace
