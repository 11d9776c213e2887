// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "StoredValues.h"
#include "Waiting.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

class SettingsTest : public testing::Test {
protected:
    /// Attempts something that fails some times first.
    void AttainAfter(int failures, const std::string& name = "saving")
    {
        m_settings.Attain(name, [this, failures, name, attempts = 0]() mutable {
            m_attempts.push_back(name);
            return attempts++ >= failures;
        });
    }

    srcwatch::Settings m_settings;
    std::vector<std::string> m_attempts;
};

TEST_F(SettingsTest, AttemptOnceWhatSucceeds)
{
    AttainAfter(0);

    EXPECT_EQ(m_attempts.size(), 1U);
    EXPECT_FALSE(m_settings.IsPending("saving"));
    EXPECT_EQ(m_settings.PendingCount(), 0U);
}

TEST_F(SettingsTest, RepeatWhatFailsUntilItSucceeds)
{
    bool succeeds = false;
    m_settings.Attain("saving", [&] { return succeeds; });
    EXPECT_TRUE(m_settings.IsPending("saving"));
    EXPECT_FALSE(m_settings.Repeat());

    succeeds = true;

    EXPECT_TRUE(RunUntil([&] { return m_settings.PendingCount() == 0; }));
}

TEST_F(SettingsTest, ForgetAnAttemptForANewerOne)
{
    AttainAfter(1000);
    AttainAfter(0);

    EXPECT_FALSE(m_settings.IsPending("saving"));
    m_attempts.clear();
    EXPECT_TRUE(m_settings.Repeat());
    EXPECT_TRUE(m_attempts.empty());
}

TEST_F(SettingsTest, RepeatAllThatFails)
{
    bool succeeds = false;
    m_settings.Attain("one", [&] { return succeeds; });
    m_settings.Attain("other", [&] { return succeeds; });
    EXPECT_EQ(m_settings.PendingCount(), 2U);

    succeeds = true;

    EXPECT_TRUE(m_settings.Repeat());
}

TEST_F(SettingsTest, TakeAttemptsFromAttempts)
{
    bool succeeds = false;
    m_settings.Attain("outer", [&] {
        m_settings.Attain("inner", [&] { return succeeds; });
        return true;
    });
    EXPECT_FALSE(m_settings.IsPending("outer"));
    EXPECT_TRUE(m_settings.IsPending("inner"));

    succeeds = true;

    EXPECT_TRUE(m_settings.Repeat());
}

TEST(StoredValues, DistinguishAbsentFromRead)
{
    vconf_set_int("memory/number", 7);
    vconf_set_str("memory/text", "seven");
    int number = 0;
    std::string text;

    EXPECT_EQ(srcwatch::ReadNumber("memory/number", number), srcwatch::ReadResult::kRead);
    EXPECT_EQ(srcwatch::ReadText("memory/text", text), srcwatch::ReadResult::kRead);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(text, "seven");
    EXPECT_EQ(srcwatch::ReadNumber("memory/text", number), srcwatch::ReadResult::kAbsent);
    EXPECT_EQ(srcwatch::ReadText("memory/number", text), srcwatch::ReadResult::kAbsent);
    EXPECT_EQ(srcwatch::ReadNumber("memory/none", number), srcwatch::ReadResult::kAbsent);
    EXPECT_EQ(srcwatch::ReadText("memory/none", text), srcwatch::ReadResult::kAbsent);
    EXPECT_EQ(srcwatch::ReadText("other/none", text), srcwatch::ReadResult::kFailed);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(text, "seven");
}

}  // namespace
}  // namespace srcwatch_test
