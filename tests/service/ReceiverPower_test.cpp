// SPDX-License-Identifier: Apache-2.0
#include "ReceiverPower.h"

#include "CecTest.h"
#include "Waiting.h"

#include <cerrno>
#include <memory>
#include <utility>

#include <gmock/gmock.h>
#include <linux/videodev2.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A receiver whose driver answers as the test wants.
class FakeReceiver : public srcwatch::DeviceCalls {
public:
    int Open(const std::string& path) override
    {
        EXPECT_EQ(path, "/dev/video7");
        if (openError == 0) ++opened;
        return openError == 0 ? 5 : -openError;
    }

    int Control(int descriptor, unsigned long request, void* argument) override
    {
        EXPECT_EQ(descriptor, 5);
        EXPECT_EQ(request, VIDIOC_G_CTRL);
        auto& control = *static_cast<v4l2_control*>(argument);
        EXPECT_EQ(control.id, V4L2_CID_DV_RX_POWER_PRESENT);
        ++asked;
        if (controlError == 0) control.value = static_cast<__s32>(inputs);
        return controlError;
    }

    void Close(int /*descriptor*/) override { --opened; }

    unsigned inputs = 0;
    int openError = 0;
    int controlError = 0;
    int opened = 0;
    int asked = 0;
};

class ReceiverPowerTest : public CecTest {
protected:
    void StartPower(unsigned settling = 5)
    {
        m_power = std::make_unique<srcwatch::ReceiverPower>("/dev/video7", srcwatch::ReceiverPower::Times{5, settling},
                                                            srcwatch::PortSet{4}, m_receiver);
        EXPECT_EQ(m_power->Start(*this), "");
    }

    bool WaitForQuestions(int count)
    {
        const int until = m_receiver.asked + count;
        return RunUntil([&] { return m_receiver.asked >= until; });
    }

    FakeReceiver m_receiver;
    std::unique_ptr<srcwatch::ReceiverPower> m_power;
};

TEST_F(ReceiverPowerTest, FollowsThePowerOfEachInput)
{
    StartPower();
    EXPECT_THAT(m_reports, IsEmpty());

    m_receiver.inputs = 0b1001;
    ASSERT_TRUE(WaitForReports(4));
    EXPECT_THAT(m_reports, testing::UnorderedElementsAre("plugged 0", "plugged 3", "settled 0", "settled 3"));
    EXPECT_TRUE(m_power->IsPlugged(3));
    EXPECT_FALSE(m_power->IsPlugged(1));
    EXPECT_EQ(m_power->ReadEvidence(3).hdmiInput, 4);
    m_reports.clear();
    m_receiver.inputs = 0b1000;
    ASSERT_TRUE(WaitForReports(1));

    EXPECT_THAT(m_reports, ElementsAre("unplugged 0"));
    EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(ReceiverPowerTest, KnowsOnlyTheInputsOfTheTv)
{
    m_receiver.inputs = 0xfffffff0;
    StartPower();
    ASSERT_TRUE(WaitForQuestions(2));

    EXPECT_THAT(m_reports, IsEmpty());
    EXPECT_FALSE(m_power->IsPlugged(4));
    EXPECT_FALSE(m_power->IsPlugged(99));
}

TEST_F(ReceiverPowerTest, LeavesTimeForWhatOthersKnow)
{
    m_receiver.inputs = 1;
    StartPower(60000);

    EXPECT_THAT(m_reports, ElementsAre("plugged 0"));
    EXPECT_TRUE(m_power->IsSettling(0));
    m_power->CancelSettling(0);
    EXPECT_FALSE(m_power->IsSettling(0));
    EXPECT_FALSE(m_power->IsSettling(99));
}

TEST_F(ReceiverPowerTest, StopsSettlingWhenThePowerIsGone)
{
    m_receiver.inputs = 1;
    StartPower(60000);
    m_receiver.inputs = 0;
    m_power->Refresh(0);

    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "unplugged 0"));
    EXPECT_FALSE(m_power->IsSettling(0));
}

TEST_F(ReceiverPowerTest, TellsOnceThatADriverDoesNotKnow)
{
    m_receiver.controlError = EINVAL;
    StartPower();
    ASSERT_TRUE(WaitForQuestions(3));

    EXPECT_EQ(LogLinesWith("/dev/video7: cannot report +5 V: Invalid argument"), 1);
    EXPECT_THAT(m_reports, IsEmpty());
}

TEST_F(ReceiverPowerTest, FindsAReceiverThatWasAway)
{
    m_receiver.inputs = 1;
    StartPower();
    ASSERT_TRUE(WaitForReports(2));
    m_receiver.controlError = ENODEV;
    ASSERT_TRUE(WaitForReports(3));
    m_receiver.openError = ENOENT;
    ASSERT_TRUE(RunUntil([&] { return LogLinesWith("cannot be opened: No such file or directory") == 1; }));
    m_receiver.openError = 0;
    m_receiver.controlError = 0;
    ASSERT_TRUE(WaitForReports(5));

    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0", "unplugged 0", "plugged 0", "settled 0"));
    EXPECT_EQ(m_receiver.opened, 1);
    m_power.reset();
    EXPECT_EQ(m_receiver.opened, 0);
}

}  // namespace
}  // namespace srcwatch_test
