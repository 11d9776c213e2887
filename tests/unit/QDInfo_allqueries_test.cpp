// SPDX-License-Identifier: Apache-2.0
//
// What holds for every query about a port.
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>

namespace {

using namespace srcwatch_test;

const std::size_t kLengths[] = {0, 1, 9, 10, 11, 99, 100, 101, 5000};

class EveryQuery : public QueryTest, public testing::WithParamInterface<Query> {
protected:
    const Query& query = GetParam();

    void ExpectAnswer(int port, char fill = '#')
    {
        EXPECT_EQ(Ask(query, port, fill), Expected(query, port, Stored(port), fill)) << "port " << port;
    }

    void ExpectAnswerOnEveryPort()
    {
        for (const int port : kAcceptedPorts) ExpectAnswer(port);
    }
};

std::string NameOf(const testing::TestParamInfo<Query>& row) { return row.param.name; }

std::vector<Query> QueriesThat(bool (*are)(const Query& query))
{
    std::vector<Query> queries;
    std::copy_if(AllQueries().begin(), AllQueries().end(), std::back_inserter(queries), are);
    return queries;
}

INSTANTIATE_TEST_SUITE_P(, EveryQuery, testing::ValuesIn(AllQueries()), NameOf);

// A record in which every member has a value of its own.
Json::Value FullRecord(int number)
{
    Json::Value record;
    for (const char* key : {"AKSV", "BName", "CDevName", "CECName", "CName", "DevName", "MFName", "ModelName", "PRName",
                            "UnknownType", "sDevType"}) {
        record[key] = std::string(key) + " " + std::to_string(number);
    }
    for (const char* key : {"Changed", "DMethod", "DenyCount", "PortNum", "PrevPort", "ScanState"}) {
        record[key] = number * 100 + static_cast<int>(record.size());
    }
    record["DevType"] = 1 + number % 9;
    return record;
}

// A record whose texts are all text.
Json::Value RecordOfTexts(int type, const std::string& text)
{
    Json::Value record = FullRecord(1);
    for (const std::string& key : record.getMemberNames()) {
        if (record[key].isString()) record[key] = text;
    }
    record["DevType"] = type;
    return record;
}

TEST_P(EveryQuery, RefusesOtherPortsWithoutTouchingAnything)
{
    GivenRecord(0, FullRecord(0));
    GivenRecord(kOptical, FullRecord(1));

    for (const int port : kRefusedPorts) {
        EXPECT_EQ(Ask(query, port), Expected(query, port, nullptr)) << port;
        EXPECT_TRUE(platform.SequenceWithoutLog().empty()) << port;
    }
}

TEST_P(EveryQuery, TestsThePortBeforeTheOutputs)
{
    for (const int port : kRefusedPorts) {
        EXPECT_EQ(query.call(port, CallerOutputs{}), SRCWATCH_ERROR_PORT) << port;
    }
    EXPECT_TRUE(platform.SequenceWithoutLog().empty());
}

class QueryThatTestsForNull : public EveryQuery {};

INSTANTIATE_TEST_SUITE_P(, QueryThatTestsForNull,
                         testing::ValuesIn(QueriesThat([](const Query& query) { return query.testsForNull; })), NameOf);

TEST_P(QueryThatTestsForNull, RefusesNullOutputsAndTouchesNothing)
{
    for (const int port : kAcceptedPorts) EXPECT_EQ(query.call(port, CallerOutputs{}), SRCWATCH_ERROR_NULL) << port;
    EXPECT_TRUE(platform.SequenceWithoutLog().empty());
}

class QueryWithUntestedOutputs : public EveryQuery {
protected:
    // With each of the untested outputs null that the query has, and with all of them.
    void ExpectAllButTheWrites(int port)
    {
        const Untested& all = query.untested;
        for (const Untested null : {Untested{all.number1, false}, Untested{false, all.flag}, all}) {
            for (const char fill : {'#', '\0'}) {
                EXPECT_EQ(Ask(query, port, fill, null), Expected(query, port, Stored(port), fill, null))
                    << "port " << port;
                withNull = platform.sequence;
                Ask(query, port, fill);
                EXPECT_EQ(withNull, platform.sequence);
            }
        }
    }

    std::vector<std::string> withNull;
};

INSTANTIATE_TEST_SUITE_P(, QueryWithUntestedOutputs, testing::ValuesIn(QueriesThat([](const Query& query) {
                             return query.untested.number1 || query.untested.flag;
                         })),
                         NameOf);

TEST_P(QueryWithUntestedOutputs, OnlyLeavesOutTheWriteToNull)
{
    const Json::Value wrong(Json::objectValue);
    for (const int port : kAcceptedPorts) {
        ExpectAllButTheWrites(port);
        for (int type = 0; type <= 10; ++type) {
            for (const char* text : {"text", "STB", ""}) {
                GivenRecord(port, RecordOfTexts(type, text));
                ExpectAllButTheWrites(port);
            }
        }
        for (const char* key : {"DevType", "DevName", "CName", "PrevPort", "Changed", "ScanState"}) {
            Json::Value record = RecordOfTexts(3, "text");
            record[key] = wrong;
            GivenRecord(port, record);
            ExpectAllButTheWrites(port);
        }
    }
}

TEST_P(EveryQuery, AnswersForTheRecordOfThePort)
{
    Json::Value root;
    for (int port = 0; port <= 7; ++port) root["activity"][port] = FullRecord(port);
    GivenText(0, TextOf(root));
    GivenRecord(kOptical, FullRecord(9));

    ExpectAnswerOnEveryPort();
}

TEST_P(EveryQuery, ReadsTheStoreAsOftenAsStatedAndNothingElse)
{
    for (const int port : kAcceptedPorts) {
        GivenRecord(port, FullRecord(3));

        Ask(query, port);

        const std::vector<std::string> once = OneRead(port);
        std::vector<std::string> expected = once;
        if (query.reads == 2) expected.insert(expected.end(), once.begin(), once.end());
        std::vector<std::string> seen = platform.sequence;
        const auto isOwn = [](const std::string& entry) { return entry.compare(0, 13, "E QDInfo.cpp ") == 0; };
        seen.erase(std::remove_if(seen.begin(), seen.end(), isOwn), seen.end());
        EXPECT_EQ(seen, expected) << port;
    }
}

TEST_P(EveryQuery, ReadsAgainAtEachCall)
{
    for (const int number : {1, 4, 6, 3}) {
        GivenRecord(2, FullRecord(number));
        ExpectAnswer(2);
    }
    platform.settings.texts.clear();
    ExpectAnswer(2);
}

TEST_P(EveryQuery, AnswersForARecordThatIsNotThere)
{
    const std::string absences[] = {R"({})",
                                    R"({"activity":null})",
                                    R"({"activity":[]})",
                                    R"({"activity":[null,null]})",
                                    "null",
                                    "",
                                    " \n\t ",
                                    "nonsense",
                                    R"({"activity":[{"DevType")"};
    ExpectAnswerOnEveryPort();
    for (const std::string& absence : absences) {
        GivenText(0, absence);
        GivenText(kOptical, absence);
        for (const int port : kAcceptedPorts) {
            ExpectAnswer(port);
            ExpectAnswer(port, '\0');
        }
    }
}

TEST_P(EveryQuery, CopiesTextsOfEveryLengthBetweenGuardBytes)
{
    for (const std::size_t length : kLengths) {
        for (int type = 0; type <= 9; ++type) {
            GivenRecord(1, RecordOfTexts(type, std::string(length, 'x')));
            ExpectAnswer(1);
            ExpectAnswer(1, '\0');
        }
    }
}

TEST_P(EveryQuery, CutsUtf8InsideACharacter)
{
    const std::string snowmen = "\xe2\x98\x83\xe2\x98\x83";
    for (const std::size_t before : {8U, 9U, 98U, 99U}) {
        for (const int type : {1, 3, 5, 7, 8, 9}) {
            GivenRecord(4, RecordOfTexts(type, std::string(before, 'x').append(snowmen)));
            ExpectAnswer(4);
        }
    }
}

TEST_P(EveryQuery, EndsTextsAtAnEmbeddedZero)
{
    for (const int type : {1, 3, 5, 7, 8, 9}) {
        for (const std::string& text : {std::string("ab\0cd", 5), std::string("\0cd", 3)}) {
            GivenRecord(4, RecordOfTexts(type, text));
            ExpectAnswer(4);
        }
    }
}

TEST_P(EveryQuery, TakesNamesLikeFormatsOrEscapesAsTheyAre)
{
    for (const char* name : kHostileNames) {
        for (const int type : {0, 1, 3, 7, 9, 14}) {
            GivenRecord(3, RecordOfTexts(type, name));
            ExpectAnswer(3);
        }
    }
}

TEST_P(EveryQuery, AnswersForMembersOfEveryKind)
{
    const std::string kinds[] = {"null",       "true",
                                 "false",      "0",
                                 "-1",         "7",
                                 "3.9",        "1e300",
                                 "\"\"",       "\"7\"",
                                 "[]",         "[1]",
                                 "{}",         "{\"a\":1}",
                                 "2147483647", "-2147483648",
                                 "2147483648", "-2147483649",
                                 "4294967297", "18446744073709551616",
                                 "\"STB\"",    "\"Unknown box\""};
    const std::vector<std::string> keys = FullRecord(1).getMemberNames();
    for (const std::string& kind : kinds) {
        Json::Value value;
        ASSERT_TRUE(ParseJson(kind, value));
        for (const std::string& key : keys) {
            for (const int type : {1, 3, 7, 9}) {
                Json::Value record = RecordOfTexts(type, "text");
                record[key] = value;
                GivenRecord(5, record);
                ExpectAnswer(5);
            }
        }
    }
}

TEST_P(EveryQuery, WritesUpToAGuardPageAndNotIntoIt)
{
    const EdgeBuffer edge1;
    const EdgeBuffer edge2;
    int numbers[2] = {};
    bool flag = false;
    for (std::size_t length = 0; length <= 300; ++length) {
        GivenRecord(kOptical, RecordOfTexts(length % 2 == 0 ? 1 : 3, std::string(length, 'y')));
        char* const last = edge1.Last(query.textSize);

        const int result =
            query.call(kOptical, {last, edge2.Last(SRCWATCH_TEXT_SIZE), &numbers[0], &numbers[1], &flag});

        const Outcome expected = Expected(query, kOptical, &platform.settings.texts[kOpticalKey]);
        EXPECT_EQ(result, expected.result) << length;
        EXPECT_EQ(std::string(last, query.textSize), expected.outputs.text1) << length;
    }
}

TEST_P(EveryQuery, LogsAnExceptionUnderItsOwnNameWithTheStatedText)
{
    GivenText(0, R"({"activity":[[1,2]]})");
    GivenText(kOptical, R"({"activity":"text"})");
    for (const int port : {0, kOptical}) {
        EXPECT_EQ(Ask(query, port).result, SRCWATCH_ERROR_JSON);

        const LogLine& line = platform.log.back();
        EXPECT_EQ(line.priority, DLOG_ERROR);
        EXPECT_EQ(line.file, "QDInfo.cpp");
        EXPECT_EQ(line.function, query.name);
        EXPECT_EQ(line.format, std::string("%s: %s(%d) > <%ld> Exception Handled by ") + query.blamed + ": %s\n\n");
    }
}

TEST_P(EveryQuery, LeavesItsOutputsIfTheRecordIsNotAnObject)
{
    for (const char* record : {"[]", "[{}]", "3", "true", "\"text\"", "1.5"}) {
        Json::Value value;
        ASSERT_TRUE(ParseJson(record, value));
        for (const int port : {3, kOptical}) {
            GivenRecord(port, value);
            const Outcome outcome = Ask(query, port);
            EXPECT_EQ(outcome, Expected(query, port, Stored(port)));
            EXPECT_EQ(outcome.result, SRCWATCH_ERROR_JSON);
        }
    }
}

TEST_P(EveryQuery, TakesADocumentThatIsNotAnObjectForAbsent)
{
    for (const char* document : {"[]", "[{\"activity\":[]}]", "5", "true", "\"activity\"", "{\"activity\":5}",
                                 "{\"activity\":\"text\"}", "{\"activity\":{\"0\":{}}}"}) {
        GivenText(0, document);
        GivenText(kOptical, document);
        ExpectAnswerOnEveryPort();
    }
}

TEST_P(EveryQuery, StandsADocumentNestedTenThousandDeep)
{
    std::string deep(10000, '[');
    deep += std::string(10000, ']');
    for (const std::string& document : {deep, "{\"activity\":" + deep + "}",
                                        "{\"activity\":[{\"DevName\":" + deep + "}]}", std::string(10000, '{')}) {
        GivenText(0, document);
        GivenText(kOptical, document);
        ExpectAnswer(0);
        ExpectAnswer(kOptical);
    }
}

TEST_P(EveryQuery, StandsARecordOfTenMegabytes)
{
    GivenRecord(0, RecordOfTexts(3, std::string(std::size_t{1} << 20U, 'h')));  // in eleven members
    ASSERT_GT(platform.settings.texts[kHdmiKey].size(), std::size_t{10} << 20U);
    ExpectAnswer(0);
}

TEST_P(EveryQuery, TakesTheLastOfDuplicateKeys)
{
    Json::Value first = FullRecord(2);
    Json::Value second = FullRecord(5);
    std::string twice = TextOf(first);
    twice.back() = ',';
    twice += TextOf(second).substr(1);
    GivenText(0, "{\"activity\":[" + twice + "]}");

    EXPECT_EQ(Ask(query, 0), [&] {
        const std::string once = DocumentOf(0, second);
        return Expected(query, 0, &once);
    }());
}

TEST_P(EveryQuery, CopiesInvalidUtf8AsItIs)
{
    for (const int type : {1, 3, 7, 9}) {
        GivenRecord(6, FullRecord(6));
        std::string& stored = platform.settings.texts[kHdmiKey];
        Json::Value record = RecordOfTexts(type, "@@@@");
        stored = "{\"activity\":[null,null,null,null,null,null," + TextOf(record) + "]}";
        for (std::size_t at = stored.find("@@@@"); at != std::string::npos; at = stored.find("@@@@")) {
            stored.replace(at, 4, "\xff\xc3(\x80");
        }
        ExpectAnswer(6);
    }
}

TEST_P(EveryQuery, AnswersInAnyThread)
{
    GivenRecord(1, RecordOfTexts(3, "text"));
    std::vector<int> results(4, -1);
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (int& result : results) {
        threads.emplace_back([&result, this] {
            for (int i = 0; i < 20; ++i) {
                char text1[100];
                char text2[100];
                int numbers[2];
                bool flag = false;
                result = query.call(1, {text1, text2, &numbers[0], &numbers[1], &flag});
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const int result : results) EXPECT_EQ(result, SRCWATCH_OK);
}

// The first line of a function's definition, and that of the brace that ends it.
std::map<std::string, std::pair<int, int>> FunctionLines()
{
    std::map<std::string, std::pair<int, int>> places;
    std::ifstream source(SRCWATCH_SOURCE_FILE);
    std::string function;
    std::string text;
    for (int line = 1; std::getline(source, text); ++line) {
        if (text.compare(0, 13, "int srcwatch_") == 0) {
            function = text.substr(4, text.find('(') - 4);
            places[function].first = line;
        }
        if (text.compare(0, 1, "}") == 0 && !function.empty()) {
            places[function].second = line;
            function.clear();
        }
    }
    return places;
}

TEST_P(EveryQuery, LogsLinesThatLieInItsOwnDefinition)
{
    const auto places = FunctionLines();
    Json::Value root;
    const int types[] = {1, 1, 3, 5, 7, 8, 9, 2};
    for (int port = 0; port <= 7; ++port) root["activity"][port] = RecordOfTexts(types[port], port == 0 ? "STB" : "");
    GivenText(0, TextOf(root));
    GivenText(kOptical, R"({"activity":[]})");

    std::vector<LogLine> lines;
    for (const int port : {0, 1, 2, 3, 4, 5, 6, 7, 99, 8}) {
        Ask(query, port);
        lines.insert(lines.end(), platform.log.begin(), platform.log.end());
    }

    for (const LogLine& line : lines) {
        if (line.file != "QDInfo.cpp") continue;
        ASSERT_EQ(places.count(line.function), 1U) << line.function;
        EXPECT_GE(line.line, places.at(line.function).first) << line.function;
        EXPECT_LE(line.line, places.at(line.function).second) << line.function;
    }
}

}  // namespace
