// SPDX-License-Identifier: Apache-2.0
//
// What applications see of devices that come and go.
#include "Frames.h"
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, AnnouncesAPluggedSetTopBox)
{
    StartService();

    Plug("hdmi2", "voltana-vx-home");

    EXPECT_EQ(EventsOf(kConnection), (std::vector<Event>{{kConnection, {1, 1, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kDetected),
              (std::vector<Event>{{kDetected, {1, 1, 1}, {"VX Home 4K", "Voltana", "Voltana Television"}}}));
}

TEST_F(Service, FillsEveryFieldOfTheRecordFromItsOwnSource)
{
    StartService();

    Plug("hdmi2", "voltana-vx-home");

    const Json::Value record = StoredRecord(1);
    EXPECT_EQ(record["DevType"].asInt(), 1);
    EXPECT_EQ(record["sDevType"].asString(), "STB");
    EXPECT_EQ(record["BName"].asString(), "Voltana");
    EXPECT_EQ(record["DevName"].asString(), "VX Home 4K");
    EXPECT_EQ(record["PRName"].asString(), "Voltana Television");
    EXPECT_EQ(record["CName"].asString(), "V1042");
    EXPECT_EQ(record["CDevName"].asString(), "Tuner");
    EXPECT_EQ(record["AKSV"].asString().size(), 10U);
    EXPECT_EQ(record["UnknownType"].asString(), "");
    EXPECT_EQ(record["MFName"].asString(), "VOLTANA");
    EXPECT_EQ(record["ModelName"].asString(), "VX Home 4K");
    EXPECT_EQ(record["CECName"].asString(), "Voltana VX");
    EXPECT_EQ(record["PortNum"].asInt(), 1);
    EXPECT_EQ(record["DenyCount"].asInt(), 0);
    EXPECT_EQ(record["ScanState"].asInt(), SRCWATCH_SCAN_NOT_SCANNED);
    EXPECT_EQ(record["DMethod"].asInt(), 1);
    EXPECT_EQ(record["PrevPort"].asInt(), -1);
    EXPECT_EQ(record["Changed"].asInt(), SRCWATCH_CHANGED_NEW);
    EXPECT_EQ(record.size(), 18U);
}

TEST_F(Service, AnswersTheQueriesOfTheLibrary)
{
    StartService();

    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_EQ(Query(srcwatch_get_manufacturer_name, 0), "QUELLON");
    EXPECT_EQ(Query(srcwatch_get_model_name, 0), "BDQ-900");
    EXPECT_EQ(Query(srcwatch_get_cec_name, 0), "BDQ-900");
    EXPECT_EQ(Query(srcwatch_get_cec_device_name, 0), "Playback device");
    int type = 0;
    char first[SRCWATCH_TEXT_SIZE];
    char second[SRCWATCH_TEXT_SIZE];
    EXPECT_EQ(srcwatch_get_device_info(0, &type, first, second), SRCWATCH_OK);
    EXPECT_STREQ(first, "BDQ-900 Disc Player");
    EXPECT_STREQ(second, "Quellon");
    bool known = false;
    char codeset[SRCWATCH_CODESET_TEXT_SIZE];
    EXPECT_EQ(srcwatch_get_codeset_info(0, &known, codeset), SRCWATCH_OK);
    EXPECT_TRUE(known);
    EXPECT_STREQ(codeset, "Q0900");
    int method = 0;
    EXPECT_EQ(srcwatch_get_detection_moethod(0, &method), SRCWATCH_OK);
    EXPECT_EQ(method, 1);
}

TEST_F(Service, ClearsAndAnnouncesAnUnpluggedDeviceOnce)
{
    StartService();
    Plug("hdmi3", "tivaro-one");

    Unplug("hdmi3");

    EXPECT_EQ(EventsOf(kConnection).back(), (Event{kConnection, {2, 0, 0}, kNoTexts}));
    EXPECT_EQ(QueryType(2), 0);
    EXPECT_EQ(Query(srcwatch_get_model_name, 2), "");
    EXPECT_EQ(CountOf(kDetected), 1U);
}

TEST_F(Service, SavesOnceForEachChange)
{
    StartService();

    Plug("hdmi1", "tivaro-one");
    EXPECT_TRUE(RunUntil([&] { return Saves() == 1; }));
    Unplug("hdmi1");
    EXPECT_TRUE(RunUntil([&] { return Saves() == 2; }));
    RunFor(std::chrono::milliseconds(200));

    EXPECT_EQ(Saves(), 2U);
}

TEST_F(Service, ReadsADirectoryThatIsFilledBitByBitOnceItIsQuiet)
{
    StartService();

    std::filesystem::create_directory(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "Half", 0));
    WriteFile(InputPath("hdmi1") + "/cec.log", "4f:84:10:00:05\n");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    EXPECT_EQ(EventsOf(kDetected)[0].args, (std::vector<int>{0, 4, 1}));
}

TEST_F(Service, ReadsADirectoryAtOnceThatHasBeenQuiet)
{
    StartService({"--quiet-ms", "60000"});

    LinkCapture("hdmi1", "tivaro-one");

    EXPECT_TRUE(WaitForEvents(kDetected, 1));
}

TEST_F(Service, ReadsADeviceThatNeverStopsSending)
{
    StartService({"--quiet-ms", "400"});
    std::filesystem::create_directory(InputPath(".hdmi1"));
    WriteFile(InputPath(".hdmi1") + "/cec.log", "4f:84:10:00:04\n");
    std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));

    // At intervals that are shorter than the quiet time.
    RunUntil([&] {
        std::ofstream(InputPath("hdmi1") + "/cec.log", std::ios::app) << "40:8f\n";
        RunFor(std::chrono::milliseconds(20));
        return CountOf(kDetected) > 0;
    });

    ASSERT_GT(CountOf(kDetected), 0U);
    EXPECT_EQ(EventsOf(kDetected).back().args[1], SRCWATCH_DEVICE_STREAMING_BOX);
}

TEST_F(Service, ReadsAFileAgainThatChanges)
{
    StartService();
    std::filesystem::create_directory(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "First", 8));
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "Second", 10));
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(EventsOf(kDetected)[1], (Event{kDetected, {0, 3, 1}, {"Second", "ACME", ""}}));
    EXPECT_EQ(CountOf(kConnection), 1U);
}

TEST_F(Service, AnnouncesNothingWhenAFileKeepsItsBytes)
{
    StartService();
    std::filesystem::create_directory(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "First", 8));
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "First", 8));
    RunFor(std::chrono::milliseconds(400));

    EXPECT_EQ(CountOf(kDetected), 1U);
    EXPECT_EQ(Saves(), 1U);
}

TEST_F(Service, SeesALinkThatIsPointedToAnotherDevice)
{
    StartService();
    Plug("hdmi1", "tivaro-one");

    std::filesystem::create_directory_symlink(std::string(SRCWATCH_CAPTURES_DIR) + "/darvex-dvd", InputPath(".next"));
    std::filesystem::rename(InputPath(".next"), InputPath("hdmi1"));
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(FirstArgs(EventsOf(kConnection)), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
}

TEST_F(Service, KeepsSeeingOneOfTwoLinksToTheSameDirectory)
{
    const TempDirectory device;
    WriteFile(device / "spd.bin", SpdFrame("ACME", "Shared", 8));
    StartService();
    std::filesystem::create_directory_symlink(device.Path(), InputPath("hdmi1"));
    std::filesystem::create_directory_symlink(device.Path(), InputPath("hdmi2"));
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    Unplug("hdmi1");
    WriteFile(device / "spd.bin", SpdFrame("ACME", "Changed", 8));
    ASSERT_TRUE(WaitForEvents(kDetected, 3));

    EXPECT_EQ(EventsOf(kDetected)[2].texts[0], "Changed");
}

/// Makes more changes in a directory than the kernel keeps for a watch.
void OverflowWatch(const std::string& directory)
{
    const std::string name = directory + "/.other";
    const std::string other = directory + "/.another";
    std::filesystem::create_directory(name);
    const int kept = std::stoi(ReadFile("/proc/sys/fs/inotify/max_queued_events"));
    for (int i = 0; i <= kept / 2; ++i) {
        std::filesystem::rename(name, other);
        std::filesystem::rename(other, name);
    }
    std::filesystem::remove(name);
}

TEST_F(Service, SeesDevicesAgainAfterItMissedChanges)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    SuspendService();

    OverflowWatch(m_inputs.Path());
    std::filesystem::remove(InputPath("hdmi2"));
    LinkCapture("hdmi3", "darvex-dvd");
    m_service->Signal(SIGCONT);

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(EventsOf(kConnection), (std::vector<Event>{{kConnection, {1, 1, 0}, kNoTexts},
                                                         {kConnection, {1, 0, 0}, kNoTexts},
                                                         {kConnection, {2, 1, 0}, kNoTexts}}));
    EXPECT_EQ(QueryType(2), SRCWATCH_DEVICE_DISC_PLAYER);
    Unplug("hdmi3");
}

TEST_F(Service, ReadsADeviceAgainAfterItMissedChangesOfItsFiles)
{
    StartService();
    std::filesystem::create_directory(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "First", 8));
    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    SuspendService();

    OverflowWatch(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "Second", 8));
    m_service->Signal(SIGCONT);

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(EventsOf(kDetected)[1].texts[0], "Second");
}

TEST_F(Service, ReportsEveryCaptureAsItsDeviceIs)
{
    StartService({"--quiet-ms", "20"});
    const std::vector<std::pair<const char*, int>> expected = {
        {"nordhus-digibox", 1}, {"meruva-tuner", 1}, {"solhane-arena", 4}, {"brightpond-stick", 5},
        {"larkspring-box", 5},  {"kestelle-k2", 6},  {"marrowic-desk", 9}, {"pellorin-cam", 7},
        {"hexallon-switch", 8}, {"malformed", 8},    {"unknown-source", 7}};

    for (const auto& [capture, type] : expected) {
        Plug("hdmi1", capture);
        EXPECT_EQ(EventsOf(kDetected).back().args[1], type) << capture;
        Unplug("hdmi1");
    }
}

TEST_F(Service, RecognizesADeviceThatReturnsToItsPort)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    EXPECT_EQ(QueryChange(0), std::make_pair(-1, true));

    Unplug("hdmi1");
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(QueryChange(0), std::make_pair(-1, false));
    EXPECT_EQ(EventsOf(kDetected).back().args[2], 0);
}

TEST_F(Service, RecordsThePortThatADeviceMovedFrom)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    Unplug("hdmi2");
    Plug("hdmi4", "tivaro-one");

    EXPECT_EQ(QueryChange(3), std::make_pair(1, true));
    EXPECT_EQ(StoredRecord(3)["Changed"].asInt(), SRCWATCH_CHANGED_MOVED);
}

TEST_F(Service, RecognizesADeviceWithoutAksvByItsNames)
{
    StartService();
    Plug("hdmi1", "pellorin-cam");

    std::filesystem::rename(InputPath("hdmi1"), InputPath("hdmi2"));
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(QueryChange(1), std::make_pair(0, true));
}

TEST_F(Service, DoesNotTakeASecondDeviceOfTheSameKindForTheFirst)
{
    StartService();

    Plug("hdmi1", "pellorin-cam");
    Plug("hdmi2", "pellorin-cam");

    EXPECT_EQ(QueryChange(1), std::make_pair(-1, true));
}

TEST_F(Service, MarksAnotherDeviceOnAPortAsChanged)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");

    Plug("hdmi1", "darvex-dvd");

    EXPECT_EQ(QueryChange(0), std::make_pair(-1, true));
}

TEST_F(Service, KeepsAReceiverApartFromThePlayerBehindIt)
{
    const TempDirectory receiver;
    const std::string log = "5f:84:10:00:05\n50:47:52:65:63\n8f:84:11:00:04\n80:47:50\n";
    WriteFile(receiver / "cec.log", log);
    StartService();

    Plug("hdmi1", receiver.Path());

    EXPECT_EQ(EventsOf(kDetected)[0], (Event{kDetected, {0, SRCWATCH_DEVICE_HOME_THEATRE, 1}, {"Rec", "", ""}}));
    EXPECT_EQ(StoredRecord(0)["CECName"], "Rec");
    EXPECT_THAT(TextSetting(kStatistics).value_or(""), testing::HasSubstr(R"("osd_name" : "P")"));

    WriteFile(receiver / "cec.log", log + "80:47:51\n");
    EXPECT_TRUE(RunUntil(
        [] { return TextSetting(kStatistics).value_or("").find(R"("osd_name" : "Q")") != std::string::npos; }));
    EXPECT_EQ(CountOf(kDetected), 1U);
}

TEST_F(Service, TellsDevicesApartThatSendOnlyCecMessages)
{
    const TempDirectory box;
    const TempDirectory tuner;
    WriteFile(box / "cec.log", "4f:84:10:00:04\n4f:87:00:1a:2b\n40:47:42:6f:78\n");
    WriteFile(tuner / "cec.log", "3f:84:10:00:03\n3f:87:00:90:3e\n30:47:54:75:6e:65:72\n");
    StartService();

    std::vector<bool> changes;
    for (const TempDirectory* device : {&box, &box, &tuner, &tuner}) {
        Plug("hdmi1", device->Path());
        changes.push_back(QueryChange(0).second);
        Unplug("hdmi1");
    }

    EXPECT_EQ(changes, (std::vector<bool>{true, false, true, false}));
}

TEST_F(Service, RemembersDevicesAcrossARestart)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");
    ASSERT_EQ(StopService(SIGTERM), 0);
    StartService();

    Plug("hdmi3", "tivaro-one");

    EXPECT_EQ(QueryChange(2), std::make_pair(0, true));
}

}  // namespace
}  // namespace srcwatch_test
