// SPDX-License-Identifier: Apache-2.0
// What the platform says about itself. The faults themselves are in the tests of srcwatchctl doctor.
#include "HostTest.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <cerrno>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto kNobody = static_cast<uid_t>(-1);

struct Found {
    std::string detail;
    std::string remedy;
};

std::map<std::string, Found> Examine(uid_t serviceUser = kNobody)
{
    std::map<std::string, Found> all;
    const auto add = [](const srcwatch_host_finding* found, void* findings) {
        auto& known = *static_cast<std::map<std::string, Found>*>(findings);
        const bool isNew =
            known.insert({found->check, {found->detail, found->remedy != nullptr ? found->remedy : ""}}).second;
        EXPECT_TRUE(isNew) << found->check;
    };
    EXPECT_EQ(srcwatch_host_examine(serviceUser, add, &all), 0);
    return all;
}

class Examination : public HostTest {
protected:
    Examination() { WriteFile(ConfPath(), "[hdmi]\ninputs=4\n"); }
};

TEST_F(Examination, FindsNothingWhereAllIsWell)
{
    EXPECT_TRUE(InProcess([this] {
        const std::map<std::string, Found> all = Examine(getuid());
        EXPECT_EQ(all.size(), 8U);
        for (const auto& [check, found] : all) EXPECT_THAT(found.remedy, IsEmpty()) << check << ": " << found.detail;
        EXPECT_THAT(all.at("settings-readable").detail, HasSubstr(StateDir() + ", " + RunDir()));
    }));
    EXPECT_EQ(Log(), "");
}

TEST_F(Examination, LeavesNoSettingBehind)
{
    EXPECT_TRUE(InProcess([] {
        Examine();
        const auto expectNone = [](const char* key, const srcwatch_host_value*, void*) { ADD_FAILURE() << key; };
        EXPECT_EQ(srcwatch_host_list_settings(expectNone, nullptr), 0);
    }));
}

TEST_F(Examination, DoesNotJudgeForAServiceThatIsNotKnown)
{
    EXPECT_TRUE(InProcess([] {
        const Found found = Examine().at("settings-owner");
        EXPECT_EQ(found.detail, "the user of the service is not known");
        EXPECT_THAT(found.remedy, IsEmpty());
    }));
}

TEST_F(Examination, NamesTheProcessThatKeepsADatabaseLocked)
{
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run("BEGIN IMMEDIATE"));
    const std::string process = "process " + std::to_string(getpid());
    EXPECT_TRUE(InProcess([process] {
        const Found found = Examine().at("settings-writable");
        EXPECT_THAT(found.detail, HasSubstr(process + " keeps "));
        EXPECT_THAT(found.remedy, HasSubstr("continue " + process + " if it is stopped"));
    }));
}

// A slash at the end of a directory's path is no part of the names of its files.
TEST_F(Examination, TakesADirectoryWithASlash)
{
    GivenEnvironment("SRCWATCH_STATE_DIR", StateDir() + "//");
    EXPECT_TRUE(
        InProcess([this] { EXPECT_THAT(Examine().at("state-directory").detail, HasSubstr(StateDir() + " is ")); }));
}

TEST_F(Examination, RefusesToFindForNobody)
{
    EXPECT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_examine(kNobody, nullptr, nullptr), -EINVAL); }));
}

}  // namespace
