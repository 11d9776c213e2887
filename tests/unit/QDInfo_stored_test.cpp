// SPDX-License-Identifier: Apache-2.0
//
// What a text query and a number query make of each kind of stored text: the table at the top of srcwatch-api.h.
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <ostream>
#include <string>

namespace {

using namespace srcwatch_test;

constexpr int kUntouched = -777;

struct Row {
    const char* name;
    int port;
    const char* stored;  // null: nothing
    int textResult;
    const char* text;  // null: untouched
    int numberResult;
    int number;
};

std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }

constexpr Row kRows[] = {
    {"nothing", 1, nullptr, 0, "", 0, 0},
    {"nothing optical", 99, nullptr, 0, "", 0, 0},
    {"no JSON", 1, "{\"activity\":", 0, "", 0, 0},
    {"null", 1, "null", 0, "", 0, 0},
    {"an array", 1, "[]", 0, "", 0, 0},
    {"an array optical", 99, "[]", 0, "", 0, 0},
    {"a text", 1, "\"activity\"", 0, "", 0, 0},
    {"no activity", 1, "{}", 0, "", 0, 0},
    {"no activity optical", 99, "{}", 0, "", 0, 0},
    {"activity is an object", 1, R"({"activity":{}})", 0, "", 0, 0},
    {"activity is a text", 1, R"({"activity":"x"})", 0, "", 0, 0},
    {"activity is null", 1, R"({"activity":null})", 0, "", 0, 0},
    {"no element of the port", 1, R"({"activity":[{"CECName":5}]})", 0, "", 0, 0},
    {"the record is null", 1, R"({"activity":[{},null]})", 0, "", 0, 0},
    {"the record is null optical", 99, R"({"activity":null})", 0, "", 0, 0},
    {"the member is absent", 1, R"({"activity":[{},{}]})", 0, "", 0, 0},
    {"the member is null", 1, R"({"activity":[{},{"CECName":null,"DevType":null}]})", 0, "", 0, 0},
    {"the member is true", 1, R"({"activity":[{},{"CECName":true,"DevType":true}]})", 0, "true", 0, 1},
    {"the member is an integer", 1, R"({"activity":[{},{"CECName":-7,"DevType":-7}]})", 0, "-7", 0, -7},
    {"the member is a double", 1, R"({"activity":[{},{"CECName":2.5,"DevType":2.5}]})", 0, "2.5", 0, 2},
    {"the member is a large number", 1, R"({"activity":[{},{"CECName":4294967296,"DevType":4294967296}]})", 0,
     "4294967296", 1, kUntouched},
    {"the member is a text", 1, R"({"activity":[{},{"CECName":"3","DevType":"3"}]})", 0, "3", 1, kUntouched},
    {"the member is an array", 1, R"({"activity":[{},{"CECName":[],"DevType":[]}]})", 1, nullptr, 1, kUntouched},
    {"the member is an object", 99, R"({"activity":{"CECName":{},"DevType":{}}})", 1, nullptr, 1, kUntouched},
    {"the record is a number", 1, R"({"activity":[{},5]})", 1, nullptr, 1, kUntouched},
    {"the record is an array optical", 99, R"({"activity":[]})", 1, nullptr, 1, kUntouched},
};

class StoredText : public PlatformTest, public testing::WithParamInterface<Row> {
protected:
    StoredText()
    {
        if (GetParam().stored != nullptr) platform.settings.texts[StoredKey(GetParam().port)] = GetParam().stored;
    }
};

TEST_P(StoredText, IsReadByATextQuery)
{
    GuardedText buffer;

    EXPECT_EQ(srcwatch_get_cec_name(buffer.data(), GetParam().port), GetParam().textResult);

    if (GetParam().text == nullptr) {
        EXPECT_TRUE(buffer.IsUntouched());
    } else {
        EXPECT_EQ(buffer.Content(), Copied(GetParam().text));
    }
}

TEST_P(StoredText, IsReadByANumberQuery)
{
    int number = kUntouched;

    EXPECT_EQ(srcwatch_get_product_type_name(GetParam().port, &number), GetParam().numberResult);

    EXPECT_EQ(number, GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(Of, StoredText, testing::ValuesIn(kRows));

TEST_F(PlatformTest, AStoredTextThatIsNestedTooDeeplyReadsAsEmpty)
{
    platform.settings.texts[kHdmiKey] = std::string(2000, '[');
    GuardedText buffer;

    EXPECT_EQ(srcwatch_get_cec_name(buffer.data(), 0), SRCWATCH_OK);

    EXPECT_EQ(buffer.Content(), Copied(""));
}

}  // namespace
