// SPDX-License-Identifier: Apache-2.0
//
// plug, unplug.
#include "ToolTest.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;

using namespace srcwatch_test;
using testing::HasSubstr;

class InputCommands : public ToolTest {};

TEST_F(InputCommands, PlugLinksACaptureByItsName)
{
    const Json::Value document = Document({"plug", "0", "tivaro-one"}, "plug");

    EXPECT_EQ(document["input"], Path("inputs/hdmi1"));
    EXPECT_TRUE(fs::equivalent(Path("inputs/hdmi1"), SRCWATCH_CAPTURES_DIR "/tivaro-one"));
}

TEST_F(InputCommands, PlugLinksADirectoryAnywhereByAnAbsolutePath)
{
    fs::create_directories(Path("device"));

    EXPECT_EQ(Run({"plug", "99", Path("inputs/../device")}).code, 0);

    EXPECT_EQ(fs::read_symlink(Path("inputs/optical")), fs::canonical(Path("device")));
}

TEST_F(InputCommands, PlugLeavesAnInputAloneThatHasADevice)
{
    ASSERT_EQ(Run({"plug", "1", "tivaro-one"}).code, 0);

    EXPECT_TRUE(Fails(Run({"plug", "1", "kestelle-k2"}), 1, "a device is already plugged into HDMI 2"));
    EXPECT_EQ(fs::read_symlink(Path("inputs/hdmi2")).filename(), "tivaro-one");
}

TEST_F(InputCommands, PlugRefusesWhatIsNoCaptureOrNoInput)
{
    EXPECT_TRUE(Fails(Run({"plug", "0", "nonsense"}), 1, "no such capture directory: nonsense"));
    EXPECT_TRUE(Fails(Run({"plug", "0", Path("platform.conf")}), 1, "no such capture directory"));
    EXPECT_TRUE(Fails(Run({"plug", "0", "tivaro-one", "--inputs", Path("absent")}), 1, "no such inputs directory"));
    EXPECT_TRUE(Fails(Run({"plug", "0"}), 2, "CAPTURE"));
    EXPECT_TRUE(Fails(Run({"plug", "8", "tivaro-one"}), 2, "PORT"));
    EXPECT_TRUE(fs::is_empty(Path("inputs")));
}

TEST_F(InputCommands, UnplugRemovesTheLinkAndNothingElse)
{
    fs::create_directories(Path("device"));
    WriteFile("device/cec.log", "");
    ASSERT_EQ(Run({"plug", "2", Path("device")}).code, 0);

    const Json::Value document = Document({"unplug", "2"}, "unplug");

    EXPECT_EQ(document["capture"], fs::canonical(Path("device")).string());
    EXPECT_TRUE(fs::is_empty(Path("inputs")));
    EXPECT_TRUE(fs::exists(Path("device/cec.log")));
}

TEST_F(InputCommands, UnplugRemovesALinkThatLeadsNowhere)
{
    fs::create_symlink(Path("gone"), Path("inputs/hdmi1"));

    EXPECT_EQ(Run({"unplug", "0"}).code, 0);
    EXPECT_TRUE(fs::is_empty(Path("inputs")));
}

TEST_F(InputCommands, UnplugLeavesADirectoryThatIsNoLink)
{
    fs::create_directories(Path("inputs/hdmi1"));
    WriteFile("inputs/hdmi1/cec.log", "");

    EXPECT_TRUE(Fails(Run({"unplug", "0"}), 1, "is not a link"));
    EXPECT_TRUE(fs::exists(Path("inputs/hdmi1/cec.log")));
}

TEST_F(InputCommands, UnplugFailsWhereNothingIsPlugged)
{
    EXPECT_TRUE(Fails(Run({"unplug", "0"}), 1, "nothing is plugged into HDMI 1"));
    EXPECT_TRUE(Fails(Run({"unplug", "99"}), 1, "nothing is plugged into optical"));
}

}  // namespace
