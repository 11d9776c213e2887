// SPDX-License-Identifier: Apache-2.0
//
// report.
#include "RecordingTest.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

using namespace srcwatch_test;
using testing::HasSubstr;
using testing::Not;

class Report : public RecordingTest {
protected:
    // What is in an archive, all in one text.
    std::string Unpack(const std::string& name)
    {
        Program tar({"tar", "--extract", "--file", Path(name), "--directory", Path(""), "--force-local"}, Environment(),
                    Path("tar"));
        EXPECT_EQ(tar.Wait().code, 0);
        std::string all;
        for (const auto& part : fs::directory_iterator(Path("srcwatch-report"))) {
            all += Content("srcwatch-report/" + part.path().filename().string());
        }
        return all;
    }
};

TEST_F(Report, HasAllPartsAndNoAksv)
{
    const BusOnlyService service;
    StoreRecord(0, Parse(R"({"AKSV":"a5ac1925b7","DevName":"Desk 5"})"));
    WriteFile("log", std::string("device a5ac1925b7\0came\n", 23));

    const Json::Value document =
        Document({"report", Path("a:b.tar.gz"), "--seconds", "0", "--log-file", Path("log")}, "report");

    EXPECT_EQ(document["parts"].size(), 8U);
    const std::string all = Unpack("a:b.tar.gz");
    EXPECT_THAT(Content("srcwatch-report/doctor.txt"), HasSubstr("settings-readable"));
    EXPECT_THAT(Content("srcwatch-report/versions.txt"), HasSubstr("srcwatchctl "));
    EXPECT_THAT(Content("srcwatch-report/versions.txt"), HasSubstr("Linux "));
    EXPECT_THAT(Content("srcwatch-report/settings.json"), HasSubstr("Desk 5"));
    EXPECT_THAT(Content("srcwatch-report/platform.conf"), HasSubstr("inputs=4"));
    EXPECT_THAT(Content("srcwatch-report/log.txt"), HasSubstr("?came\n"));
    EXPECT_EQ(Faults("srcwatch-report/recording.jsonl"), "");
    EXPECT_THAT(all, Not(HasSubstr("a5ac1925b7")));
}

TEST_F(Report, TakesARecordingAlong)
{
    ASSERT_EQ(Run({"record", Path("r.jsonl"), "--seconds", "0"}).code, 0);

    EXPECT_EQ(Run({"report", Path("r.tar"), "--recording", Path("r.jsonl")}).code, 0);

    Unpack("r.tar");
    EXPECT_EQ(Faults("srcwatch-report/recording.jsonl"), "");
}

TEST_F(Report, IsMadeOfWhatWorksWithoutABus)
{
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + Path("no-bus"));

    EXPECT_EQ(Run({"report", Path("r.tgz"), "--seconds", "0"}).code, 0);

    Unpack("r.tgz");
    EXPECT_THAT(Content("srcwatch-report/recording.txt"), HasSubstr("not recorded: cannot reach the system bus"));
    EXPECT_THAT(Content("srcwatch-report/status.json"), HasSubstr("cannot reach the system bus"));
}

TEST_F(Report, RefusesWhatItCannotDo)
{
    WriteFile("there.tar", "precious");

    EXPECT_TRUE(Fails(Run({"report", Path("there.tar")}), 1, "exists already"));
    EXPECT_TRUE(Fails(Run({"report", Path("report.zip")}), 2, "is not the name of an archive"));
    EXPECT_TRUE(Fails(Run({"report", Path("absent/r.tar")}), 1, "cannot write"));
    EXPECT_TRUE(Fails(Run({"report", Path("r.tar"), "--recording", Path("there.tar")}), 1, "is neither a recording"));
    EXPECT_EQ(Content("there.tar"), "precious");
}

}  // namespace
