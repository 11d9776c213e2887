// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Composer.h"
#include "Names.h"
#include "TempDirectory.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace panel;
namespace fs = std::filesystem;

// The optical port is the one that every TV has.
constexpr int kPort = 99;
constexpr int kNoPort = 42;

TEST(PanelNames, ArePlain)
{
    for (const std::string& name :
         std::vector<std::string>{std::string("a"), std::string("a b.jsonl"), std::string("a.."), std::string(255, 'a'),
                                  std::string("\xc3\xa4")}) {
        EXPECT_TRUE(IsPlainName(name)) << name;
    }
    for (const std::string& name :
         std::vector<std::string>{std::string(), std::string("."), std::string(".."), std::string(".a"),
                                  std::string("a/b"), std::string("/"), std::string(256, 'a'), std::string("a\nb"),
                                  std::string("a\0b", 3), std::string("a\"b"), std::string("\xff")}) {
        EXPECT_FALSE(IsPlainName(name)) << name;
    }
}

class PanelInputs : public testing::Test {
protected:
    static srcwatch::Capture Device()
    {
        Json::Value form;
        form["osd"] = "Box";
        return *ComposeDevice(form).capture;
    }

    bool HasInput() const { return fs::exists(fs::symlink_status(m_directory / "optical")); }

    const srcwatch_test::TempDirectory m_directory;
    const Inputs m_inputs{m_directory.Path(), SRCWATCH_CAPTURES_DIR};
};

TEST_F(PanelInputs, PlugACaptureAsALink)
{
    ASSERT_TRUE(m_inputs.Plug(kPort, "voltana-vx-home").IsDone());

    EXPECT_TRUE(m_inputs.IsPlugged(kPort));
    EXPECT_TRUE(fs::is_symlink(m_directory / "optical"));
    EXPECT_EQ(m_inputs.CaptureOn(kPort), "voltana-vx-home");
    EXPECT_FALSE(m_inputs.Read(kPort).IsEmpty());
}

TEST_F(PanelInputs, PlugNoCaptureButThoseOfTheDirectory)
{
    for (const char* const name : {"", ".", "..", "nothing", "../captures/voltana-vx-home", "/etc", "README.md"}) {
        EXPECT_EQ(m_inputs.Plug(kPort, name).status, kNotFound) << name;
    }
    EXPECT_FALSE(HasInput());
}

TEST_F(PanelInputs, RefuseAPortThatHasADevice)
{
    ASSERT_TRUE(m_inputs.Plug(kPort, "voltana-vx-home").IsDone());

    EXPECT_EQ(m_inputs.Plug(kPort, "darvex-dvd").status, kConflict);
    EXPECT_EQ(m_inputs.PlugDevice(kPort, Device()).status, kConflict);
    EXPECT_EQ(m_inputs.CaptureOn(kPort), "voltana-vx-home");
}

TEST_F(PanelInputs, RefuseAPortThatTheTvDoesNotHave)
{
    EXPECT_EQ(m_inputs.Plug(kNoPort, "voltana-vx-home").status, kBadRequest);
    EXPECT_EQ(m_inputs.PlugDevice(kNoPort, Device()).status, kBadRequest);
    EXPECT_EQ(m_inputs.Unplug(kNoPort).status, kBadRequest);
    EXPECT_EQ(m_inputs.Move(kPort, kNoPort).status, kBadRequest);
    EXPECT_EQ(m_inputs.Move(kNoPort, kPort).status, kBadRequest);
}

TEST_F(PanelInputs, PlugAComposedDeviceAndRemoveItsFiles)
{
    ASSERT_TRUE(m_inputs.PlugDevice(kPort, Device()).IsDone());
    EXPECT_EQ(m_inputs.CaptureOn(kPort), "");
    EXPECT_EQ(m_inputs.Read(kPort).cec, Device().cec);

    ASSERT_TRUE(m_inputs.Unplug(kPort).IsDone());

    EXPECT_FALSE(HasInput());
    EXPECT_TRUE(fs::is_empty(m_directory / ".panel"));
}

TEST_F(PanelInputs, UnplugLinksOnly)
{
    EXPECT_EQ(m_inputs.Unplug(kPort).status, kConflict);
    fs::create_directory(m_directory / "optical");

    EXPECT_EQ(m_inputs.Unplug(kPort).status, kConflict);

    EXPECT_TRUE(HasInput());
}

TEST_F(PanelInputs, UnplugALinkThatLeadsNowhere)
{
    fs::create_symlink("/nonexistent", m_directory / "optical");

    EXPECT_TRUE(m_inputs.IsPlugged(kPort));
    EXPECT_EQ(m_inputs.CaptureOn(kPort), "");
    EXPECT_TRUE(m_inputs.Unplug(kPort).IsDone());
}

TEST_F(PanelInputs, ReportADirectoryThatIsNotThere)
{
    const Inputs inputs("/nonexistent/inputs", SRCWATCH_CAPTURES_DIR);

    EXPECT_EQ(inputs.Plug(kPort, "voltana-vx-home").status, kServerError);
    EXPECT_EQ(inputs.PlugDevice(kPort, Device()).status, kServerError);
}

}  // namespace
