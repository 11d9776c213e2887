// SPDX-License-Identifier: Apache-2.0
#include "State.h"

#include <gtest/gtest.h>

namespace {

using panel::State;

Json::Value Port(int number, const std::string& state)
{
    Json::Value port;
    port["port"] = number;
    port["state"] = state;
    return port;
}

TEST(PanelState, ChangesWhenAMemberDiffers)
{
    State state;
    state.Set("a", 1);
    state.Set("b", 2);
    EXPECT_EQ(state.TakeChange()["b"], 2);

    state.Set("a", 1);
    state.Set("b", 3);
    const Json::Value change = state.TakeChange();

    EXPECT_FALSE(change.isMember("a"));
    EXPECT_EQ(change["b"], 3);
    EXPECT_TRUE(state.TakeChange().isNull());
    EXPECT_EQ(state.Snapshot()["a"], 1);
}

TEST(PanelState, SetsAMemberThatIsNull)
{
    State state;
    state.Set("a", Json::Value());

    EXPECT_TRUE(state.TakeChange().isMember("a"));
    EXPECT_TRUE(state.Snapshot().isMember("a"));
}

TEST(PanelState, ChangesByPortsThatDiffer)
{
    State state;
    state.SetPort(Port(0, "empty"));
    state.SetPort(Port(1, "empty"));
    EXPECT_EQ(state.TakeChange()["ports"].size(), 2U);

    state.SetPort(Port(0, "empty"));
    state.SetPort(Port(1, "plugged"));
    state.SetPort(Port(1, "detected"));
    const Json::Value change = state.TakeChange();

    ASSERT_EQ(change["ports"].size(), 1U);
    EXPECT_EQ(change["ports"][0], Port(1, "detected"));
    EXPECT_EQ(state.Snapshot()["ports"].size(), 2U);
}

TEST(PanelState, ListsPortsInTheirOrder)
{
    State state;
    for (const int port : {99, 1, 0}) state.SetPort(Port(port, "empty"));

    const Json::Value ports = state.Snapshot()["ports"];

    EXPECT_EQ(ports[0]["port"], 0);
    EXPECT_EQ(ports[2]["port"], 99);
}

TEST(PanelState, ChangesByWhatIsAddedToAList)
{
    State state;
    state.Append("events", 1);
    EXPECT_EQ(state.TakeChange()["events"].size(), 1U);

    state.Append("events", 2);
    const Json::Value change = state.TakeChange();

    ASSERT_EQ(change["events"].size(), 1U);
    EXPECT_EQ(change["events"][0], 2);
    EXPECT_EQ(state.Snapshot()["events"].size(), 2U);
    EXPECT_EQ(state.Snapshot()["log"].size(), 0U);
}

TEST(PanelState, KeepsTheLastLinesOfAList)
{
    State state;
    for (int i = 1; i <= 2345; ++i) state.Append("log", i);

    for (const Json::Value& list : {state.Snapshot()["log"], state.TakeChange()["log"]}) {
        ASSERT_EQ(list.size(), 500U);
        EXPECT_EQ(list[0], 1846);
        EXPECT_EQ(list[499], 2345);
    }
}

}  // namespace
