// SPDX-License-Identifier: Apache-2.0
//
// The service from outside: raw captures in, what applications see out.
#include "Frames.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

constexpr int kConnection = SRCWATCH_EVENT_CONNECTION;
constexpr int kDetected = SRCWATCH_EVENT_DETECTED;
constexpr int kProgress = SRCWATCH_EVENT_SCAN_PROGRESS;
constexpr int kFinished = SRCWATCH_EVENT_SCAN_FINISHED;
constexpr int kOptical = SRCWATCH_PORT_OPTICAL;

const std::string kActivity = "db/srcwatch-service/source-activity";
const std::string kOpticalActivity = "db/srcwatch-service/optical-source-activity";
const std::string kStatistics = "db/srcwatch-service/spd_aksv_1";
const std::string kCommand = "memory/srcwatch-service/scan_progress";
const std::string kScanResult = "memory/srcwatch-service/scan_result";

const std::vector<std::string> kNoTexts = {"", "", ""};

std::string Query(int (*query)(char*, int), int port)
{
    char text[SRCWATCH_TEXT_SIZE + 1] = {};
    EXPECT_EQ(query(text, port), SRCWATCH_OK);
    return text;
}

int QueryType(int port)
{
    int type = -1;
    EXPECT_EQ(srcwatch_get_product_type_name(port, &type), SRCWATCH_OK);
    return type;
}

struct Change {
    int previousPort;
    bool changed;
};
bool operator==(const Change& a, const Change& b) { return a.previousPort == b.previousPort && a.changed == b.changed; }

Change QueryChange(int port)
{
    Change change{-99, false};
    EXPECT_EQ(srcwatch_get_changed_device_info(port, &change.previousPort, &change.changed), SRCWATCH_OK);
    return change;
}

std::vector<int> FirstArgs(const std::vector<Event>& events)
{
    std::vector<int> args;
    for (const Event& event : events) args.push_back(event.args[0]);
    return args;
}

class Service : public ServiceTest {};

/* ---- A device is plugged in, changed, unplugged ---- */

TEST_F(Service, TellsApplicationsOfAPluggedSetTopBox)
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

TEST_F(Service, ClearsTheRecordOfAnUnpluggedDeviceAndTellsOnce)
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

TEST_F(Service, SaysNothingWhenAFileIsWrittenAgainWithTheSameBytes)
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

/* ---- Memory of devices ---- */

TEST_F(Service, KnowsTheDeviceThatComesBackToItsPort)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    EXPECT_EQ(QueryChange(0), (Change{-1, true}));

    Unplug("hdmi1");
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(QueryChange(0), (Change{-1, false}));
    EXPECT_EQ(EventsOf(kDetected).back().args[2], 0);
}

TEST_F(Service, KnowsThePortFromWhichADeviceMoved)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    Unplug("hdmi2");
    Plug("hdmi4", "tivaro-one");

    EXPECT_EQ(QueryChange(3), (Change{1, true}));
    EXPECT_EQ(StoredRecord(3)["Changed"].asInt(), SRCWATCH_CHANGED_MOVED);
}

TEST_F(Service, KnowsADeviceWithoutAksvByVendorAndProduct)
{
    StartService();
    Plug("hdmi1", "pellorin-cam");

    std::filesystem::rename(InputPath("hdmi1"), InputPath("hdmi2"));
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(QueryChange(1), (Change{0, true}));
}

TEST_F(Service, DoesNotTakeASecondDeviceOfTheSameKindForTheFirst)
{
    StartService();

    Plug("hdmi1", "pellorin-cam");
    Plug("hdmi2", "pellorin-cam");

    EXPECT_EQ(QueryChange(1), (Change{-1, true}));
}

TEST_F(Service, MarksAnotherDeviceOnAPortAsChanged)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");

    Plug("hdmi1", "darvex-dvd");

    EXPECT_EQ(QueryChange(0), (Change{-1, true}));
}

TEST_F(Service, RemembersDevicesAcrossARestart)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Unplug("hdmi1");
    ASSERT_EQ(StopService(SIGTERM), 0);
    StartService();

    Plug("hdmi3", "tivaro-one");

    EXPECT_EQ(QueryChange(2), (Change{0, true}));
}

/* ---- Start and end ---- */

TEST_F(Service, DetectsWhatIsThereAtItsStart)
{
    LinkCapture("hdmi1", "tivaro-one");
    LinkCapture("hdmi4", "marrowic-desk");

    StartService();
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(CountOf(kConnection), 2U);
    EXPECT_EQ(QueryType(3), SRCWATCH_DEVICE_PC);
}

TEST_F(Service, SaysNothingOfDevicesThatItKnewBeforeItsRestart)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);
    ASSERT_EQ(StopService(SIGTERM), 0);
    m_events.clear();

    StartService();
    RunFor(std::chrono::milliseconds(400));

    EXPECT_EQ(m_events, std::vector<Event>{});
    EXPECT_EQ(StoredRecord(0), before);
}

TEST_F(Service, ClearsAtItsStartWhatWasUnpluggedMeanwhile)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");
    ASSERT_EQ(StopService(SIGTERM), 0);
    std::filesystem::remove(InputPath("hdmi1"));
    std::filesystem::remove(InputPath("optical"));
    m_events.clear();

    StartService();
    ASSERT_TRUE(WaitForEvents(kConnection, 2));

    EXPECT_EQ(m_events,
              (std::vector<Event>{{kConnection, {0, 0, 0}, kNoTexts}, {kConnection, {kOptical, 0, 0}, kNoTexts}}));
    EXPECT_EQ(QueryType(0), 0);
    EXPECT_EQ(QueryType(kOptical), 0);
}

TEST_F(Service, LosesNothingWhenItIsKilled)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);

    EXPECT_EQ(StopService(SIGKILL), 128 + SIGKILL);
    StartService();
    RunFor(std::chrono::milliseconds(300));

    EXPECT_EQ(StoredRecord(0), before);
}

TEST_F(Service, EndsCleanlyOnSigtermAndSigint)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        StartService();
        m_service->Signal(signal);
        EXPECT_EQ(m_service->Wait(), 0);
        EXPECT_EQ(m_service->Errors(), "");
    }
}

TEST_F(Service, TellsSystemdWhenItIsReadyAndWhenItStops)
{
    const TempDirectory directory;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (directory / "notify").copy(address.sun_path, sizeof address.sun_path - 1);
    const int notify = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(bind(notify, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    std::string heard;
    const auto hears = [&](const char* text) {
        return RunUntil([&] {
            char message[256];
            const ssize_t size = recv(notify, message, sizeof message, 0);
            if (size > 0) heard += std::string(message, static_cast<std::size_t>(size)) + "\n";
            return heard.find(text) != std::string::npos;
        });
    };

    m_service = LaunchService({}, {{"NOTIFY_SOCKET", directory / "notify"}});
    EXPECT_TRUE(hears("READY=1")) << heard;
    EXPECT_EQ(StopService(SIGTERM), 0);
    EXPECT_TRUE(hears("STOPPING=1")) << heard;

    close(notify);
}

TEST_F(Service, GivesItsNameToASecondOneAndEndsWithAClearMessage)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const std::unique_ptr<Process> first = std::move(m_service);

    StartService();

    EXPECT_EQ(first->Wait(), 0);
    EXPECT_NE(first->Errors().find("srcwatch-service: another service has taken over the name org.nalto.tv.qdinfo; "
                                   "this one ends\n"),
              std::string::npos)
        << first->Errors();
    EXPECT_FALSE(m_service->Result().has_value());
    EXPECT_TRUE(srcwatch_is_HotPlug_enable());
    Plug("hdmi2", "darvex-dvd");
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_GAME_CONSOLE);
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_DISC_PLAYER);
}

TEST_F(Service, EndsWithAClearMessageWhenTheInputsDirectoryGoes)
{
    StartService();

    std::filesystem::remove_all(m_inputs.Path());

    EXPECT_EQ(m_service->Wait(), 1);
    EXPECT_EQ(m_service->Errors(), "srcwatch-service: the inputs directory " + m_inputs.Path() + " is gone\n");
}

TEST_F(Service, EndsWithAClearMessageWhenTheBusDies)
{
    const std::unique_ptr<PrivateBus> bus = MakeSecondBus();
    m_service = LaunchService({}, {{"DBUS_SYSTEM_BUS_ADDRESS", bus->Address()}});
    ASSERT_TRUE(WaitUntilServing());

    bus->Kill();

    EXPECT_EQ(m_service->Wait(), 1);
    EXPECT_EQ(m_service->Errors(), "srcwatch-service: the connection to the system bus is lost\n");
}

/* ---- What its log tells ---- */

// The key selection vector of a device, as stored, and what begins the text of records in the log.
constexpr const char* kTivarosAksv = "db137325c1";
constexpr const char* kDocument = "<{";

TEST_F(Service, LogsNeitherKeySelectionVectorsNorDocuments)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    ASSERT_EQ(StoredRecord(0)["AKSV"].asString(), kTivarosAksv);
    Unplug("hdmi1");
    EXPECT_EQ(StopService(SIGTERM), 0);

    EXPECT_EQ(LogLinesWith(kTivarosAksv), 0) << Log();
    EXPECT_EQ(LogLinesWith(kDocument), 0) << Log();
}

TEST_F(Service, LogsDocumentsWhenAskedToDebug)
{
    m_service = LaunchService({}, {{"SRCWATCH_LOG_LEVEL", "debug"}});
    ASSERT_TRUE(WaitUntilServing());
    Plug("hdmi1", "tivaro-one");

    EXPECT_GT(LogLinesWith(kTivarosAksv), 0);
    EXPECT_GT(LogLinesWith(kDocument), 0);
}

/* ---- Stored texts ---- */

TEST_F(Service, KeepsUnreadableRecordsAsideAndBeginsWithEmptyOnes)
{
    vconf_set_str(kActivity.c_str(), "{\"activity\": [");

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), "{\"activity\": [");
    EXPECT_EQ(LogLinesWith("is unreadable (line 1: column "), 1);
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_GAME_CONSOLE);
}

TEST_F(Service, KeepsRecordsAsideThatAreReadableOnlyInPart)
{
    const std::string text = R"({"activity": [{"DevType": 6, "DenyCount": 4}, {"DevName": [1]}, null]})";
    vconf_set_str(kActivity.c_str(), text.c_str());

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), text);
    EXPECT_EQ(LogLinesWith("is unreadable (line 1: activity[1].DevName: is no text)"), 1);
    EXPECT_EQ(StoredRecord(0)["DenyCount"].asInt(), 4);
}

TEST_F(Service, KeepsEveryKindOfUnreadableTextAside)
{
    for (const char* text : {"[]", "5", "{}", "{\"activity\": {}}", "{\"activity\": 7}", "", "\x01\x02"}) {
        srcwatch_host_unset((kActivity + ".unreadable").c_str());
        vconf_set_str(kActivity.c_str(), text);
        StartService();
        EXPECT_EQ(StopService(SIGTERM), 0) << text;
        EXPECT_EQ(TextSetting(kActivity + ".unreadable"), text);
    }
}

TEST_F(Service, KeepsAnUnreadableOpticalRecordAside)
{
    vconf_set_str(kOpticalActivity.c_str(), "{\"activity\": []}");

    StartService();
    Plug("optical", "ambrelle-soundbar");

    EXPECT_EQ(TextSetting(kOpticalActivity + ".unreadable"), "{\"activity\": []}");
    EXPECT_EQ(QueryType(kOptical), SRCWATCH_DEVICE_HOME_THEATRE);
}

TEST_F(Service, KeepsUnreadableStatisticsAside)
{
    vconf_set_str(kStatistics.c_str(), "oops");

    StartService();
    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(kStatistics + ".unreadable"), "oops");
    EXPECT_EQ(LogLinesWith("spd_aksv_1 is unreadable"), 1);
}

TEST_F(Service, BeginsWithEmptyRecordsWhenNoneAreStored)
{
    StartService();
    Plug("hdmi4", "tivaro-one");

    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), std::nullopt);
    EXPECT_EQ(StoredRecord(0)["DevType"].asInt(), 0);
    EXPECT_EQ(StoredRecord(3)["DevType"].asInt(), 6);
}

TEST_F(Service, TakesOverRecordsThatAnotherProcessWrote)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    Plug("hdmi2", "darvex-dvd");

    vconf_set_str(kActivity.c_str(), R"({"activity": [{"DevType": 0}, {"DevType": 3, "DevName": "Mine"}]})");
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("they are taken over") == 1; }));
    Plug("hdmi3", "marrowic-desk");

    EXPECT_EQ(QueryType(0), 0);
    EXPECT_EQ(StoredRecord(1)["DevName"].asString(), "Mine");
    EXPECT_EQ(QueryType(2), SRCWATCH_DEVICE_PC);
}

TEST_F(Service, RestoresRecordsThatAnotherProcessSpoilt)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);

    vconf_set_str(kActivity.c_str(), "spoilt");

    EXPECT_TRUE(RunUntil([&] { return StoredRecord(0) == before; }));
    EXPECT_EQ(LogLinesWith("they are written again"), 1);
    EXPECT_EQ(TextSetting(kActivity + ".unreadable"), "spoilt");
}

/* ---- Optical ---- */

TEST_F(Service, WritesAndAnnouncesTheOpticalDocument)
{
    StartService();

    Plug("optical", "ambrelle-soundbar");

    EXPECT_EQ(EventsOf(kConnection), (std::vector<Event>{{kConnection, {kOptical, 1, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kDetected),
              (std::vector<Event>{{kDetected, {kOptical, 4, 1}, {"SoundBar 30", "AMBRELLE", ""}}}));
    EXPECT_TRUE(RunUntil([&] { return Saves() == 1; }));
    EXPECT_EQ(StoredRecord(kOptical)["PortNum"].asInt(), kOptical);
    EXPECT_EQ(Query(srcwatch_get_cec_name, kOptical), "SoundBar 30");
    EXPECT_EQ(TextSetting(kActivity), std::nullopt);
}

TEST_F(Service, ScansTheOpticalInputOnCommand)
{
    StartService({"--scan-step-ms", "50"});
    Plug("optical", "ambrelle-soundbar");

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kProgress), (std::vector<Event>{{kProgress, {0, kOptical, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kFinished), (std::vector<Event>{{kFinished, {0, 1, kOptical}, kNoTexts}}));
    EXPECT_EQ(CountOf(kDetected), 2U);
    int state = 0;
    EXPECT_EQ(srcwatch_get_oobe_scan_state(kOptical, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_FOUND);
}

TEST_F(Service, StopsAnOpticalScan)
{
    StartService({"--scan-step-ms", "5000"});

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kProgress, 1));
    srcwatch_optical_scan_stop();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-1, 0, kOptical}));
}

TEST_F(Service, FindsNothingOnAnOpticalInputWithoutADevice)
{
    StartService({"--scan-step-ms", "20"});

    srcwatch_optical_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-3, 0, kOptical}));
}

/* ---- First-setup scan ---- */

// Collects every value of the progress key.
class ScanService : public ServiceTest {
protected:
    ScanService()
        : m_watch(srcwatch_host_watch_setting(
              kScanResult.c_str(),
              [](const char*, const srcwatch_host_value* value, void* self) {
                  if (value != nullptr) static_cast<ScanService*>(self)->m_values.push_back(value->number);
              },
              this))
    {
    }
    ~ScanService() override { srcwatch_host_unwatch_setting(m_watch); }

    bool WaitForValue(int value)
    {
        return RunUntil([&] { return !m_values.empty() && m_values.back() == value; });
    }

    std::vector<int> m_values;

private:
    unsigned m_watch;
};

TEST_F(ScanService, WalksAllInputsAndShowsItsProgress)
{
    LinkCapture("hdmi1", "tivaro-one");
    LinkCapture("hdmi3", "marrowic-desk");
    StartService({"--scan-step-ms", "50"});
    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    ASSERT_TRUE(WaitForValue(0));
    m_values.clear();

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));
    ASSERT_TRUE(WaitForValue(0));

    EXPECT_EQ(m_values, (std::vector<int>{100, 122, 145, 167, 190, 2, 0}));
    EXPECT_EQ(EventsOf(kProgress), (std::vector<Event>{{kProgress, {0, 0, 0}, kNoTexts},
                                                       {kProgress, {22, 0, 0}, kNoTexts},
                                                       {kProgress, {45, 1, 0}, kNoTexts},
                                                       {kProgress, {67, 2, 0}, kNoTexts},
                                                       {kProgress, {90, 3, 0}, kNoTexts}}));
    EXPECT_EQ(EventsOf(kFinished), (std::vector<Event>{{kFinished, {0, 2, 0}, kNoTexts}}));
    EXPECT_EQ(CountOf(kDetected), 4U);
}

TEST_F(ScanService, RecordsTheScanStateOfEachPort)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "20"});

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    int state = -1;
    EXPECT_EQ(srcwatch_get_oobe_scan_state(0, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_FOUND);
    EXPECT_EQ(srcwatch_get_oobe_scan_state(1, &state), SRCWATCH_OK);
    EXPECT_EQ(state, SRCWATCH_SCAN_EMPTY);
}

TEST_F(ScanService, IsReadByTheLibraryAtEveryStage)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "300"});
    int progress = -1;
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 0);

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(145));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 45);
    ASSERT_TRUE(WaitForValue(1));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 1);
    EXPECT_EQ(progress, 90);
    ASSERT_TRUE(WaitForValue(0));
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), 0);
    EXPECT_EQ(progress, 0);
}

TEST_F(ScanService, SaysThatItFoundNothing)
{
    StartService({"--scan-step-ms", "20"});

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    int progress = 7;
    EXPECT_EQ(srcwatch_get_oobe_stb_scan_progress(&progress), -3);
    EXPECT_EQ(EventsOf(kFinished)[0].args, (std::vector<int>{-3, 0, 0}));
}

TEST_F(ScanService, CanBeStoppedAndResumedWhereItWas)
{
    LinkCapture("hdmi1", "tivaro-one");
    StartService({"--scan-step-ms", "150"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(145));

    srcwatch_oobe_scan_stop();
    ASSERT_TRUE(WaitForValue(-1));
    ASSERT_TRUE(WaitForEvents(kFinished, 1));
    EXPECT_EQ(EventsOf(kFinished).back().args, (std::vector<int>{-1, 1, 0}));
    RunFor(std::chrono::milliseconds(400));
    EXPECT_EQ(m_values.back(), -1);
    m_values.clear();
    srcwatch_oobe_scan_resume();
    ASSERT_TRUE(WaitForEvents(kFinished, 2));
    ASSERT_TRUE(WaitForValue(0));

    EXPECT_EQ(m_values, (std::vector<int>{145, 167, 190, 1, 0}));
    EXPECT_EQ(EventsOf(kFinished).back().args, (std::vector<int>{0, 1, 0}));
}

TEST_F(ScanService, ObeysTheSameCommandTwice)
{
    StartService({"--scan-step-ms", "100"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(122));
    m_values.clear();

    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForEvents(kFinished, 1));

    EXPECT_EQ(m_values, (std::vector<int>{100, 122, 145, 167, 190, -3}));
}

TEST_F(ScanService, IgnoresStopAndResumeWhenThereIsNothingToStopOrResume)
{
    StartService();

    srcwatch_oobe_scan_stop();
    srcwatch_oobe_scan_resume();
    srcwatch_optical_scan_stop();
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("no optical scan runs that could be stopped") == 1; }));

    EXPECT_EQ(LogLinesWith("no scan runs that could be stopped"), 1);
    EXPECT_EQ(LogLinesWith("no scan was stopped that could be resumed"), 1);
    EXPECT_EQ(NumberSetting(kScanResult), 0);
}

TEST_F(ScanService, ShowsAScanThatTheServiceLeavesAsStopped)
{
    StartService({"--scan-step-ms", "5000"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(100));

    EXPECT_EQ(StopService(SIGTERM), 0);

    EXPECT_EQ(NumberSetting(kScanResult), -1);
}

TEST_F(ScanService, ShowsNoScanAfterARestart)
{
    StartService({"--scan-step-ms", "5000"});
    srcwatch_oobe_scan_start();
    ASSERT_TRUE(WaitForValue(100));
    StopService(SIGKILL);

    StartService();

    EXPECT_EQ(NumberSetting(kScanResult), 0);
}

/* ---- Other commands, features ---- */

TEST_F(Service, LogsACommandThatItDoesNotKnow)
{
    StartService();

    vconf_set_int(kCommand.c_str(), 4711);
    vconf_set_int(kCommand.c_str(), 2018);
    vconf_set_str(kCommand.c_str(), "2001");
    vconf_set_int(kCommand.c_str(), 2028);
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("unknown command 2028") == 1; }));

    EXPECT_EQ(LogLinesWith("unknown command"), 3);
}

TEST_F(Service, ShowsItsSwitchesWhileItServes)
{
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    StartService();

    EXPECT_TRUE(srcwatch_is_HotPlug_enable());
    EXPECT_TRUE(srcwatch_is_MVPD_enable());
    EXPECT_FALSE(srcwatch_is_HotPlug_progress());
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());
    EXPECT_EQ(StopService(SIGTERM), 0);
    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    EXPECT_FALSE(srcwatch_is_MVPD_enable());
}

TEST_F(Service, ShowsAHotPlugDetectionWhileItRuns)
{
    StartService({"--quiet-ms", "500"});

    LinkCapture("hdmi2", "tivaro-one");
    ASSERT_TRUE(WaitForEvents(kConnection, 1));
    EXPECT_TRUE(srcwatch_is_HotPlug_progress());
    EXPECT_TRUE(srcwatch_Is_hdmi_notification_running());
    EXPECT_EQ(NumberSetting("memory/srcwatch-service/source-activity-index"), 2);
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    EXPECT_TRUE(RunUntil([] { return !srcwatch_is_HotPlug_progress(); }));
    EXPECT_FALSE(srcwatch_Is_hdmi_notification_running());
}

TEST_F(Service, ShowsNoHotPlugDetectionOfADeviceThatWentBeforeItsEnd)
{
    StartService({"--quiet-ms", "5000"});
    LinkCapture("hdmi2", "tivaro-one");
    ASSERT_TRUE(WaitForEvents(kConnection, 1));

    Unplug("hdmi2");

    EXPECT_FALSE(srcwatch_is_HotPlug_progress());
    EXPECT_EQ(Saves(), 0U);
}

TEST_F(Service, TellsTheTvServiceWhichInputsAreConnected)
{
    StartService();
    EXPECT_TRUE(srcwatch_is_no_device());

    Plug("hdmi4", "tivaro-one");
    EXPECT_FALSE(srcwatch_is_no_device());
    Unplug("hdmi4");

    EXPECT_TRUE(srcwatch_is_no_device());
}

TEST_F(Service, AccompaniesATwcCheckOfASetTopBox)
{
    StartService();
    Plug("hdmi2", "voltana-vx-home");

    srcwatch_TWC_check_start(1);
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_WAITING; }));
    srcwatch_TWC_is_channeltuned(1, 12);
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_TUNED; }));
    srcwatch_TWC_check_end(1);
    RunFor(std::chrono::milliseconds(100));

    EXPECT_EQ(srcwatch_is_TWC(), -1);
}

TEST_F(Service, RefusesATwcCheckOfAPortWithoutASetTopBox)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    for (const int port : {0, 1, 3, 7}) {
        srcwatch_TWC_check_start(port);
        EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == SRCWATCH_TWC_NO_SET_TOP_BOX; })) << port;
        srcwatch_TWC_check_end(port);
        EXPECT_TRUE(RunUntil([] { return srcwatch_is_TWC() == -1; })) << port;
    }
}

TEST_F(Service, LoadsProfilesAnewWhenTheMbrDownloadHasFinished)
{
    const std::string profiles = HomePath("profiles.d");
    std::filesystem::create_directories(profiles);
    StartService({"--profiles", profiles});
    Plug("hdmi1", "nordhus-digibox");
    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "");

    WriteFile(profiles + "/new.json", R"({"profiles": [{"match": {"vendor": "NORDHUS"},
        "give": {"type": 1, "provider": "Nordhus TV", "codeset": "N1"}}]})");
    srcwatch_set_MBR_download_finished();
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "Nordhus TV");
    EXPECT_EQ(NumberSetting("memory/mbr/mbr-mode"), 1);
    std::filesystem::remove_all(profiles);
}

TEST_F(Service, LogsEachMalformedProfileWithFileEntryAndReason)
{
    const std::string file = HomePath("bad.json");
    WriteFile(file, R"({"profiles": [{"match": {"vendor": "TIVARO"}, "give": {"type": 2}},
                                     {"match": {"vendor": "TIVARO"}, "give": {"type": 5}}]})");
    StartService({"--profiles", file});

    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(LogLinesWith("bad.json: entry 0: \"type\" is none of 1, 3, 4, 5, 6, 7, 8, 9"), 1);
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_STREAMING_BOX);
}

/* ---- Statistics ---- */

TEST_F(Service, KeepsStatisticsThatTheLibraryReads)
{
    StartService();
    Plug("hdmi2", "quellon-bdq900");

    srcwatch_kpi_info_s infos[8];
    ASSERT_EQ(srcwatch_get_all_device_kpi_info(infos), SRCWATCH_OK);

    EXPECT_EQ(infos[1].hdmi_no, 2);
    EXPECT_GE(infos[1].t, 100);
    EXPECT_LT(infos[1].t, 5000);
    EXPECT_EQ(infos[1].spd_vendor, "QUELLON");
    EXPECT_EQ(infos[1].spd_product, "BDQ-900");
    EXPECT_EQ(infos[1].result_first, "BDQ-900 Disc Player");
}

TEST_F(Service, KeepsStatisticsWithinBounds)
{
    StartService({"--quiet-ms", "5"});
    Plug("hdmi2", "quellon-bdq900");
    for (int i = 0; i < 12; ++i) {
        Plug("hdmi1", "voltana-vx-home");
        Unplug("hdmi1");
    }

    std::istringstream text(TextSetting(kStatistics).value_or(""));
    Json::Value document;
    text >> document;

    EXPECT_EQ(document["Auto"].size(), 9U);
    for (const Json::Value& entry : document["Auto"]) {
        EXPECT_EQ(entry["spd"].size(), 3U);
        EXPECT_EQ(entry["result"].size(), 3U);
        EXPECT_EQ(entry["pri"].asInt(), 1);
    }
}

/* ---- Requests ---- */

TEST_F(Service, AnswersHowItIs)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    const Json::Value status = Call(SRCWATCH_REQUEST_STATUS, 0);

    EXPECT_EQ(status["inputs"].asInt(), 4);
    EXPECT_EQ(status["plugged"].size(), 1U);
    EXPECT_EQ(status["plugged"][0].asInt(), 1);
    EXPECT_EQ(status["scan"]["state"].asString(), "idle");
    EXPECT_EQ(status["twc"]["port"].asInt(), -1);
    EXPECT_GT(status["profiles"].asInt(), 0);
}

TEST_F(Service, AnswersTheRecordOfAPort)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");

    for (const int port : {1, kOptical}) {
        const Json::Value answer = Call(SRCWATCH_REQUEST_RECORD, port);
        EXPECT_EQ(answer["port"].asInt(), port);
        EXPECT_TRUE(answer["plugged"].asBool());
        EXPECT_EQ(answer["record"], StoredRecord(port));
    }
}

TEST_F(Service, AnswersAnErrorForAPortThatThereIsNot)
{
    StartService();
    Plug("hdmi2", "tivaro-one");

    for (const int port : {-1, 4, 8, 98, 2147483647}) {
        for (const int request : {SRCWATCH_REQUEST_RECORD, SRCWATCH_REQUEST_FORGET, SRCWATCH_REQUEST_DENY}) {
            EXPECT_EQ(Call(request, port)["error"].asString(), "there is no port " + std::to_string(port));
        }
    }
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_GAME_CONSOLE);
}

TEST_F(Service, ForgetsADeviceButNotItsDenials)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");
    for (const int port : {1, kOptical}) {
        EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, port)["record"]["DenyCount"].asInt(), 1);
        EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, port)["record"]["DenyCount"].asInt(), 2);

        const Json::Value answer = Call(SRCWATCH_REQUEST_FORGET, port);

        EXPECT_TRUE(answer["plugged"].asBool());
        EXPECT_EQ(QueryType(port), 0);
        int denials = 0;
        EXPECT_EQ(srcwatch_get_denycount(&denials, port), SRCWATCH_OK);
        EXPECT_EQ(denials, 2);
    }
}

TEST_F(Service, KeepsTheDenyCountWhenADeviceIsReplaced)
{
    StartService();
    Plug("hdmi2", "tivaro-one");
    Call(SRCWATCH_REQUEST_DENY, 1);

    Unplug("hdmi2");
    Plug("hdmi2", "darvex-dvd");

    EXPECT_EQ(StoredRecord(1)["DenyCount"].asInt(), 1);
}

TEST_F(Service, RefusesADenialWhereNothingWasDetected)
{
    StartService();

    EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, 2)["error"].asString(), "nothing was detected on port 2");
}

TEST_F(Service, IsNotDisturbedByOddMessages)
{
    StartService();
    qdinfo::CQDEventSender sender("qdinfo");
    std::stringstream reply;

    for (const int type : std::vector<int>{0, -1, 5, SRCWATCH_EVENT_SERVICE_STARTED, SRCWATCH_EVENT_SERVICE_STOPPED}) {
        EXPECT_EQ(sender.Call(type, reply), 1);
        EXPECT_EQ(reply.str(), "");
        EXPECT_EQ(sender.SendSignal(type), 1);
    }
    for (int i = 0; i < 100; ++i) sender.SendEvent(SRCWATCH_REQUEST_STATUS);
    EXPECT_TRUE(Call(SRCWATCH_REQUEST_STATUS, 0).isMember("scan"));
    EXPECT_FALSE(m_service->Result().has_value());
}

}  // namespace
}  // namespace srcwatch_test

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, 4); }
