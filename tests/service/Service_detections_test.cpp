// SPDX-License-Identifier: Apache-2.0
//
// The file of detections: what is in it, and that nothing about it holds the service up.
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>

namespace srcwatch_test {
namespace {

class ServiceDetections : public Service {
protected:
    static std::vector<Json::Value> Parse(const std::string& text)
    {
        std::vector<Json::Value> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
            EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &lines.emplace_back(), nullptr)) << line;
        }
        return lines;
    }

    std::vector<Json::Value> Lines() const { return Parse(ReadFile(m_file)); }
    static int Losses() { return LogLinesWith("detections are lost"); }

    const TempDirectory m_directory;
    const std::string m_file = m_directory / "detections.jsonl";
};

TEST_F(ServiceDetections, AreALineEach)
{
    StartService({"--detections", m_file, "--tv", "tv 7", "--firmware", "2.1"});
    Plug("hdmi2", "quellon-bdq900");
    Unplug("hdmi2");
    Plug("optical", "ambrelle-soundbar");

    const std::vector<Json::Value> lines = Lines();

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["event"], "detected");
    EXPECT_EQ(lines[0]["tv"], "tv 7");
    EXPECT_EQ(lines[0]["firmware"], "2.1");
    EXPECT_EQ(lines[0]["port"], 1);
    EXPECT_EQ(lines[0]["method_name"], "profile");
    EXPECT_EQ(lines[0]["type"], "BD");
    EXPECT_EQ(lines[0]["spd_product"], "BDQ-900");
    EXPECT_EQ(lines[0]["denied"], 0);
    EXPECT_TRUE(lines[0]["aksv_hash"].isNull());
    EXPECT_EQ(lines[1]["port"], kOptical);
    EXPECT_LT(lines[0]["time"].asString(), lines[1]["time"].asString());
}

TEST_F(ServiceDetections, AreFollowedByDenials)
{
    StartService({"--detections", m_file});
    Plug("hdmi2", "quellon-bdq900");
    ASSERT_EQ(Call(SRCWATCH_REQUEST_DENY, 1)["record"]["DenyCount"], 1);
    ASSERT_EQ(Call(SRCWATCH_REQUEST_DENY, 1)["record"]["DenyCount"], 2);
    ASSERT_TRUE(Call(SRCWATCH_REQUEST_DENY, 0).isMember("error"));

    const std::vector<Json::Value> lines = Lines();

    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[2]["event"], "denied");
    EXPECT_EQ(lines[2]["denied"], 2);
    for (const char* const same : {"port", "type", "t", "spd_vendor", "spd_product", "result"}) {
        EXPECT_EQ(lines[2][same], lines[0][same]) << same;
    }
}

TEST_F(ServiceDetections, ShowNoAksvButItsHash)
{
    WriteFile(m_directory / "key", "a secret of the fleet");
    StartService({"--detections", m_file, "--aksv-key", m_directory / "key"});
    Plug("hdmi2", "voltana-vx-home");

    EXPECT_EQ(Lines().at(0)["aksv_hash"].asString().size(), 64U);
    EXPECT_EQ(ReadFile(m_file).find(StoredRecord(1)["AKSV"].asString()), std::string::npos);
}

TEST_F(ServiceDetections, GoToANewFileWhenTheOldOneIsMoved)
{
    StartService({"--detections", m_file});
    Plug("hdmi2", "quellon-bdq900");
    std::filesystem::rename(m_file, m_file + ".1");
    Plug("hdmi3", "quellon-bdq900");

    EXPECT_EQ(Parse(ReadFile(m_file + ".1")).size(), 1U);
    EXPECT_EQ(Lines().size(), 1U);
}

TEST_F(ServiceDetections, GoToStandardOutput)
{
    StartService({"--detections", "-"});
    Plug("hdmi2", "quellon-bdq900");

    EXPECT_EQ(Parse(m_service->Output()).size(), 1U);
}

TEST_F(ServiceDetections, AreLostOnAFullDiskWithOneLineInTheLog)
{
    StartService({"--detections", "/dev/full"});
    Plug("hdmi2", "quellon-bdq900");
    Plug("hdmi3", "voltana-vx-home");

    EXPECT_EQ(LogLinesWith("/dev/full: detections are lost: No space left on device"), 1);
    EXPECT_EQ(StoredRecord(2)["DevType"], 1);
}

TEST_F(ServiceDetections, AreWrittenAgainWhenTheyCanBe)
{
    const std::string file = m_directory / "later/detections.jsonl";
    StartService({"--detections", file});
    const int before = Losses();
    Plug("hdmi2", "quellon-bdq900");
    ASSERT_EQ(Losses(), before + 1);
    std::filesystem::create_directory(m_directory / "later");
    Plug("hdmi3", "quellon-bdq900");
    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(Parse(ReadFile(file)).size(), 2U);
    EXPECT_EQ(LogLinesWith(file + ": detections are written again"), 1);
}

TEST_F(ServiceDetections, BeginALineOfTheirOwnAfterOneThatWasCutOff)
{
    WriteFile(m_file, R"({"event":"dete)");
    StartService({"--detections", m_file});
    Plug("hdmi2", "quellon-bdq900");
    Plug("hdmi3", "quellon-bdq900");

    const std::string text = ReadFile(m_file);
    EXPECT_EQ(Parse(text.substr(text.find('\n') + 1)).size(), 2U);
}

TEST_F(ServiceDetections, AreNotWaitedForByWhatNobodyReads)
{
    ASSERT_EQ(mkfifo(m_file.c_str(), S_IRUSR | S_IWUSR), 0);
    StartService({"--detections", m_file});
    const int before = Losses();
    Plug("hdmi2", "quellon-bdq900");

    EXPECT_EQ(Losses(), before + 1);
    EXPECT_EQ(StoredRecord(1)["DevType"], 3);
}

}  // namespace
}  // namespace srcwatch_test
