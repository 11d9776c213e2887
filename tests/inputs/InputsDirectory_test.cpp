// SPDX-License-Identifier: Apache-2.0
#include "InputsDirectory.h"

#include "InputName.h"
#include "TempDirectory.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch;
using testing::HasSubstr;
using Kind = InputOutcome::Kind;
namespace fs = std::filesystem;

TEST(InputNames, AreThoseThatPeopleUse)
{
    EXPECT_EQ(PortName(0), "HDMI 1");
    EXPECT_EQ(PortName(7), "HDMI 8");
    EXPECT_EQ(PortName(99), "optical");
}

class InputsDirectoryTest : public testing::Test {
protected:
    InputsDirectoryTest() { fs::create_directory(m_place / "inputs"); }

    static Capture Device(const std::string& cec) { return {{1, 2}, cec, {}}; }
    std::string Path(const std::string& name) const { return m_place / ("inputs/" + name); }

    const srcwatch_test::TempDirectory m_place;
    const InputsDirectory m_inputs{m_place / "inputs"};
};

TEST_F(InputsDirectoryTest, LinksADeviceAndLeavesOneThatIsThere)
{
    ASSERT_TRUE(m_inputs.Link(1, "/one").IsDone());

    const InputOutcome second = m_inputs.Link(1, "/two");

    EXPECT_EQ(second.kind, Kind::kConflict);
    EXPECT_EQ(second.reason, "a device is already plugged into HDMI 2: " + Path("hdmi2"));
    EXPECT_EQ(m_inputs.TargetOf(1), "/one");
    EXPECT_EQ(m_inputs.Plug(1, Device("a")).kind, Kind::kConflict);
    EXPECT_FALSE(fs::exists(Path(".replayed")));
}

TEST_F(InputsDirectoryTest, MakesADeviceAndRemovesItsFiles)
{
    ASSERT_TRUE(m_inputs.Plug(99, Device("a")).IsDone());
    EXPECT_EQ(m_inputs.TargetOf(99), ".replayed/optical");
    EXPECT_EQ(m_inputs.Read(99).cec, "a");

    ASSERT_TRUE(m_inputs.Unplug(99).IsDone());

    EXPECT_FALSE(m_inputs.IsPlugged(99));
    EXPECT_TRUE(fs::is_empty(Path(".replayed")));
}

// What a writer that was killed has left is in nobody's way.
TEST_F(InputsDirectoryTest, ReplacesFilesThatWereLeft)
{
    for (const char* const left : {".replayed/hdmi1", ".replayed/hdmi1.next"}) {
        fs::create_directories(Path(left));
        srcwatch_test::WriteFile(Path(left) + "/aksv.bin", "left");
    }

    ASSERT_TRUE(m_inputs.Plug(0, Device("a")).IsDone());

    EXPECT_EQ(m_inputs.Read(0).cec, "a");
    EXPECT_TRUE(m_inputs.Read(0).aksv.empty());
}

TEST_F(InputsDirectoryTest, ChangesTheFilesOfADeviceThatStays)
{
    ASSERT_TRUE(m_inputs.Plug(0, Device("a")).IsDone());

    ASSERT_TRUE(m_inputs.Change(0, {{}, "b", {}}).IsDone());

    EXPECT_EQ(m_inputs.Read(0).cec, "b");
    EXPECT_FALSE(fs::exists(Path("hdmi1/spd.bin")));
    EXPECT_FALSE(fs::exists(Path(".replayed/hdmi1.next")));
}

TEST_F(InputsDirectoryTest, KnowsItsOwnDevices)
{
    const InputsDirectory other(m_inputs.Path(), kComposedDevices);
    ASSERT_TRUE(other.Plug(0, Device("a")).IsDone());
    ASSERT_TRUE(m_inputs.Plug(1, Device("b")).IsDone());

    EXPECT_FALSE(m_inputs.IsOwn(0));
    EXPECT_TRUE(m_inputs.IsOwn(1));
    EXPECT_TRUE(other.IsOwn(0));
    EXPECT_FALSE(m_inputs.IsOwn(2));
}

TEST_F(InputsDirectoryTest, RemovesTheFilesOfADeviceThatAnotherMade)
{
    ASSERT_TRUE(InputsDirectory(m_inputs.Path(), kComposedDevices).Plug(0, Device("a")).IsDone());

    ASSERT_TRUE(m_inputs.Unplug(0).IsDone());

    EXPECT_TRUE(fs::is_empty(Path(".panel")));
}

TEST_F(InputsDirectoryTest, UnplugsLinksOnly)
{
    EXPECT_EQ(m_inputs.Unplug(0).reason, "nothing is plugged into HDMI 1");
    fs::create_directory(Path("hdmi1"));
    EXPECT_THAT(m_inputs.Unplug(0).reason, HasSubstr("is not a link"));
    EXPECT_TRUE(m_inputs.IsPlugged(0));
    fs::create_directories(Path("mine/hdmi2"));
    fs::create_symlink("mine/hdmi2", Path("hdmi2"));

    EXPECT_TRUE(m_inputs.Unplug(1).IsDone());

    EXPECT_TRUE(fs::exists(Path("mine/hdmi2")));
}

TEST_F(InputsDirectoryTest, MovesLinksAndDevicesThatWereMade)
{
    ASSERT_TRUE(m_inputs.Link(0, "/one").IsDone());
    ASSERT_TRUE(m_inputs.Plug(1, Device("b")).IsDone());
    EXPECT_EQ(m_inputs.Move(0, 1).kind, Kind::kConflict);
    EXPECT_EQ(m_inputs.Move(5, 6).kind, Kind::kConflict);

    ASSERT_TRUE(m_inputs.Move(0, 2).IsDone());
    ASSERT_TRUE(InputsDirectory(m_inputs.Path(), kComposedDevices).Move(1, 0).IsDone());

    EXPECT_EQ(m_inputs.TargetOf(2), "/one");
    EXPECT_EQ(m_inputs.TargetOf(0), ".panel/hdmi1");
    EXPECT_EQ(m_inputs.Read(0).cec, "b");
    EXPECT_TRUE(fs::is_empty(Path(".replayed")));
}

TEST_F(InputsDirectoryTest, MakesNoDirectoryOfInputs)
{
    const InputsDirectory absent(m_place / "absent");

    EXPECT_EQ(absent.Link(0, "/one").kind, Kind::kFailed);
    EXPECT_EQ(absent.Plug(0, Device("a")).kind, Kind::kFailed);
    EXPECT_FALSE(fs::exists(m_place / "absent"));
}

TEST_F(InputsDirectoryTest, SavesCapturesInNewDirectories)
{
    EXPECT_EQ(SaveCapture(m_place / "a/b", Device("a")), "");
    EXPECT_EQ(SaveCapture(m_place / "a/b", Device("a")), (m_place / "a/b") + " exists already");
    srcwatch_test::WriteFile(m_place / "file", "");
    EXPECT_THAT(SaveCapture(m_place / "file/b", Device("a")), HasSubstr("cannot make the directory "));
}

}  // namespace
