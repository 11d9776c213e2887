// SPDX-License-Identifier: Apache-2.0
//
// The program with an adapter, as applications see it.
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>

namespace srcwatch_test {
namespace {

class CecService : public Service {
protected:
    CecService() { SetProgram(SRCWATCH_SERVICE_WITH_CEC); }

    void SetDevice(int address, const std::string& answers) const
    {
        WriteFile(m_adapter / ".new", answers);
        std::filesystem::rename(m_adapter / ".new", m_adapter / std::to_string(address));
    }
    void StartWithAdapter() { StartService({"--cec", m_adapter.Path(), "--cec-round-ms", "150"}); }

    TempDirectory m_adapter;
};

constexpr char kPlayer[] = "4f:84:20:00:04\n40:47:4b:75:76:6f\n4f:87:00:aa:bb\n40:9e:05\n40:90:00\n";

TEST_F(CecService, TellsApplicationsOfADevice)
{
    StartWithAdapter();
    SetDevice(4, kPlayer);

    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    const std::vector<Event> detected = EventsOf(kDetected);
    EXPECT_EQ(EventsOf(kConnection)[0].args, (std::vector<int>{1, 1, 0}));
    EXPECT_EQ(detected[0].args, (std::vector<int>{1, 5, 1}));
    EXPECT_EQ(detected[0].texts[0], "Kuvo");
    EXPECT_EQ(Query(srcwatch_get_cec_name, 1), "Kuvo");
    EXPECT_EQ(QueryType(1), 5);
    EXPECT_EQ(StoredRecord(1)["DMethod"], SRCWATCH_METHOD_CEC);
    EXPECT_EQ(Call(SRCWATCH_REQUEST_CAPTURE, 1)["cec"].asString(),
              "40:47:4b:75:76:6f\n4f:84:20:00:04\n4f:87:00:aa:bb\n40:90:00\n40:9e:05\n");
}

TEST_F(CecService, TellsApplicationsThatADeviceHasGone)
{
    SetDevice(4, kPlayer);
    StartWithAdapter();
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    std::filesystem::remove(m_adapter / "4");

    ASSERT_TRUE(WaitForEvents(kConnection, 2));
    EXPECT_EQ(EventsOf(kConnection)[1].args, (std::vector<int>{1, 0, 0}));
    EXPECT_EQ(StoredRecord(1)["DevType"], 0);
}

TEST_F(CecService, TellsApplicationsOfANewName)
{
    SetDevice(4, kPlayer);
    StartWithAdapter();
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    SetDevice(4, "4f:84:20:00:04\n40:47:4e:65:77\n4f:87:00:aa:bb\n40:9e:05\n40:90:00\n");

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(EventsOf(kDetected)[1].texts[0], "New");
    EXPECT_EQ(CountOf(kConnection), 1U);
}

TEST_F(CecService, HasDevicesOfAnAdapterAndOfADirectory)
{
    SetDevice(4, kPlayer);
    StartWithAdapter();
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    Plug("hdmi1", "tivaro-one");
    Plug("hdmi2", "voltana-vx-home");  // which the adapter has, too

    EXPECT_EQ(Call(SRCWATCH_REQUEST_STATUS, 0)["plugged"].size(), 2U);
    EXPECT_EQ(StoredRecord(1)["DMethod"], SRCWATCH_METHOD_PROFILE);
    EXPECT_EQ(CountOf(kConnection), 2U);
    std::filesystem::remove(InputPath("hdmi2"));
    ASSERT_TRUE(WaitForEvents(kDetected, 4));
    EXPECT_EQ(StoredRecord(1)["CECName"], "Kuvo");
    EXPECT_EQ(StoredRecord(1)["DMethod"], SRCWATCH_METHOD_CEC);
}

TEST_F(CecService, WaitsForAnAdapterAndSurvivesItsEnd)
{
    const std::string away = m_adapter.Path() + ".away";
    SetDevice(4, kPlayer);
    std::filesystem::rename(m_adapter.Path(), away);
    StartWithAdapter();
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("cannot be opened: No such file or directory") == 1; }));

    std::filesystem::rename(away, m_adapter.Path());
    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    std::filesystem::rename(m_adapter.Path(), away);
    ASSERT_TRUE(WaitForEvents(kConnection, 2));
    std::filesystem::rename(away, m_adapter.Path());

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(CecService, ScansTheDevicesOfAnAdapter)
{
    SetDevice(4, kPlayer);
    StartWithAdapter();
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    srcwatch_oobe_scan_start();

    ASSERT_TRUE(WaitForEvents(kFinished, 1));
    EXPECT_EQ(EventsOf(kFinished)[0].args[1], 1);
}

TEST_F(CecService, ServesWithAnAdapterThatIsNone)
{
    SetProgram(SRCWATCH_SERVICE_PROGRAM);
    StartService({"--cec", "/dev/null"});

    EXPECT_TRUE(RunUntil([] { return LogLinesWith("/dev/null: refuses the mode: Inappropriate ioctl") == 1; }));
    Plug("hdmi1", "tivaro-one");
}

}  // namespace
}  // namespace srcwatch_test
