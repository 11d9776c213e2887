// SPDX-License-Identifier: Apache-2.0
#include "SpdFile.h"

#include "CecTest.h"
#include "TempDirectory.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SpdFileTest : public CecTest {
protected:
    void Show(const std::string& product)
    {
        const srcwatch::Bytes bytes = srcwatch::ComposeSpdInfoFrame({"Brand", product, 1});
        WriteFile(m_directory / "new", std::string(bytes.begin(), bytes.end()));
        std::filesystem::rename(m_directory / "new", m_directory / "spd");
    }

    TempDirectory m_directory;
    srcwatch::SpdFile m_file{2, m_directory / "spd", 10};
};

TEST_F(SpdFileTest, FollowsTheFrameThatADriverShows)
{
    WriteFile(m_directory / "spd", "");
    ASSERT_EQ(m_file.Start(*this), "");
    EXPECT_THAT(m_reports, IsEmpty());

    Show("Box 1");
    ASSERT_TRUE(WaitForReports(2));
    Show("Box 2");
    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(ValueOf(m_file.ReadEvidence(2).spd)->product, "Box 2");
    EXPECT_EQ(m_file.ReadEvidence(2).hdmiInput, 3);
    WriteFile(m_directory / "spd", "");
    ASSERT_TRUE(WaitForReports(4));

    EXPECT_THAT(m_reports, ElementsAre("plugged 2", "settled 2", "settled 2", "unplugged 2"));
    EXPECT_FALSE(m_file.IsPlugged(2));
    EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(SpdFileTest, TellsOnceThatThereIsNoFile)
{
    ASSERT_EQ(m_file.Start(*this), "");
    for (int i = 0; i < 3; ++i) m_file.Refresh(2);
    m_file.Refresh(0);

    EXPECT_THAT(m_reports, IsEmpty());
    EXPECT_EQ(LogLinesWith("hdmi3: " + (m_directory / "spd") + ": no such file: no InfoFrames"), 1);

    Show("Box");
    EXPECT_TRUE(WaitForReports(2));
}

TEST_F(SpdFileTest, DetectsADeviceWithABrokenFrame)
{
    WriteFile(m_directory / "spd", "no frame");

    ASSERT_EQ(m_file.Start(*this), "");

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_TRUE(m_file.ReadEvidence(2).IsRefused("spd.bin"));
    EXPECT_FALSE(m_file.IsPlugged(1));
}

TEST_F(SpdFileTest, TellsOnceThatAFileIsTooLarge)
{
    WriteFile(m_directory / "spd", std::string(300, 'x'));

    ASSERT_EQ(m_file.Start(*this), "");
    m_file.Refresh(2);

    EXPECT_THAT(m_reports, IsEmpty());
    EXPECT_EQ(LogLinesWith("300 bytes, more than 256"), 1);
}

}  // namespace
}  // namespace srcwatch_test
