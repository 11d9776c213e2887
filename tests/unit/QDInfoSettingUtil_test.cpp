// SPDX-License-Identifier: Apache-2.0
#include "QDInfoSettingUtil.h"

#include "PlatformTest.h"

#include <climits>
#include <type_traits>

namespace {

using srcwatch_test::PlatformTest;
using testing::ElementsAre;
using testing::IsEmpty;

using Util = CQDInfoSettingUtil;

const std::string kActivityIndex = "db/mbr/activityindex";
const std::string kMode = "memory/mbr/mbr-mode";
const std::string kStateFrom = "db/qdinfo/StateFrom";
const std::string kHeadendId = "db/mbr/HeadendID";
const std::string kDeviceType = "db/mbr/DeviceType";
const std::string kProviderName = "db/mbr/ProviderName";

static_assert(std::is_empty_v<Util>);
static_assert(!std::is_polymorphic_v<Util>);
static_assert(std::is_trivially_default_constructible_v<Util>);

std::string Logged(const std::string& function, const std::string& message)
{
    return "D QDInfoSettingUtil.cpp " + function + ": " + message;
}

std::string Written(const std::string& key, int value) { return "set " + key + " " + std::to_string(value); }

constexpr int kNumbers[] = {5, 0, -1, -2, INT_MAX, INT_MIN};

class SettingUtil : public PlatformTest {};

// ---------------------------------------------------------------------------------------------------------------------
// Activity index

TEST_F(SettingUtil, ReadsTheActivityIndex)
{
    for (const int index : kNumbers) {
        platform.settings.numbers[kActivityIndex] = index;
        platform.sequence.clear();

        EXPECT_EQ(Util::GetQDInfoActivityIndex(), index);

        EXPECT_THAT(platform.sequence,
                    ElementsAre(Logged("GetQDInfoActivityIndex", "get activity index \n"), "get " + kActivityIndex));
    }
}

TEST_F(SettingUtil, ReadsAnUnreadableActivityIndexAsMinusTwo)
{
    EXPECT_EQ(Util::GetQDInfoActivityIndex(), -2);

    EXPECT_THAT(platform.sequence,
                ElementsAre(Logged("GetQDInfoActivityIndex", "get activity index \n"), "get " + kActivityIndex));
}

TEST_F(SettingUtil, IgnoresTheIndexThatAFailedReadLeft)
{
    platform.settings.failingNumbers[kActivityIndex] = 5;

    EXPECT_EQ(Util::GetQDInfoActivityIndex(), -2);
}

TEST_F(SettingUtil, LogsAndWritesTheActivityIndex)
{
    for (const int index : kNumbers) {
        platform.sequence.clear();

        Util::SetQDInfoActivityIndex(index);

        EXPECT_THAT(platform.sequence,
                    ElementsAre(Logged("SetQDInfoActivityIndex", "set activity index: " + std::to_string(index) + "\n"),
                                Written(kActivityIndex, index)));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Mode

TEST_F(SettingUtil, ReadsAndLogsTheMode)
{
    for (const int mode : kNumbers) {
        platform.settings.numbers[kMode] = mode;
        platform.sequence.clear();

        EXPECT_EQ(Util::GetQDInfoMode(), mode);

        // The first message contains "state".
        EXPECT_THAT(platform.sequence,
                    ElementsAre(Logged("GetQDInfoMode", "get state data \n"), "get " + kMode,
                                Logged("GetQDInfoMode", "get mode data " + std::to_string(mode) + "\n")));
    }
}

TEST_F(SettingUtil, ReadsAnUnreadableModeAsMinusOne)
{
    EXPECT_EQ(Util::GetQDInfoMode(), -1);

    EXPECT_THAT(platform.sequence, ElementsAre(Logged("GetQDInfoMode", "get state data \n"), "get " + kMode));
}

TEST_F(SettingUtil, IgnoresTheModeThatAFailedReadLeft)
{
    platform.settings.failingNumbers[kMode] = 5;

    EXPECT_EQ(Util::GetQDInfoMode(), -1);
}

TEST_F(SettingUtil, LogsAndWritesTheMode)
{
    for (const int mode : kNumbers) {
        platform.sequence.clear();

        Util::SetQDInfoMode(mode);

        EXPECT_THAT(
            platform.sequence,
            ElementsAre(Logged("SetQDInfoMode", "set mode data " + std::to_string(mode) + "\n"), Written(kMode, mode)));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// State

TEST_F(SettingUtil, HasTheStateZeroWithoutReadingAKey)
{
    EXPECT_EQ(Util::GetQDInfoState(), 0);

    EXPECT_THAT(platform.sequence, ElementsAre(Logged("GetQDInfoState", "get state data (Removed function)\n")));
}

TEST_F(SettingUtil, IgnoresAStateThatIsSet)
{
    Util::SetQDInfoState(7);

    EXPECT_THAT(platform.sequence, ElementsAre(Logged("SetQDInfoState", "set state data (Removed function)\n")));
    EXPECT_EQ(Util::GetQDInfoState(), 0);
    EXPECT_THAT(platform.settings.numbers, IsEmpty());
    EXPECT_THAT(platform.settings.texts, IsEmpty());
}

// ---------------------------------------------------------------------------------------------------------------------
// Activate data

class ActivateData : public PlatformTest {
protected:
    bool Get() { return Util::GetQDInfoActivateData(stateFrom, headendId, deviceType, providerName); }

    void GivenAllKeys()
    {
        platform.settings.numbers = {{kStateFrom, 3}};
        platform.settings.texts = {{kHeadendId, "headend"}, {kDeviceType, "type"}, {kProviderName, "provider"}};
    }

    int stateFrom = 77;
    std::string headendId = "old headend, longer than the new one";
    std::string deviceType = "old type";
    std::string providerName = "old provider";
};

TEST_F(ActivateData, IsReadInOrder)
{
    GivenAllKeys();

    EXPECT_TRUE(Get());

    EXPECT_THAT(platform.sequence,
                ElementsAre(Logged("GetQDInfoActivateData", "get current data \n"), "get " + kStateFrom,
                            "gets " + kHeadendId, "gets " + kDeviceType, "gets " + kProviderName));
    EXPECT_EQ(stateFrom, 3);
    EXPECT_EQ(headendId, "headend");
    EXPECT_EQ(deviceType, "type");
    EXPECT_EQ(providerName, "provider");
}

TEST_F(ActivateData, StaysAsItIsWhenNothingCanBeRead)
{
    EXPECT_TRUE(Get());

    EXPECT_THAT(platform.sequence,
                ElementsAre(Logged("GetQDInfoActivateData", "get current data \n"), "get " + kStateFrom,
                            "gets " + kHeadendId, "gets " + kDeviceType, "gets " + kProviderName));
    EXPECT_EQ(stateFrom, 77);
    EXPECT_EQ(headendId, "old headend, longer than the new one");
    EXPECT_EQ(deviceType, "old type");
    EXPECT_EQ(providerName, "old provider");
}

TEST_F(ActivateData, StaysAsItIsWhereOneKeyCannotBeRead)
{
    GivenAllKeys();
    platform.settings.texts.erase(kDeviceType);

    EXPECT_TRUE(Get());

    EXPECT_EQ(stateFrom, 3);
    EXPECT_EQ(headendId, "headend");
    EXPECT_EQ(deviceType, "old type");
    EXPECT_EQ(providerName, "provider");
}

TEST_F(ActivateData, IgnoresTheStateThatAFailedReadLeft)
{
    platform.settings.failingNumbers[kStateFrom] = 5;

    EXPECT_TRUE(Get());

    EXPECT_EQ(stateFrom, 77);
}

TEST_F(ActivateData, TakesEmptyTexts)
{
    platform.settings.texts = {{kHeadendId, ""}, {kDeviceType, ""}, {kProviderName, ""}};

    EXPECT_TRUE(Get());

    EXPECT_EQ(headendId, "");
    EXPECT_EQ(deviceType, "");
    EXPECT_EQ(providerName, "");
}

TEST_F(ActivateData, IsWrittenInOrder)
{
    Util::SetQDInfoActivateData(-3, "headend", "type", "provider");

    EXPECT_THAT(platform.sequence,
                ElementsAre(Logged("SetQDInfoActivateData", "set current data is -3, headend, type, provider\n"),
                            Written(kStateFrom, -3), "sets " + kHeadendId + " headend", "sets " + kDeviceType + " type",
                            "sets " + kProviderName + " provider"));
    EXPECT_EQ(platform.log.at(0).format, "%s: %s(%d) > <%ld> set current data is %d, %s, %s, %s\n\n");
}

TEST_F(ActivateData, IsWrittenAlsoWhereItIsEmpty)
{
    Util::SetQDInfoActivateData(0, "", "", "");

    EXPECT_THAT(platform.SequenceWithoutLog(), ElementsAre(Written(kStateFrom, 0), "sets " + kHeadendId + " ",
                                                           "sets " + kDeviceType + " ", "sets " + kProviderName + " "));
}

TEST_F(ActivateData, IsReadAsItWasWritten)
{
    Util::SetQDInfoActivateData(INT_MIN, "%s %n", "tab\tand\nline", "Prov\u00edder");

    EXPECT_TRUE(Get());

    EXPECT_EQ(stateFrom, INT_MIN);
    EXPECT_EQ(headendId, "%s %n");
    EXPECT_EQ(deviceType, "tab\tand\nline");
    EXPECT_EQ(providerName, "Prov\u00edder");
}

TEST_F(SettingUtil, IsSilentAboutFailedWritesAndDoesThemAll)
{
    platform.settings.unwritable = {kActivityIndex, kMode, kStateFrom, kHeadendId, kDeviceType, kProviderName};

    Util::SetQDInfoActivityIndex(1);
    Util::SetQDInfoMode(2);
    Util::SetQDInfoActivateData(3, "a", "b", "c");

    EXPECT_THAT(platform.SequenceWithoutLog(),
                ElementsAre(Written(kActivityIndex, 1), Written(kMode, 2), Written(kStateFrom, 3),
                            "sets " + kHeadendId + " a", "sets " + kDeviceType + " b", "sets " + kProviderName + " c"));
    EXPECT_EQ(platform.log.size(), 3U);
    EXPECT_EQ(platform.LogOf(DLOG_DEBUG).size(), 3U);
}

}  // namespace
