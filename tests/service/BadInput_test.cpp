// SPDX-License-Identifier: Apache-2.0
//
// The service logs what it cannot use in the inputs directory in one line, and goes on.
#include "Frames.h"
#include "ServiceTest.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

const std::string kTag = " srcwatch-service ";

class BadInput : public ServiceTest {
protected:
    // A good device on another input is detected as ever, and nothing but the expected line was logged.
    void ExpectOneComplaint(const std::string& text)
    {
        ASSERT_TRUE(RunUntil([&] { return LogLinesWith(text) >= 1; })) << Log();
        LinkCapture("hdmi4", "tivaro-one");
        EXPECT_TRUE(RunUntil([] { return StoredRecord(3)["DevType"].asInt() == SRCWATCH_DEVICE_GAME_CONSOLE; }));
        EXPECT_EQ(LogLinesWith(text), 1) << Log();
        EXPECT_EQ(Complaints(), 1) << Log();
        EXPECT_EQ(StopService(SIGTERM), 0);
    }

    // The number of warnings and errors that the service logged.
    static int Complaints() { return LogLinesWith(" W" + kTag) + LogLinesWith(" E" + kTag); }

    void MakeDevice(const std::string& input, const std::string& file, const Frame& bytes) const
    {
        std::filesystem::create_directory(InputPath("." + input));
        WriteFile(InputPath("." + input) + "/" + file, bytes);
        std::filesystem::rename(InputPath("." + input), InputPath(input));
    }
};

struct Malformed {
    const char* name;
    const char* file;
    Frame bytes;
    const char* complaint;
};

class MalformedFile : public BadInput, public testing::WithParamInterface<Malformed> {};

TEST_P(MalformedFile, IsLoggedInOneLine)
{
    StartService();

    MakeDevice("hdmi1", GetParam().file, GetParam().bytes);

    ExpectOneComplaint(std::string("hdmi1/") + GetParam().file + ": refused: " + GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, MalformedFile,
    testing::Values(Malformed{"EmptySpd", "spd.bin", {}, "truncated: 0 of 29 bytes"},
                    Malformed{"ZeroSpd", "spd.bin", Frame(29, 0), "type is 0x00, not 0x83"},
                    Malformed{"OnesSpd", "spd.bin", Frame(29, 0xff), "type is 0xff, not 0x83"},
                    Malformed{"LongSpd", "spd.bin", Frame(257, 0x83), "257 bytes, more than 256"},
                    Malformed{"JunkCec", "cec.log", FromText("junk\n"), "line 1: not hexadecimal"},
                    Malformed{"BinaryCec", "cec.log", Frame(5000, 0xff), "line 1: not hexadecimal"},
                    Malformed{"LongCec", "cec.log", Frame(70000, 'x'), "the lines are counted in the last 65536 bytes"},
                    Malformed{"EmptyAksv", "aksv.bin", {}, "0 bytes, not 5"},
                    Malformed{"ZeroAksv", "aksv.bin", Frame(5, 0), "0 of 40 bits set, not 20"},
                    Malformed{"OnesAksv", "aksv.bin", Frame(5, 0xff), "40 of 40 bits set, not 20"}),
    [](const auto& test) { return test.param.name; });

TEST_F(BadInput, AFileOfOneGigabyteIsLoggedInOneLine)
{
    StartService();
    std::filesystem::create_directory(InputPath(".hdmi1"));
    WriteFile(InputPath(".hdmi1") + "/spd.bin", "");
    ASSERT_EQ(truncate((InputPath(".hdmi1") + "/spd.bin").c_str(), 1024L * 1024 * 1024), 0);

    std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1/spd.bin: refused: 1073741824 bytes, more than 256");
}

TEST_F(BadInput, ADeviceOfTenThousandFilesIsLoggedInOneLine)
{
    StartService();
    std::filesystem::create_directory(InputPath("hdmi1"));

    for (int i = 0; i < 10000; ++i) WriteFile(InputPath("hdmi1") + "/file" + std::to_string(i), "");
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "Crowded", 8));
    ASSERT_TRUE(RunUntil([&] { return StoredRecord(0)["ModelName"].asString() == "Crowded"; }));

    EXPECT_LE(LogLinesWith("file(s) of other names ignored, such as 'file"), 2);  // each detection logs it
}

TEST_F(BadInput, TenThousandUnknownNamesAreLoggedInOneLine)
{
    StartService({"--quiet-ms", "1000"});  // a slow machine pauses while it makes them

    for (int i = 0; i < 10000; ++i) WriteFile(InputPath("other" + std::to_string(i)), "");

    ExpectOneComplaint("10000 unknown name(s) in the inputs directory ignored, such as 'other");
}

TEST_F(BadInput, UnknownNamesAtTheStartAreLoggedInOneLine)
{
    for (const char* name : {"hdmi0", "hdmi5", "hdmi9", "hdmi01", "HDMI1", "hdmi", "optical2"}) {
        std::filesystem::create_directory(InputPath(name));
    }
    StartService();

    ExpectOneComplaint("7 unknown name(s) in the inputs directory ignored, such as '");
}

TEST_F(BadInput, AnUnknownNameCannotForgeALogLine)
{
    StartService();

    WriteFile(InputPath("a\nE srcwatch-service forged\x1b[2J"), "");

    ExpectOneComplaint("E srcwatch-service forged");
    EXPECT_EQ(Log().find("\nE srcwatch-service forged"), std::string::npos);
    EXPECT_EQ(Log().find('\x1b'), std::string::npos);
}

TEST_F(BadInput, ALinkToItselfIsLoggedInOneLine)
{
    StartService();

    std::filesystem::create_symlink("hdmi1", InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1: refused: Too many levels of symbolic links");
}

TEST_F(BadInput, ALinkToTheInputsDirectoryIsLoggedInOneLine)
{
    StartService();

    std::filesystem::create_symlink(".", InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1: refused: a link loop: it leads to the inputs directory");
}

TEST_F(BadInput, ALinkToNowhereIsLoggedInOneLine)
{
    StartService();

    std::filesystem::create_symlink("nowhere", InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1: refused: No such file or directory");
}

TEST_F(BadInput, ALinkToAPlaceThatTheUnitHidesIsExplained)
{
    StartService();

    std::filesystem::create_symlink("/home/.nobody/captures/box", InputPath("hdmi1"));

    ExpectOneComplaint(
        "hdmi1: refused: No such file or directory: '/home/.nobody/captures/box', which the service's unit "
        "may hide from it; keep it in another place");
}

TEST_F(BadInput, AFileInPlaceOfADirectoryIsLoggedInOneLine)
{
    StartService();

    WriteFile(InputPath("hdmi1"), "not a directory");

    ExpectOneComplaint("hdmi1: refused: not a directory");
}

TEST_F(BadInput, APipeInPlaceOfAFileIsLoggedInOneLine)
{
    StartService();
    std::filesystem::create_directory(InputPath(".hdmi1"));
    ASSERT_EQ(mkfifo((InputPath(".hdmi1") + "/spd.bin").c_str(), 0600), 0);

    std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1/spd.bin: refused: not a regular file");
}

class Unreadable : public BadInput {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) return;
        // Root reads everything; without this capability it is a user like any other.
        const std::vector<std::string> launcher = {"setpriv", "--bounding-set=-dac_override,-dac_read_search"};
        std::vector<std::string> attempt = launcher;
        attempt.emplace_back("true");
        if (Process(attempt, HomePath("setpriv")).Wait() != 0) GTEST_SKIP() << "root may read everything here";
        SetLauncher(launcher);
    }
};

TEST_F(Unreadable, AFileIsLoggedInOneLine)
{
    StartService();
    std::filesystem::create_directory(InputPath(".hdmi1"));
    WriteFile(InputPath(".hdmi1") + "/spd.bin", SpdFrame("ACME", "Secret", 8));
    ASSERT_EQ(chmod((InputPath(".hdmi1") + "/spd.bin").c_str(), 0), 0);

    std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1/spd.bin: refused: cannot be opened: Permission denied");
}

TEST_F(Unreadable, ADirectoryIsLoggedInOneLine)
{
    StartService();
    std::filesystem::create_directory(InputPath(".hdmi1"));
    ASSERT_EQ(chmod(InputPath(".hdmi1").c_str(), 0), 0);

    std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));

    ExpectOneComplaint("hdmi1: refused: cannot be read: Permission denied");
}

TEST_F(Unreadable, ADirectoryIsReadOnceItMayBe)
{
    StartService();
    MakeDevice("hdmi1", "spd.bin", SpdFrame("ACME", "Secret", 8));
    ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_DETECTED, 1));
    ASSERT_EQ(chmod(InputPath("hdmi1").c_str(), 0), 0);
    ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_DETECTED, 2));
    EXPECT_EQ(EventsOf(SRCWATCH_EVENT_DETECTED).back().args[1], SRCWATCH_DEVICE_NOT_SUPPORTED);

    ASSERT_EQ(chmod(InputPath("hdmi1").c_str(), 0755), 0);
    ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_DETECTED, 3));

    EXPECT_EQ(EventsOf(SRCWATCH_EVENT_DETECTED).back().args[1], SRCWATCH_DEVICE_GAME_CONSOLE);
    EXPECT_EQ(CountOf(SRCWATCH_EVENT_CONNECTION), 1U);
}

}  // namespace
}  // namespace srcwatch_test
