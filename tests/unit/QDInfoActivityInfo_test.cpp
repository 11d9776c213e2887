// SPDX-License-Identifier: Apache-2.0
//
// The record: accessors, copies, clearing.
#include "ActivityInfoTest.h"

#include <climits>
#include <type_traits>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_polymorphic_v<CQDInfoActivityInfo>);

std::string NameOf(const testing::TestParamInfo<int>& info) { return kFields[info.param].key; }

INSTANTIATE_TEST_SUITE_P(Each, ActivityField, testing::Range(0, kFieldCount), NameOf);

INSTANTIATE_TEST_SUITE_P(Each, ActivityText, testing::Values(1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12), NameOf);

INSTANTIATE_TEST_SUITE_P(Each, ActivityNumber, testing::Values(0, 3, 13, 14, 15, 16, 17), NameOf);

// ---------------------------------------------------------------------------------------------------------------------
// Accessors

TEST_F(ActivityInfo, StartsWithDefaults) { ExpectDefaults(); }

TEST_P(ActivityField, KeepsWhatIsSetAndLeavesTheOthers)
{
    Set(record, field, NewValueOf(index));

    EXPECT_EQ(Get(record, field), NewValueOf(index));
    ExpectDefaults(field.key);
}

TEST_P(ActivityField, IsSetWithoutALogLine)
{
    Set(record, field, NewValueOf(index));

    EXPECT_THAT(platform.sequence, IsEmpty());
}

TEST_P(ActivityField, IsLoggedByItsGetterOnEachCall)
{
    Set(record, field, NewValueOf(index));
    std::vector<std::string> expected;
    if (field.logged != nullptr) {
        expected.assign(2, std::string("D QDInfoActivityInfo.cpp ") + field.logged + NewValueOf(index).asString());
    }

    Get(record, field);
    Get(record, field);

    EXPECT_EQ(platform.sequence, expected);
}

TEST_P(ActivityField, TakesNamesLikeFormatsOrEscapesAsTheyAre)
{
    if (field.IsNumber()) return;
    for (const char* name : srcwatch_test::kHostileNames) {
        (record.*field.setText)(name);
        platform.sequence.clear();

        EXPECT_STREQ((record.*field.getText)(), name);
        if (field.logged != nullptr) {
            EXPECT_THAT(platform.sequence, ElementsAre(std::string("D QDInfoActivityInfo.cpp ") + field.logged + name));
        }
    }
}

TEST_F(ActivityInfo, HasTenTextsThatAreLogged)
{
    for (const Field& field : kFields) Get(record, field);

    EXPECT_EQ(platform.log.size(), 10U);
    EXPECT_EQ(platform.LogOf(DLOG_DEBUG).size(), 10U);
    for (const srcwatch_test::LogLine& line : platform.log) {
        EXPECT_EQ(line.format, "%s: %s(%d) > <%ld> " + line.message + "%s\n");
    }
}

TEST_P(ActivityNumber, TakesEveryInteger)
{
    for (const int value : {0, -1, 99, INT_MAX, INT_MIN}) {
        (record.*field.setNumber)(value);
        EXPECT_EQ((record.*field.getNumber)(), value);
    }
}

TEST_P(ActivityText, IgnoresNull)
{
    (record.*field.setText)("kept");

    (record.*field.setText)(nullptr);

    EXPECT_STREQ((record.*field.getText)(), "kept");
}

TEST_P(ActivityText, CannotBeEmptiedExceptTheCodeset)
{
    const bool isCodeset = std::string(field.key) == "CName";
    (record.*field.setText)("kept");

    (record.*field.setText)("");

    EXPECT_STREQ((record.*field.getText)(), isCodeset ? "" : "kept");
}

TEST_P(ActivityText, TakesALongTextOfAnyBytes)
{
    std::string text(100000, 'x');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i % 255 + 1);

    (record.*field.setText)(text.c_str());

    EXPECT_EQ((record.*field.getText)(), text);
}

TEST_P(ActivityText, TakesAPartOfItself)
{
    (record.*field.setText)("one two three four five six");

    (record.*field.setText)((record.*field.getText)() + 4);

    EXPECT_STREQ((record.*field.getText)(), "two three four five six");
}

TEST_P(ActivityText, IsACopyOfTheCallersText)
{
    std::string text = "the caller's own text";
    (record.*field.setText)(text.c_str());

    text.assign(text.size(), '-');

    EXPECT_STREQ((record.*field.getText)(), "the caller's own text");
}

TEST_P(ActivityText, StaysAtItsAddressUntilItIsChanged)
{
    GivenOldValues();
    const char* text = (record.*field.getText)();

    for (int i = 0; i < kFieldCount; ++i) {
        if (i != index) Set(record, kFields[i], NewValueOf(i));
    }

    EXPECT_EQ((record.*field.getText)(), text);
    EXPECT_EQ(OldValueOf(index), text);
}

// ---------------------------------------------------------------------------------------------------------------------
// Copies

TEST_F(ActivityInfo, IsCopiedWithAllFields)
{
    GivenOldValues();

    CQDInfoActivityInfo copy(record);
    CQDInfoActivityInfo assigned;
    assigned.SetBrandName("overwritten");
    assigned = record;

    for (int i = 0; i < kFieldCount; ++i) {
        EXPECT_EQ(Get(copy, kFields[i]), OldValueOf(i)) << kFields[i].key;
        EXPECT_EQ(Get(assigned, kFields[i]), OldValueOf(i)) << kFields[i].key;
    }
}

TEST_F(ActivityInfo, IsIndependentOfItsCopies)
{
    GivenOldValues();
    CQDInfoActivityInfo copy(record);
    CQDInfoActivityInfo assigned;
    assigned = record;

    record.Clear();

    for (int i = 0; i < kFieldCount; ++i) {
        EXPECT_EQ(Get(copy, kFields[i]), OldValueOf(i)) << kFields[i].key;
        EXPECT_EQ(Get(assigned, kFields[i]), OldValueOf(i)) << kFields[i].key;
    }
}

TEST_F(ActivityInfo, SurvivesAssignmentToItself)
{
    GivenOldValues();
    const CQDInfoActivityInfo& itself = record;

    record = itself;

    for (int i = 0; i < kFieldCount; ++i) EXPECT_EQ(Get(record, kFields[i]), OldValueOf(i)) << kFields[i].key;
}

// ---------------------------------------------------------------------------------------------------------------------
// Clearing

TEST_F(ActivityInfo, IsClearedToDefaults)
{
    GivenOldValues();

    record.Clear();

    EXPECT_THAT(platform.sequence, IsEmpty());
    ExpectDefaults();
}

TEST_F(ActivityInfo, KeepsOnlyTheDenyCountWhenItIsReset)
{
    GivenOldValues();
    record.SetDenyCount(3);
    record.SetPortNumber(2);

    record.ResetSourceInfo();

    EXPECT_THAT(platform.sequence, IsEmpty());
    EXPECT_EQ(record.GetDenyCount(), 3);
    EXPECT_EQ(record.GetPortNumber(), 0);
    ExpectDefaults("DenyCount");
}

TEST_F(ActivityInfo, LosesTheDenyCountWhenItIsCleared)
{
    record.SetDenyCount(3);

    record.Clear();

    EXPECT_EQ(record.GetDenyCount(), 0);
}

}  // namespace
