// SPDX-License-Identifier: Apache-2.0
//
// features, twc.
#include "BusOnlyService.h"
#include "QDInfoNames.h"
#include "ToolTest.h"

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

const char* const kCommandKey = qdinfo::kScanProgressKey;

class StateCommands : public ToolTest {};

TEST_F(StateCommands, FeaturesShowsWhatApplicationsCanAsk)
{
    Set(qdinfo::kHotplugSupportKey, "1", "--int");
    Set(qdinfo::kMvpdSupportKey, "2", "--int");

    const Json::Value document = Document({"features"}, "features");

    EXPECT_EQ(document["hdmi_count"], 4);
    EXPECT_EQ(document["hotplug_enabled"], true);
    EXPECT_EQ(document["hotplug_running"], false);
    EXPECT_EQ(document["mvpd_enabled"], false);
    EXPECT_EQ(document["no_device"], true);
    EXPECT_EQ(document["calvix_remote"], true);
    EXPECT_TRUE(document["infrared_remote"].isNull());
}

TEST_F(StateCommands, FeaturesKnowsAConnectedDevice)
{
    Set(qdinfo::kMvpdSupportKey, "1", "--int");
    Set("memory/tv/source/15/connected", "1", "--int");

    EXPECT_EQ(Document({"features"}, "features")["no_device"], false);
}

TEST_F(StateCommands, FeaturesAreUnknownOnAnUnknownTv)
{
    WriteFile("platform.conf", "");

    const Json::Value document = Document({"features"}, "features");

    EXPECT_EQ(document["hdmi_count"], -1);
    EXPECT_TRUE(document["calvix_remote"].isNull());
}

TEST_F(StateCommands, TwcStartsAndEndsTheCheckOfAPort)
{
    const BusOnlyService service;
    Document({"twc", "start", "3"}, "twc start");
    EXPECT_EQ(Get(kCommandKey), "2013");

    Document({"twc", "end", "0"}, "twc end");
    EXPECT_EQ(Get(kCommandKey), "2020");
    EXPECT_EQ(Document({"twc", "status"}, "twc status")["frames"], 3);
}

TEST_F(StateCommands, TwcReportsATunedChannel)
{
    const BusOnlyService service;
    Document({"twc", "tuned", "-12", "5"}, "twc tuned");

    const Json::Value status = Document({"twc", "status"}, "twc status");
    EXPECT_EQ(status["sequence"], -12);
    EXPECT_EQ(status["frames"], 5);
}

TEST_F(StateCommands, TwcShowsEveryState)
{
    EXPECT_EQ(Document({"twc", "status"}, "twc status")["state"], "no check");
    EXPECT_EQ(Document({"twc"}, "twc status")["state"], "no check");
    EXPECT_TRUE(Fails(Run({"twc", "nonsense"}), 2, "nonsense"));
    for (const auto& [status, state] : std::map<const char*, const char*>{{"-1", "no check"},
                                                                          {"0", "no set-top box"},
                                                                          {"1", "waiting for a channel"},
                                                                          {"2", "tuned"},
                                                                          {"9", "unknown"}}) {
        Set(qdinfo::kTwcStatusKey, status, "--int");

        EXPECT_EQ(Document({"twc", "status"}, "twc status")["state"], state);
    }
}

TEST_F(StateCommands, TunedReadsItsNumbersAsDecimal)
{
    const BusOnlyService service;
    EXPECT_EQ(Document({"twc", "tuned", "010", "09"}, "twc tuned")["sequence"], 10);
    EXPECT_TRUE(Fails(Run({"twc", "tuned", "0x10", "1"}), 2, "'0x10' is not a 32-bit number"));
}

TEST_F(StateCommands, TwcRefusesPortsThatCannotBeChecked)
{
    EXPECT_TRUE(Fails(Run({"twc", "start", "8"}), 2, "PORT"));
    EXPECT_TRUE(Fails(Run({"twc", "start", "4"}), 1, "the TV has no input HDMI 5"));
    EXPECT_TRUE(Fails(Run({"twc", "start", "99"}), 2, "PORT"));
    EXPECT_TRUE(Fails(Run({"twc", "end", "-1"}), 2, "PORT"));
    EXPECT_TRUE(Fails(Run({"twc", "tuned", "1"}), 2, "FRAMES"));
    EXPECT_TRUE(Fails(Run({"settings", "get", kCommandKey}), 1, "no such setting"));
}

TEST_F(StateCommands, TwcWritesNothingWithoutAService)
{
    EXPECT_TRUE(Fails(Run({"twc", "start", "0"}), 4, "no detection service is running"));
    EXPECT_TRUE(Fails(Run({"twc", "end", "0"}), 4, "no detection service is running"));
    EXPECT_TRUE(Fails(Run({"twc", "tuned", "1", "2"}), 4, "no detection service is running"));
    EXPECT_TRUE(Fails(Run({"settings", "get", kCommandKey}), 1, "no such setting"));
}

TEST_F(StateCommands, TwcFailsWhenTheCommandCannotBeWritten)
{
    const BusOnlyService service;
    SetVariable("SRCWATCH_RUN_DIR", "/dev/null/run");

    EXPECT_TRUE(Fails(Run({"twc", "start", "0"}), 1, "could not be written"));
}

}  // namespace
