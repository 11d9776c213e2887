// SPDX-License-Identifier: Apache-2.0
#include "Evidence.h"

#include "Frames.h"
#include "TempDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch {
namespace {

using srcwatch_test::FromHex;
using srcwatch_test::SpdFrame;
using srcwatch_test::TempDirectory;
using srcwatch_test::WriteFile;

class EvidenceTest : public testing::Test {
protected:
    // All remarks in one line each: file, line, "refused" or "used", text.
    std::vector<std::string> Remarks() const
    {
        const Evidence evidence = ReadEvidence(m_directory.Path());
        std::vector<std::string> lines;
        for (const Remark& remark : evidence.AllRemarks()) {
            const char* const use = evidence.IsRefused(remark.file) ? " refused: " : " used: ";
            lines.push_back(remark.file + " " + std::to_string(remark.line) + use + remark.text);
        }
        return lines;
    }

    TempDirectory m_directory;
};

using Lines = std::vector<std::string>;

TEST_F(EvidenceTest, IsDecodedFromTheFiles)
{
    WriteFile(m_directory / "spd.bin", SpdFrame("ACME", "Box", 1));
    WriteFile(m_directory / "cec.log", "40:47:41\n");
    WriteFile(m_directory / "aksv.bin", FromHex("b70361f714"));

    const Evidence evidence = ReadEvidence(m_directory.Path());

    ASSERT_NE(ValueOf(evidence.spd), nullptr);
    EXPECT_EQ(ValueOf(evidence.spd)->vendor, "ACME");
    ASSERT_NE(evidence.CecDeviceOnPort(), nullptr);
    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "A");
    ASSERT_NE(ValueOf(evidence.aksv), nullptr);
    EXPECT_EQ(*ValueOf(evidence.aksv), "b70361f714");
    EXPECT_EQ(Remarks(), Lines{});
}

TEST_F(EvidenceTest, IsAbsentWithoutFiles)
{
    const Evidence evidence = ReadEvidence(m_directory.Path());

    EXPECT_FALSE(evidence.spd || evidence.cec || evidence.aksv);
    EXPECT_EQ(Remarks(), Lines{});
}

TEST_F(EvidenceTest, GetsRemarksForEachMalformedFile)
{
    WriteFile(m_directory / "spd.bin", "junk");
    WriteFile(m_directory / "cec.log", "junk\njunk\n");
    WriteFile(m_directory / "aksv.bin", "junk");

    EXPECT_EQ(
        Remarks(),
        (Lines{"spd.bin 0 refused: type is 0x6a, not 0x83", "cec.log 1 refused: not hexadecimal bytes with ':' between",
               "cec.log 2 refused: not hexadecimal bytes with ':' between", "aksv.bin 0 refused: 4 bytes, not 5"}));
}

TEST_F(EvidenceTest, GetsARemarkForAFileOnlyPartlyUsed)
{
    WriteFile(m_directory / "spd.bin", SpdFrame("AC\xff", "Box", 1));

    EXPECT_EQ(Remarks(), Lines{"spd.bin 0 used: vendor name: 1 byte(s) outside 0x20 to 0x7e dropped"});
}

TEST_F(EvidenceTest, RefusesAFileOfAGigabyteWithoutReadingIt)
{
    WriteFile(m_directory / "spd.bin", "");
    ASSERT_EQ(truncate((m_directory / "spd.bin").c_str(), 1024L * 1024 * 1024), 0);

    EXPECT_EQ(Remarks(), Lines{"spd.bin 0 refused: 1073741824 bytes, more than 256"});
}

std::string Repeated(const std::string& line, std::size_t size)
{
    std::string text;
    while (text.size() < size) text += line;
    return text;
}

TEST_F(EvidenceTest, TakesTheNewestLinesOfALongCecLog)
{
    WriteFile(m_directory / "cec.log",
              Repeated("40:47:4f:6c:64\n", 100000) + Repeated("40:8f\n", 65000) + "40:47:41\n");

    const Evidence evidence = ReadEvidence(m_directory.Path());

    ASSERT_NE(evidence.CecDeviceOnPort(), nullptr);
    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "A");
    EXPECT_LE(ValueOf(evidence.cec)->skipped, 65536U / 6);
    EXPECT_EQ(Remarks(), Lines{});
}

TEST_F(EvidenceTest, CountsTheLinesOfALongCecLogFromWhereItIsRead)
{
    WriteFile(m_directory / "cec.log", Repeated("40:8f\n", 70000) + "junk\n");

    EXPECT_EQ(Remarks().at(0), "cec.log 0 used: the lines are counted in the last 65536 bytes");
    EXPECT_EQ(Remarks().at(1).substr(0, 10), "cec.log 10");
}

TEST_F(EvidenceTest, RefusesALongCecLogWithoutLines)
{
    WriteFile(m_directory / "cec.log", std::string(70000, 'x'));

    EXPECT_EQ(Remarks().size(), 2U);
    EXPECT_EQ(Remarks().back(), "cec.log 1 refused: not hexadecimal bytes with ':' between");
}

TEST_F(EvidenceTest, RefusesWhatIsNoRegularFileWithoutWaiting)
{
    ASSERT_EQ(mkfifo((m_directory / "spd.bin").c_str(), 0600), 0);
    ASSERT_EQ(mkdir((m_directory / "cec.log").c_str(), 0700), 0);
    ASSERT_EQ(symlink("aksv.bin", (m_directory / "aksv.bin").c_str()), 0);

    EXPECT_EQ(Remarks(), (Lines{"spd.bin 0 refused: not a regular file", "cec.log 0 refused: not a regular file",
                                "aksv.bin 0 refused: cannot be opened: Too many levels of symbolic links"}));
}

TEST_F(EvidenceTest, RefusesAFileWithoutPermission)
{
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    WriteFile(m_directory / "spd.bin", SpdFrame("ACME", "Box", 1));
    ASSERT_EQ(chmod((m_directory / "spd.bin").c_str(), 0), 0);

    EXPECT_EQ(Remarks(), Lines{"spd.bin 0 refused: cannot be opened: Permission denied"});
}

TEST_F(EvidenceTest, RefusesADirectoryThatIsNotThereWithOneRemark)
{
    const Evidence evidence = ReadEvidence(m_directory / "nowhere");

    ASSERT_EQ(evidence.AllRemarks().size(), 1U);
    EXPECT_TRUE(evidence.IsRefused(""));
    EXPECT_EQ(evidence.AllRemarks()[0].text, "cannot be read: No such file or directory");
}

TEST_F(EvidenceTest, FollowsLinksToFiles)
{
    const TempDirectory elsewhere;
    WriteFile(elsewhere / "frame", SpdFrame("ACME", "Box", 1));
    ASSERT_EQ(symlink((elsewhere / "frame").c_str(), (m_directory / "spd.bin").c_str()), 0);

    EXPECT_NE(ValueOf(ReadEvidence(m_directory.Path()).spd), nullptr);
}

TEST_F(EvidenceTest, GetsNoRemarkForKnownNames)
{
    for (const char* name : {"spd.bin", "cec.log", "aksv.bin", "edid.bin"}) WriteFile(m_directory / name, "");

    EXPECT_TRUE(ReadEvidence(m_directory.Path()).otherFiles.empty());
}

TEST_F(EvidenceTest, GetsOneRemarkForAllOtherNames)
{
    WriteFile(m_directory / "evil\n\x1b[2Jname", "");

    const auto remarks = ReadEvidence(m_directory.Path()).otherFiles;

    ASSERT_EQ(remarks.size(), 1U);
    EXPECT_EQ(remarks[0].text, R"(1 file(s) of other names ignored, such as 'evil\x0a\x1b[2Jname')");
}

TEST_F(EvidenceTest, StopsCountingInADirectoryOfTenThousandFiles)
{
    for (int i = 0; i < 10000; ++i) WriteFile(m_directory / ("f" + std::to_string(i)), "");

    const auto remarks = ReadEvidence(m_directory.Path()).otherFiles;

    ASSERT_EQ(remarks.size(), 1U);
    EXPECT_NE(remarks[0].text.find(" or more file(s) of other names ignored"), std::string::npos) << remarks[0].text;
}

}  // namespace
}  // namespace srcwatch
