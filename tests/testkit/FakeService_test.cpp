// SPDX-License-Identifier: Apache-2.0
#include "srcwatch-testkit/FakeService.h"

#include "srcwatch-api.h"
#include "srcwatch-protocol.h"
#include "srcwatch-testkit/EventQueue.h"
#include "srcwatch-testkit/TestPlatform.h"

#include <chrono>
#include <stdexcept>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

qdinfo::CQDInfoActivityInfo DiscPlayer()
{
    qdinfo::CQDInfoActivityInfo record;
    record.SetDeviceType(SRCWATCH_DEVICE_DISC_PLAYER);
    record.SetDeviceName("BDQ-900");
    record.SetBrandName("Quellon");
    record.SetCECName("BDQ Player");
    record.SetChangedType(SRCWATCH_CHANGED_NEW);
    return record;
}

bool IsServiceThere() { return qdinfo::CQDEventSender("qdinfo").IsServiceAvailable() == 1; }

class FakeServiceTest : public testing::Test {
protected:
    FakeServiceTest() { TestPlatform::Clear(); }

    EventQueue events;
};

TEST_F(FakeServiceTest, IsTheServiceWhileItExists)
{
    EXPECT_FALSE(IsServiceThere());
    {
        const FakeService service;
        EXPECT_TRUE(IsServiceThere());
        EXPECT_TRUE(srcwatch_is_MVPD_enable());
        EXPECT_TRUE(srcwatch_is_HotPlug_enable());
    }
    EXPECT_FALSE(IsServiceThere());
    EXPECT_FALSE(srcwatch_is_MVPD_enable());
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
}

TEST_F(FakeServiceTest, ShowsADeviceThatIsPluggedIn)
{
    FakeService service;
    ASSERT_TRUE(srcwatch_is_no_device());

    service.Plug(1, DiscPlayer());

    EXPECT_FALSE(srcwatch_is_no_device());
    const srcwatch::Device device = srcwatch::device(1).value();
    EXPECT_EQ(device.type, srcwatch::DeviceType::disc_player);
    EXPECT_EQ(device.name, "BDQ-900");
    EXPECT_EQ(device.detail, "Quellon");
    EXPECT_EQ(srcwatch::cec_name(1).value(), "BDQ Player");
    EXPECT_FALSE(srcwatch::device(0)->is_present());
    EXPECT_EQ(Describe(events.ExpectEvent<srcwatch::ConnectionChanged>()), "ConnectionChanged: port 1, plugged");
    EXPECT_EQ(Describe(events.ExpectEvent<srcwatch::Detected>()),
              "Detected: port 1, disc player, another device, 'BDQ-900', 'Quellon', ''");
}

TEST_F(FakeServiceTest, RemovesADeviceThatIsUnplugged)
{
    FakeService service;
    service.Plug(1, DiscPlayer());
    service.Plug(2, DiscPlayer());

    service.Unplug(1);

    EXPECT_FALSE(srcwatch::device(1)->is_present());
    EXPECT_TRUE(srcwatch::device(2)->is_present());
    static_cast<void>(
        events.ExpectEvent<srcwatch::ConnectionChanged>([](const auto& e) { return e.port == 1 && !e.plugged; }));
    service.Unplug(2);
    EXPECT_TRUE(srcwatch_is_no_device());
}

TEST_F(FakeServiceTest, KeepsTheOpticalSourceApart)
{
    FakeService service;

    service.Plug(SRCWATCH_PORT_OPTICAL, DiscPlayer());

    EXPECT_EQ(srcwatch::device(srcwatch::optical_port)->name, "BDQ-900");
    EXPECT_FALSE(srcwatch::device(0)->is_present());
    EXPECT_EQ(events.ExpectEvent<srcwatch::Detected>().port, SRCWATCH_PORT_OPTICAL);
}

TEST_F(FakeServiceTest, RefusesAPortThatTheTvDoesNotHave)
{
    FakeService service;

    EXPECT_THROW(service.Plug(3, DiscPlayer()), std::runtime_error);
    EXPECT_THROW(service.Plug(-1, DiscPlayer()), std::runtime_error);
    EXPECT_THROW(service.Unplug(98), std::runtime_error);
}

TEST_F(FakeServiceTest, GetsCommandsAndShowsAScan)
{
    FakeService service;
    const srcwatch::Scan scan = srcwatch::scan();
    scan.stop();

    EXPECT_EQ(service.ExpectCommand(), SCAN_COMMAND_OOBE_START);
    EXPECT_EQ(service.ExpectCommand(), SCAN_COMMAND_OOBE_STOP);
    EXPECT_THROW(service.ExpectCommand(std::chrono::milliseconds(1)), std::runtime_error);

    FakeService::ProceedScan(45, 1);
    EXPECT_EQ(scan.progress()->percent, 45);
    EXPECT_EQ(events.ExpectEvent<srcwatch::ScanProgressed>().percent, 45);

    FakeService::FinishScan(SRCWATCH_SCAN_NOTHING_FOUND, 0);
    EXPECT_EQ(scan.progress()->stage, srcwatch::ScanStage::nothing_found);
    EXPECT_EQ(events.ExpectEvent<srcwatch::ScanFinished>().result, SRCWATCH_SCAN_NOTHING_FOUND);
}

}  // namespace
}  // namespace srcwatch_test
