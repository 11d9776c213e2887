// SPDX-License-Identifier: Apache-2.0
#include "srcwatch-testkit/EventQueue.h"

#include "srcwatch-testkit/FakeService.h"
#include "srcwatch-testkit/TestPlatform.h"

#include <chrono>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

class EventQueueTest : public testing::Test {
protected:
    EventQueueTest() { TestPlatform::Clear(); }

    EventQueue events;
};

TEST_F(EventQueueTest, ReturnsTheFirstThatIsMeantAndKeepsOthers)
{
    FakeService::Announce(srcwatch::ScanProgressed{10, 0});
    FakeService::Announce(srcwatch::ScanProgressed{45, 1});
    FakeService::Announce(srcwatch::ConnectionChanged{2, true});
    FakeService::Announce(srcwatch::ScanProgressed{90, 2});

    const auto progress = events.ExpectEvent<srcwatch::ScanProgressed>([](const auto& e) { return e.percent > 40; });

    EXPECT_EQ(progress.percent, 45);
    EXPECT_TRUE(events.ExpectEvent<srcwatch::ConnectionChanged>().plugged);
    EXPECT_EQ(events.ExpectEvent<srcwatch::ScanProgressed>().percent, 10);
    EXPECT_EQ(events.ExpectEvent<srcwatch::ScanProgressed>().percent, 90);
    EXPECT_TRUE(events.Events().empty());
}

TEST_F(EventQueueTest, SaysWhatHasComeInstead)
{
    FakeService::Announce(srcwatch::Detected{1, srcwatch::DeviceType::disc_player, true, "BDQ-900", "Quellon", ""});
    FakeService::Announce(srcwatch::ScanFinished{0, 3});
    ASSERT_TRUE(RunUntil([this] { return events.Events().size() == 2; }));

    std::string reason;
    try {
        static_cast<void>(events.ExpectEvent<srcwatch::ConnectionChanged>(nullptr, std::chrono::milliseconds(1)));
    } catch (const std::runtime_error& error) {
        reason = error.what();
    }

    EXPECT_EQ(reason,
              "no such event ConnectionChanged within 1 ms; what has come:\n"
              "  Detected: port 1, disc player, another device, 'BDQ-900', 'Quellon', ''\n"
              "  ScanFinished: result 0, 3 found");
}

TEST_F(EventQueueTest, LeavesTheCallbackToTheApplication)
{
    int heard = 0;
    const auto subscription = srcwatch::subscribe([&heard](const srcwatch::Event&) { ++heard; });
    ASSERT_TRUE(subscription);

    FakeService::Announce(srcwatch::ConnectionChanged{0, false});

    EXPECT_FALSE(events.ExpectEvent<srcwatch::ConnectionChanged>().plugged);
    EXPECT_TRUE(RunUntil([&heard] { return heard == 1; }));
}

}  // namespace
}  // namespace srcwatch_test
