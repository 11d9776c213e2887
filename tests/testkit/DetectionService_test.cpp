// SPDX-License-Identifier: Apache-2.0
#include "srcwatch-testkit/DetectionService.h"

#include "srcwatch-testkit/EventQueue.h"
#include "srcwatch-testkit/TestPlatform.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <srcwatch.hpp>

namespace srcwatch_test {
namespace {

class DetectionServiceTest : public testing::Test {
protected:
    DetectionServiceTest() { TestPlatform::Clear(); }

    /// Why it does not start.
    std::string FailureWith(const std::string& argument)
    {
        options.arguments = {argument};
        try {
            const DetectionService service(options);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    ServiceOptions options{SRCWATCH_SERVICE_PROGRAM, {"--profiles", SRCWATCH_PROFILES_FILE}, SRCWATCH_CAPTURES_DIR};
};

TEST_F(DetectionServiceTest, DetectsWhatIsPluggedIn)
{
    DetectionService service(options);
    EventQueue events;

    service.Plug(0, "voltana-vx-home");
    EXPECT_EQ(srcwatch::device(0)->type, srcwatch::DeviceType::set_top_box);
    EXPECT_EQ(events.ExpectEvent<srcwatch::Detected>().port, 0);

    service.Unplug(0);
    EXPECT_FALSE(srcwatch::device(0)->is_present());
}

TEST_F(DetectionServiceTest, TakesAPathAndTheOpticalSource)
{
    DetectionService service(options);

    service.Plug(SRCWATCH_PORT_OPTICAL, SRCWATCH_CAPTURES_DIR "/solhane-arena");

    EXPECT_EQ(srcwatch::device(srcwatch::optical_port)->detail, "Solhane");
}

TEST_F(DetectionServiceTest, KeepsWhatIsPluggedInOverARestart)
{
    {
        DetectionService service(options);
        service.Plug(2, "quellon-bdq900");
    }
    EXPECT_FALSE(srcwatch_is_MVPD_enable());

    DetectionService service(options);

    EXPECT_TRUE(srcwatch_is_MVPD_enable());
    EXPECT_EQ(srcwatch::device(2)->detail, "Quellon");
}

TEST_F(DetectionServiceTest, RefusesWhatIsNoCapture)
{
    DetectionService service(options);

    EXPECT_THROW(service.Plug(0, "no-such-device"), std::runtime_error);
}

TEST_F(DetectionServiceTest, SaysWhyItDoesNotServe)
{
    EXPECT_NE(FailureWith("--no-such-option").find("does not serve: "), std::string::npos);
    EXPECT_NE(FailureWith("--no-such-option").find("no-such-option"), std::string::npos);
}

TEST(ServiceOptions, FindTheCapturesWhereTheEnvironmentSays)
{
    ASSERT_EQ(setenv("SRCWATCH_CAPTURES", "/elsewhere", 1), 0);
    EXPECT_EQ(ServiceOptions().captures, "/elsewhere");
    ASSERT_EQ(unsetenv("SRCWATCH_CAPTURES"), 0);
    EXPECT_NE(ServiceOptions().captures, "/elsewhere");
}

}  // namespace
}  // namespace srcwatch_test
