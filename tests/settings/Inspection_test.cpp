// SPDX-License-Identifier: Apache-2.0
//
// The verdict on a stored document. What is readable is what the library itself reads.
#include "Inspection.h"

#include "QDInfoActivityInfo.h"
#include "RecordFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace srcwatch {
namespace {

using testing::ElementsAre;

std::vector<std::string> FindingsOf(const std::string& text, StoredKind kind, bool isReadable)
{
    std::vector<std::string> texts;
    for (const Finding& finding : Inspect(JsonText(text), kind).findings) {
        if (finding.isReadable == isReadable) texts.push_back(finding.Text());
    }
    return texts;
}

std::vector<std::string> Unreadable(const std::string& text, StoredKind kind = StoredKind::kActivity)
{
    return FindingsOf(text, kind, false);
}

std::vector<std::string> Readable(const std::string& text, StoredKind kind = StoredKind::kActivity)
{
    return FindingsOf(text, kind, true);
}

bool IsClean(const std::string& text, StoredKind kind) { return Inspect(JsonText(text), kind).IsClean(); }

const char* const kOddValues[] = {
    "null",  "true", "false", "0",  "-1",  "2147483647", "2147483648", "99999999999999999999", "1.5", "-0.0",
    "1e300", "\"\"", "\"5\"", "[]", "[1]", "{}",         "{\"a\":1}"};

TEST(Inspection, FindsTheDocumentsOfTheServiceClean)
{
    EXPECT_TRUE(IsClean("null", StoredKind::kActivity));
    EXPECT_TRUE(IsClean(R"({"activity":[{"DevType":1,"PRName":"P"},null,{}]})", StoredKind::kActivity));
    EXPECT_TRUE(IsClean(R"({"activity":{"DevType":7}})", StoredKind::kOptical));
    EXPECT_TRUE(IsClean(R"({"Auto":[{"port":1,"pri":2,"t":3,"spd":["a","b","c"],"result":["x","y","z"]}]})",
                        StoredKind::kStatistics));
}

TEST(Inspection, DistinguishesConvertedFromLostMembers)
{
    const std::string text = "{\"activity\":[{\"BName\":5,\n\"Other\":[]},\n{\"DevName\":[1]},7]}";

    EXPECT_THAT(Readable(text), ElementsAre("line 1: activity[0].BName: is not a text",
                                            "line 2: activity[0].Other: is not a member of a record"));
    EXPECT_THAT(Unreadable(text),
                ElementsAre("line 3: activity[1].DevName: is not a text", "line 3: activity[2]: is not an object"));
    EXPECT_EQ(Inspect(JsonText(text), StoredKind::kActivity).FirstUnreadable()->key, "activity[1].DevName");
}

TEST(Inspection, AgreesWithTheLibraryOnEachValueOfEachMember)
{
    for (const RecordField& field : kRecordFields) {
        for (const char* const value : kOddValues) {
            const std::string record = "{\"" + std::string(field.key) + "\":" + value + "}";
            Json::Value parsed = ParseJson(record).value();
            const bool isReadable = IsReadableRecord(parsed);

            EXPECT_EQ(Inspect(JsonText("{\"activity\":[" + record + "]}"), StoredKind::kActivity).IsReadable(),
                      isReadable)
                << record;
            EXPECT_EQ(qdinfo::CQDInfoActivityInfo().Read(parsed), isReadable) << record;
        }
    }
}

TEST(Inspection, FindsNothingToReadInAnotherShape)
{
    for (const char* const text : {"[]", "5", "{}", "{\"activity\":{}}", "{\"activity\":7}", "", "\x01\x02", "{"}) {
        EXPECT_FALSE(Unreadable(text).empty()) << text;
    }
    for (const char* const text : {"null", "[]", "{}", "{\"activity\":null}", "{\"activity\":[]}", "oops"}) {
        EXPECT_FALSE(Unreadable(text, StoredKind::kOptical).empty()) << text;
    }
    for (const std::string& text : {std::string("x"), std::string("[]"), std::string("{}"),
                                    std::string("{\"Auto\": {}}"), std::string(5000, '[')}) {
        EXPECT_FALSE(Unreadable(text, StoredKind::kStatistics).empty()) << text;
    }
}

// The library reads the first value, and of a member given twice the last.
TEST(Inspection, FindsReadableWhatOnlyAStrictReaderRefuses)
{
    EXPECT_THAT(Readable("{\"activity\":[]} more"), ElementsAre(testing::StartsWith("line 1: column ")));
    EXPECT_THAT(Readable("{\"activity\":[],\n\"activity\":[{}]}"), testing::Contains(testing::HasSubstr("uplicate")));
    EXPECT_THAT(Unreadable("{\"activity\":[]} more"), ElementsAre());
}

TEST(Inspection, DistinguishesUnusedEntriesFromThoseThatSpoilAll)
{
    const auto kind = StoredKind::kStatistics;

    EXPECT_THAT(
        Readable(R"({"Auto":[null,{},{"port":true,"pri":1.5,"spd":["a"],"result":[1,"",""]}]})", kind),
        ElementsAre("line 1: Auto[1].port: is missing: the entry belongs to no port",
                    "line 1: Auto[1].pri: is missing: the entry is never used",
                    "line 1: Auto[2].port: is not a 32-bit number", "line 1: Auto[2].pri: is not a 32-bit number",
                    "line 1: Auto[2].spd: is not an array of three texts", "line 1: Auto[2].result[0]: is not a text"));
    for (const char* const entry :
         {"7", "[]", "\"x\"", R"({"port":"1","pri":1})", R"({"port":1,"pri":[]})", R"({"port":1,"pri":1,"t":"5"})",
          R"({"port":1,"pri":1,"spd":[[],"",""]})", R"({"port":1,"pri":1,"result":{"a":1,"b":2,"c":3}})"}) {
        EXPECT_EQ(Unreadable("{\"Auto\":[" + std::string(entry) + "]}", kind).size(), 1U) << entry;
    }
}

}  // namespace
}  // namespace srcwatch
