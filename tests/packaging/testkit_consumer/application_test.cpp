// SPDX-License-Identifier: Apache-2.0
//
// The tests of an application as its developer writes them, without a test framework: against a service that the test
// plays, then against the installed one.
#include <cstdio>
#include <exception>

#include <QDInfoActivityInfo.h>
#include <srcwatch-testkit/DetectionService.h>
#include <srcwatch-testkit/EventQueue.h>
#include <srcwatch-testkit/FakeService.h>
#include <srcwatch-testkit/PrivateBus.h>
#include <srcwatch-testkit/TestPlatform.h>
#include <srcwatch.hpp>

namespace {

bool Check(bool holds, const char* what)
{
    if (!holds) std::fprintf(stderr, "not so: %s\n", what);
    return holds;
}

bool ShowsWhatAFakeServiceSays()
{
    srcwatch_test::TestPlatform::Clear();
    srcwatch_test::FakeService service;
    srcwatch_test::EventQueue events;
    qdinfo::CQDInfoActivityInfo player;
    player.SetDeviceType(SRCWATCH_DEVICE_DISC_PLAYER);
    player.SetDeviceName("BDQ-900");

    service.Plug(1, player);

    return Check(events.ExpectEvent<srcwatch::Detected>().name == "BDQ-900", "the detection is announced") &&
           Check(srcwatch::device(1)->name == "BDQ-900", "the device is shown");
}

bool ShowsWhatTheServiceDetects()
{
    srcwatch_test::TestPlatform::Clear();
    srcwatch_test::DetectionService service;
    service.Plug(0, "voltana-vx-home");
    if (!Check(srcwatch::device(0)->type == srcwatch::DeviceType::set_top_box, "the box is shown")) return false;
    service.Unplug(0);
    return Check(!srcwatch::device(0)->is_present(), "the box is gone");
}

}  // namespace

int main(int, char** argv)
try {
    const srcwatch_test::TestPlatform platform(argv, {2});
    const bool isRight = Check(get_hdmi_count() == 2, "the TV has two inputs") &&
                         Check(srcwatch_test::TheBus().IsRunning(), "the bus runs") && ShowsWhatAFakeServiceSays() &&
                         ShowsWhatTheServiceDetects();
    return isRight ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
