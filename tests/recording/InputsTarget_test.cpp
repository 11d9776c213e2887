// SPDX-License-Identifier: Apache-2.0
#include "InputsTarget.h"

#include "JsonText.h"
#include "TempDirectory.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kNoPort = 7;

class Target : public srcwatch::InputsTarget {
public:
    using InputsTarget::InputsTarget;

    mutable std::vector<std::string> faults;

private:
    bool MayPlug(int port) const override { return port != kNoPort; }
    void Check(const srcwatch::InputOutcome& outcome) const override
    {
        if (!outcome.IsDone()) faults.push_back(outcome.reason);
    }
};

class InputsTargetTest : public testing::Test {
protected:
    void Apply(const std::string& entry)
    {
        m_target.Apply(*srcwatch::ParseJson(entry));
        m_target.Settle();
    }
    std::string CecOf(int port) const { return m_inputs.Read(port).cec; }
    // Changes whenever a file of the device is written.
    fs::file_time_type TimeOf(const std::string& name) const { return fs::last_write_time(m_place / name); }

    const srcwatch_test::TempDirectory m_place;
    const srcwatch::InputsDirectory m_inputs{m_place.Path()};
    Target m_target{m_inputs};
};

TEST_F(InputsTargetTest, PlugsAndUnplugs)
{
    Apply(R"({"kind":"input","port":1,"capture":{"cec":"a"}})");
    EXPECT_EQ(m_inputs.TargetOf(1), ".replayed/hdmi2");
    EXPECT_EQ(CecOf(1), "a");

    Apply(R"({"kind":"input","port":1,"capture":null})");
    Apply(R"({"kind":"input","port":2,"capture":null})");

    EXPECT_FALSE(m_inputs.IsPlugged(1));
    EXPECT_TRUE(m_target.faults.empty());
}

TEST_F(InputsTargetTest, GivesADeviceOtherFiles)
{
    Apply(R"({"kind":"input","port":1,"capture":{"spd":"00"}})");
    fs::last_write_time(m_place / ".replayed/hdmi2", {});

    Apply(R"({"kind":"input","port":1,"capture":{"spd":"00"}})");
    EXPECT_EQ(TimeOf(".replayed/hdmi2"), fs::file_time_type());
    Apply(R"({"kind":"input","port":1,"capture":{"cec":"b"}})");

    EXPECT_EQ(CecOf(1), "b");
    EXPECT_TRUE(m_inputs.Read(1).spd.empty());
}

TEST_F(InputsTargetTest, RestoresWhatASnapshotHas)
{
    for (const int port : {0, 1, 2}) {
        ASSERT_TRUE(m_inputs.Plug(port, {{}, "a", {}}).IsDone());
        fs::last_write_time(m_place / (".replayed/hdmi" + std::to_string(port + 1)), {});
    }
    ASSERT_TRUE(m_inputs.Link(4, "/elsewhere").IsDone());

    Apply(R"({"kind":"snapshot","inputs":[{"port":0,"capture":{"cec":"a"}},{"port":1,"capture":{"cec":"b"}},
                                          {"port":3,"capture":{"cec":"c"}}]})");

    EXPECT_EQ(TimeOf(".replayed/hdmi1"), fs::file_time_type());
    EXPECT_EQ(CecOf(1), "b");
    EXPECT_FALSE(m_inputs.IsPlugged(2));
    EXPECT_EQ(CecOf(3), "c");
    EXPECT_EQ(m_inputs.TargetOf(4), "/elsewhere");
    Apply(R"({"kind":"snapshot"})");
    EXPECT_TRUE(m_inputs.IsPlugged(0));
    EXPECT_TRUE(m_target.faults.empty());
}

TEST_F(InputsTargetTest, LeavesPortsThatHaveAnotherDeviceOrAreNot)
{
    ASSERT_TRUE(m_inputs.Link(1, "/elsewhere").IsDone());

    Apply(R"({"kind":"input","port":1,"capture":{"cec":"a"}})");
    Apply(R"({"kind":"input","port":1,"capture":null})");
    Apply(R"({"kind":"input","port":7,"capture":{"cec":"a"}})");

    EXPECT_THAT(m_target.faults, ElementsAre(HasSubstr("is already plugged into HDMI 2")));
    EXPECT_EQ(m_inputs.TargetOf(1), "/elsewhere");
    EXPECT_FALSE(m_inputs.IsPlugged(kNoPort));
}

TEST_F(InputsTargetTest, SettlesOnce)
{
    m_target.Apply(*srcwatch::ParseJson(R"({"kind":"input","port":1,"capture":{"cec":"a"}})"));
    m_target.Apply(*srcwatch::ParseJson(R"({"kind":"input","port":2,"capture":{"cec":"a"}})"));
    m_target.Apply(*srcwatch::ParseJson(R"({"kind":"input","port":2,"capture":null})"));
    EXPECT_FALSE(m_inputs.IsPlugged(1));

    m_target.Settle();

    EXPECT_TRUE(m_inputs.IsPlugged(1));
    EXPECT_FALSE(fs::exists(m_place / ".replayed/hdmi3"));
}

TEST_F(InputsTargetTest, WantsInputsOnly)
{
    const auto wants = [&](const std::string& entry) { return m_target.Wants(*srcwatch::ParseJson(entry)); };

    EXPECT_TRUE(wants(R"({"kind":"input"})"));
    EXPECT_TRUE(wants(R"({"kind":"snapshot","inputs":[]})"));
    EXPECT_FALSE(wants(R"({"kind":"snapshot"})"));
    EXPECT_FALSE(wants(R"({"kind":"event"})"));
}

}  // namespace
