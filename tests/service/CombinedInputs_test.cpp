// SPDX-License-Identifier: Apache-2.0
#include "CombinedInputs.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace srcwatch_test {
namespace {

using srcwatch::Capture;
using testing::ElementsAre;
using testing::IsEmpty;

// Knows one port, 0, and does what a test says.
class FakeBackEnd : public srcwatch::InputBackEnd {
public:
    std::string Start(srcwatch::InputListener& toBeTold) override
    {
        listener = &toBeTold;
        return failure;
    }
    bool IsPlugged(int /*port*/) const override { return isPlugged; }
    srcwatch::Evidence ReadEvidence(int port) const override { return EvidenceOf(ReadCapture(port), port + 1); }
    Capture ReadCapture(int /*port*/) const override { return capture; }
    void Refresh(int /*port*/) override { calls.emplace_back("refresh"); }
    bool IsSettling(int /*port*/) const override { return isSettling; }
    void CancelSettling(int /*port*/) override { calls.emplace_back("cancel"); }
    void SettleLater(int /*port*/) override { calls.emplace_back("later"); }

    void Plug()
    {
        isPlugged = true;
        listener->OnPlugged(0);
    }
    void Unplug()
    {
        isPlugged = false;
        listener->OnUnplugged(0);
    }

    srcwatch::InputListener* listener = nullptr;
    std::string failure;
    bool isPlugged = false;
    bool isSettling = false;
    Capture capture;
    std::vector<std::string> calls;
};

class CombinedInputsTest : public testing::Test, private srcwatch::InputListener {
protected:
    CombinedInputsTest() : m_inputs(Make()) {}

    std::vector<std::string> m_reports;
    FakeBackEnd* m_first = nullptr;
    FakeBackEnd* m_second = nullptr;
    srcwatch::CombinedInputs m_inputs;

    std::string Start() { return m_inputs.Start(*this); }

private:
    std::vector<std::unique_ptr<srcwatch::InputBackEnd>> Make()
    {
        std::vector<std::unique_ptr<srcwatch::InputBackEnd>> backEnds;
        for (FakeBackEnd** member : {&m_first, &m_second}) {
            auto backEnd = std::make_unique<FakeBackEnd>();
            *member = backEnd.get();
            backEnds.push_back(std::move(backEnd));
        }
        return backEnds;
    }

    void OnPlugged(int port) override { m_reports.push_back("plugged " + std::to_string(port)); }
    void OnUnplugged(int port) override { m_reports.push_back("unplugged " + std::to_string(port)); }
    void OnSettled(int port) override { m_reports.push_back("settled " + std::to_string(port)); }
    void OnInputsLost(const std::string& reason) override { m_reports.push_back("lost: " + reason); }
};

TEST_F(CombinedInputsTest, APortIsPluggedOnceForAll)
{
    ASSERT_EQ(Start(), "");

    m_first->Plug();
    m_second->Plug();
    m_second->listener->OnSettled(0);
    m_first->Unplug();
    EXPECT_TRUE(m_inputs.IsPlugged(0));
    m_second->Unplug();

    EXPECT_FALSE(m_inputs.IsPlugged(0));
    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0", "settled 0", "unplugged 0"));
}

TEST_F(CombinedInputsTest, WhatIsLeftIsNotDetectedTwice)
{
    ASSERT_EQ(Start(), "");
    m_first->Plug();
    m_second->Plug();
    m_second->isSettling = true;

    m_first->Unplug();

    EXPECT_THAT(m_reports, ElementsAre("plugged 0"));
}

TEST_F(CombinedInputsTest, TheFirstThatHasAnItemWins)
{
    ASSERT_EQ(Start(), "");
    m_first->Plug();
    m_first->capture.cec = "4f:84:10:00:04\n40:47:41\n";
    m_second->Plug();
    m_second->capture.cec = "4f:84:10:00:04\n40:47:42\n";
    m_second->capture.aksv = {0x0f, 0x0f, 0x0f, 0x0f, 0x0f};

    const srcwatch::Evidence evidence = m_inputs.ReadEvidence(0);

    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "A");
    EXPECT_NE(ValueOf(evidence.aksv), nullptr);
    EXPECT_EQ(evidence.hdmiInput, 1);
    EXPECT_EQ(m_inputs.ReadCapture(0).cec, m_first->capture.cec);
    EXPECT_EQ(m_inputs.ReadCapture(0).aksv, m_second->capture.aksv);
    EXPECT_THAT(m_inputs.ReadCapture(0).spd, IsEmpty());
}

TEST_F(CombinedInputsTest, OnlyThoseThatHaveADeviceCount)
{
    ASSERT_EQ(Start(), "");
    m_first->capture.cec = "4f:84:10:00:04\n40:47:41\n";
    m_second->Plug();
    m_second->capture.cec = "4f:84:10:00:04\n40:47:42\n";

    EXPECT_EQ(m_inputs.ReadEvidence(0).CecDeviceOnPort()->osdName, "B");
    m_inputs.SettleLater(0);
    EXPECT_THAT(m_first->calls, IsEmpty());
    EXPECT_THAT(m_second->calls, ElementsAre("later"));
}

TEST_F(CombinedInputsTest, WhatIsAskedOfAllReachesAll)
{
    ASSERT_EQ(Start(), "");
    m_second->isSettling = true;

    m_inputs.Refresh(0);
    m_inputs.CancelSettling(0);

    EXPECT_TRUE(m_inputs.IsSettling(0));
    EXPECT_THAT(m_first->calls, ElementsAre("refresh", "cancel"));
    EXPECT_THAT(m_second->calls, ElementsAre("refresh", "cancel"));
}

TEST_F(CombinedInputsTest, OneThatCannotStartEndsTheStart)
{
    m_second->failure = "broken";

    EXPECT_EQ(Start(), "broken");
}

TEST_F(CombinedInputsTest, OneThatIsLostIsReported)
{
    ASSERT_EQ(Start(), "");

    m_first->listener->OnInputsLost("the directory is gone");

    EXPECT_THAT(m_reports, ElementsAre("lost: the directory is gone"));
}

}  // namespace
}  // namespace srcwatch_test
