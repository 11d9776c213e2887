// SPDX-License-Identifier: Apache-2.0
//
// capture.
#include "BusOnlyService.h"
#include "ToolTest.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class CaptureCommands : public ToolTest {
protected:
    // What classify finds in a capture.
    Json::Value Result(const std::string& name)
    {
        WriteFile("none.json", R"({"profiles": []})");
        return Document({"classify", Path(name), "--profiles", Path("none.json")}, "classify")[0];
    }
};

TEST_F(CaptureCommands, ComposesADeviceOfOptions)
{
    Document({"capture", "new", Path("new/box"), "--vendor", "ACME", "--product", "Box 1", "--spd-code", "10",
              "--osd-name", "Acme Box", "--device-type", "3", "--physical-address", "2.1.0.0", "--vendor-id", "001a2b"},
             "capture new");

    EXPECT_EQ(Run({"validate", Path("new/box")}).code, 0);
    EXPECT_EQ(Result("new/box")["type"], 3);
    EXPECT_EQ(Result("new/box")["device"], "Box 1");
    ASSERT_EQ(Run({"plug", "0", Path("new/box")}).code, 0);
    EXPECT_THAT(Run({"explain", "0"}).out,
                HasSubstr("logical address 3, physical address 2.1.0.0, OSD name \"Acme Box\", primary device type 3, "
                          "vendor id 001a2b"));
}

TEST_F(CaptureCommands, ComposesOnlyWhatIsSaid)
{
    EXPECT_EQ(Run({"capture", "new", Path("cec"), "--osd-name", "Box"}).code, 0);
    EXPECT_EQ(Run({"capture", "new", Path("spd"), "--spd-code", "8"}).code, 0);

    EXPECT_FALSE(std::filesystem::exists(Path("cec/spd.bin")));
    EXPECT_EQ(Result("cec")["type"], 5);
    EXPECT_FALSE(std::filesystem::exists(Path("spd/cec.log")));
    EXPECT_EQ(Result("spd")["type"], 6);
}

TEST_F(CaptureCommands, RefusesOptionsThatDoNotFit)
{
    EXPECT_TRUE(Fails(Run({"capture", "new", Path("x")}), 2, "give at least one option"));
    EXPECT_TRUE(Fails(Run({"capture", "new", Path("x"), "--vendor", "NINECHARS"}), 2, "1 to 8 printable"));
    EXPECT_TRUE(Fails(Run({"capture", "new", Path("x"), "--spd-code", "256"}), 2, "0 to 255"));
    EXPECT_TRUE(Fails(Run({"capture", "new", Path("x"), "--physical-address", "1.0.0"}), 2, "such as 1.0.0.0"));
    EXPECT_TRUE(Fails(Run({"capture", "new", Path("x"), "--vendor-id", "1a2b"}), 2, "six hexadecimal digits"));
    EXPECT_FALSE(std::filesystem::exists(Path("x")));
}

TEST_F(CaptureCommands, AsksTheServiceForADeviceWithoutADirectory)
{
    BusOnlyService service;
    service.Answer(0x2006, R"({"port": 1, "spd": "", "aksv": "", "cec": "4f:84:20:00:04\n40:47:4b:75:76:6f\n"})");

    EXPECT_EQ(Run({"capture", "1", Path("heard")}).code, 0);

    EXPECT_EQ(Result("heard")["type"], 5);
    EXPECT_EQ(Result("heard")["device"], "Kuvo");
    EXPECT_FALSE(std::filesystem::exists(Path("heard/spd.bin")));
}

TEST_F(CaptureCommands, ImportsWhatOthersRecorded)
{
    WriteFile("monitor.txt", "TRAFFIC: [1]\t>> 3f:84:10:00:03\nTRAFFIC: [2]\t>> zz\nTRAFFIC: [3]\t>> 30:47:54\n");

    const Json::Value document = Document({"capture", "import", Path("monitor.txt"), Path("tuner")}, "capture import");

    EXPECT_THAT(document["sentence"].asString(), HasSubstr("imported 2 message(s)"));
    EXPECT_THAT(document["sentence"].asString(), HasSubstr("monitor.txt: line 2: not hexadecimal"));
    EXPECT_EQ(Result("tuner")["type"], 1);
    EXPECT_EQ(Result("tuner")["device"], "T");
}

TEST_F(CaptureCommands, RefuseAFileWithoutMessages)
{
    WriteFile("other.txt", "hello\n");

    EXPECT_TRUE(Fails(Run({"capture", "import", Path("other.txt"), Path("x")}), 1, "other.txt: no received message"));
    EXPECT_TRUE(Fails(Run({"capture", "import", Path("nowhere"), Path("x")}), 1, "no such file"));
    EXPECT_FALSE(std::filesystem::exists(Path("x")));
}

TEST_F(CaptureCommands, CopiesWhatIsOnAPort)
{
    ASSERT_EQ(Run({"plug", "1", "voltana-vx-home"}).code, 0);

    Document({"capture", "1", Path("copy")}, "capture");

    for (const char* const file : {"spd.bin", "cec.log", "aksv.bin"}) {
        EXPECT_EQ(Run({"validate", Path("copy/") + file}).code, 0) << file;
        EXPECT_EQ(std::filesystem::file_size(Path("copy/") + file),
                  std::filesystem::file_size(SRCWATCH_CAPTURES_DIR "/voltana-vx-home/" + std::string(file)));
    }
    EXPECT_TRUE(Fails(Run({"capture", "1", Path("copy")}), 1, "exists already"));
}

TEST_F(CaptureCommands, RefusesAPortWithoutADevice)
{
    EXPECT_TRUE(Fails(Run({"capture", "0", Path("x")}), 1, "no device data on HDMI 1"));
    EXPECT_TRUE(Fails(Run({"capture", "8", Path("x")}), 2, "PORT"));
    EXPECT_TRUE(Fails(Run({"capture"}), 2, "PORT and DIR are required"));
}

}  // namespace
