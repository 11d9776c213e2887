// SPDX-License-Identifier: Apache-2.0
//
// Start, restart, take-over and end, and what the log must not show.
#include "NotifySocket.h"
#include "QDInfoNames.h"
#include "ServiceTest.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <json/json.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, DetectsWhatIsThereAtItsStart)
{
    LinkCapture("hdmi1", "tivaro-one");
    LinkCapture("hdmi4", "marrowic-desk");

    StartService();
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(CountOf(kConnection), 2U);
    EXPECT_EQ(QueryType(3), SRCWATCH_DEVICE_PC);
}

TEST_F(Service, DoesNotAnnounceKnownDevicesAgainAfterARestart)
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

TEST_F(Service, NotifiesSystemdOfItsStartAndItsEnd)
{
    NotifySocket systemd;

    m_service = LaunchService({}, {{"NOTIFY_SOCKET", systemd.Path()}});
    EXPECT_TRUE(systemd.Hears("READY=1\nSTATUS=Serving 4 HDMI input(s)")) << systemd.Heard();
    EXPECT_EQ(systemd.Heard().find("WATCHDOG"), std::string::npos);
    EXPECT_EQ(StopService(SIGTERM), 0);
    EXPECT_TRUE(systemd.Hears("STOPPING=1")) << systemd.Heard();
}

TEST_F(Service, FeedsTheWatchdogAsLongAsItRuns)
{
    NotifySocket systemd;
    m_service = LaunchService({}, {{"NOTIFY_SOCKET", systemd.Path()}, {"WATCHDOG_USEC", "40000"}});
    EXPECT_TRUE(systemd.Hears("WATCHDOG=1\nWATCHDOG=1\nWATCHDOG=1")) << systemd.Heard();

    m_service->Signal(SIGSTOP);
    RunFor(std::chrono::milliseconds(200));
    while (systemd.HearsNow()) {
    }
    RunFor(std::chrono::milliseconds(200));

    EXPECT_FALSE(systemd.HearsNow());
    m_service->Signal(SIGCONT);
    EXPECT_TRUE(RunUntil([&] { return systemd.HearsNow(); }));
}

TEST_F(Service, IsNotReadyWhenItCannotWatchTheSettings)
{
    NotifySocket systemd;
    WriteFile(InputPath("file"), "");

    m_service =
        LaunchService({}, {{"NOTIFY_SOCKET", systemd.Path()}, {"SRCWATCH_RUN_DIR", InputPath("file") + "/run"}});

    ASSERT_TRUE(RunUntil([&] { return m_service->Result().has_value(); }));
    EXPECT_EQ(m_service->Result(), 1);
    EXPECT_TRUE(systemd.Hears("STOPPING=1"));
    EXPECT_EQ(systemd.Heard(), "STOPPING=1\nSTATUS=the settings store cannot be watched\n");
}

// So it knows what the service before it wrote last.
TEST_F(Service, LoadsTheRecordsOnceItOwnsTheName)
{
    vconf_set_str(kActivity.c_str(), R"({"activity": []})");
    m_service = LaunchService({}, {{"SRCWATCH_LOG_LEVEL", "debug"}});
    ASSERT_TRUE(WaitUntilServing());

    const std::string log = Log();
    const std::size_t owned = log.find("Registered on DBus");
    ASSERT_NE(owned, std::string::npos);
    EXPECT_EQ(log.substr(0, owned).find("source-activity"), std::string::npos);
    EXPECT_NE(log.find("get " + kActivity + " succeed"), std::string::npos);
}

TEST_F(Service, EndsWithAClearMessageWhenItIsReplaced)
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

TEST_F(Service, SwitchesOnAgainWhenAReplacedOneSwitchesOff)
{
    StartService();
    const std::unique_ptr<Process> first = std::move(m_service);
    first->Signal(SIGSTOP);
    StartService();
    ASSERT_TRUE(srcwatch_is_HotPlug_enable());

    first->Signal(SIGTERM);
    first->Signal(SIGCONT);

    EXPECT_EQ(first->Wait(), 0);
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_HotPlug_enable() && srcwatch_is_MVPD_enable(); }));
}

TEST_F(Service, SwitchesOnAgainWhatAnotherProcessSwitchesOff)
{
    StartService();

    vconf_set_int(qdinfo::kMvpdSupportKey, 0);

    EXPECT_TRUE(RunUntil([] { return srcwatch_is_MVPD_enable(); }));
}

TEST_F(Service, SwitchesOffWhenNoneIsLeft)
{
    StartService();
    ASSERT_TRUE(srcwatch_is_HotPlug_enable());

    EXPECT_EQ(StopService(SIGTERM), 0);

    EXPECT_FALSE(srcwatch_is_HotPlug_enable());
    EXPECT_FALSE(srcwatch_is_MVPD_enable());
}

TEST_F(Service, ServesAgainWhenItsReplacementEndsFirst)
{
    StartService();
    const std::unique_ptr<Process> first = std::move(m_service);
    first->Signal(SIGSTOP);
    StartService();
    EXPECT_EQ(StopService(SIGTERM), 0);
    EXPECT_TRUE(srcwatch_is_HotPlug_enable());

    first->Signal(SIGCONT);
    Plug("hdmi1", "tivaro-one");

    EXPECT_FALSE(first->Result().has_value());
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_GAME_CONSOLE);
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

}  // namespace
}  // namespace srcwatch_test
