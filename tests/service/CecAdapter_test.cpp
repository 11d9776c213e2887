// SPDX-License-Identifier: Apache-2.0
#include "CecAdapter.h"

#include "CecTest.h"
#include "PrivateBus.h"
#include "Waiting.h"

#include <cerrno>
#include <tuple>

#include <gmock/gmock.h>
#include <sys/ioctl.h>

namespace srcwatch_test {
namespace {

using testing::ElementsAre;

using CecAdapterTest = CecTest;

TEST_F(CecAdapterTest, IsAnInitiatorAndAMonitorButNoFollower)
{
    Start();

    EXPECT_THAT(m_bus.Modes(), ElementsAre(CEC_MODE_INITIATOR, CEC_MODE_MONITOR));
    m_inputs.reset();
    EXPECT_EQ(m_bus.OpenCount(), 0U);
}

TEST_F(CecAdapterTest, IsOnlyAnInitiatorWhereItMayNotMonitor)
{
    m_bus.mayMonitor = false;

    Start();

    EXPECT_THAT(m_bus.Modes(), ElementsAre(CEC_MODE_INITIATOR));
    EXPECT_EQ(m_bus.OpenCount(), 1U);
    EXPECT_TRUE(WaitForLog("/dev/cec7: logical address 0, receives answers only, because it may not monitor"));
}

TEST_F(CecAdapterTest, ClaimsTheAddressesOfATv)
{
    Start();
    ASSERT_TRUE(WaitForLog("/dev/cec7: logical address 0, receives all messages"));

    const cec_log_addrs& addresses = m_bus.Addresses();
    EXPECT_EQ(addresses.num_log_addrs, 1);
    EXPECT_EQ(addresses.cec_version, CEC_OP_CEC_VERSION_1_4);
    EXPECT_EQ(addresses.vendor_id, CEC_VENDOR_ID_NONE);
    EXPECT_STREQ(addresses.osd_name, "TV");
    EXPECT_EQ(addresses.log_addr_type[0], CEC_LOG_ADDR_TYPE_TV);
    EXPECT_EQ(addresses.primary_device_type[0], CEC_OP_PRIM_DEVTYPE_TV);
    EXPECT_EQ(addresses.all_device_types[0], CEC_OP_ALL_DEVTYPE_TV);
    EXPECT_EQ(addresses.flags, 0U);
}

TEST_F(CecAdapterTest, WorksAtTheAddressThatIsLeft)
{
    m_bus.isTvTaken = true;
    m_bus.Plug(0, {"0f:84:00:00:00"});
    m_bus.Plug(4, kPlayer);

    Start();

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_THAT(m_reports, ElementsAre("plugged 0", "settled 0"));
    EXPECT_EQ(LogLinesWith("/dev/cec7: logical address 14"), 1);
    EXPECT_EQ(m_bus.SentCount(14, -1), 0);
    EXPECT_TRUE(WaitForLog("the device at logical address 0 is on no input of this TV"));
}

TEST_F(CecAdapterTest, KeepsTheAddressesOfATvThatAreThere)
{
    m_bus.Configure(CEC_LOG_ADDR_TV, CEC_OP_PRIM_DEVTYPE_TV);
    m_bus.Plug(4, kPlayer);

    Start();

    EXPECT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_bus.CallCount(CEC_ADAP_S_LOG_ADDRS), 0);
}

TEST_F(CecAdapterTest, ReplacesTheAddressesOfAnotherDevice)
{
    m_bus.Configure(CEC_LOG_ADDR_PLAYBACK_1, CEC_OP_PRIM_DEVTYPE_PLAYBACK);
    m_bus.Plug(4, kPlayer);

    Start();

    EXPECT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_bus.Addresses().log_addr[0], CEC_LOG_ADDR_TV);
}

TEST_F(CecAdapterTest, WaitsForThePhysicalAddressThatADriverGives)
{
    m_bus.capabilities = CEC_CAP_LOG_ADDRS | CEC_CAP_TRANSMIT;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForOpens(5));
    EXPECT_EQ(LogLinesWith("/dev/cec7: has no physical address: is a cable connected?"), 1);

    m_bus.SetPhysicalAddress(0);

    EXPECT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_bus.CallCount(CEC_ADAP_S_PHYS_ADDR), 0);
    EXPECT_TRUE(WaitForLog("/dev/cec7: works again"));
}

TEST_F(CecAdapterTest, LosesItsDevicesWithThePhysicalAddress)
{
    m_bus.capabilities = CEC_CAP_LOG_ADDRS | CEC_CAP_TRANSMIT;
    m_bus.SetPhysicalAddress(0);
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.SetPhysicalAddress(CEC_PHYS_ADDR_INVALID);

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_reports[2], "unplugged 0");
    EXPECT_EQ(LogLinesWith("/dev/cec7: has lost its addresses"), 1);
}

TEST_F(CecAdapterTest, TakesItsAddressesBackFromAnotherProcess)
{
    m_times.round = 3000;  // so that the devices are waited for
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.ClearAddresses();

    ASSERT_TRUE(RunUntil([&] { return m_bus.Addresses().log_addr_mask == 1; }));
    ASSERT_TRUE(WaitForFullRounds(1));
    EXPECT_EQ(m_reports.size(), 2U);
}

TEST_F(CecAdapterTest, NeedsAnAdapterThatCanSend)
{
    m_bus.capabilities = CEC_CAP_PHYS_ADDR | CEC_CAP_LOG_ADDRS;

    Start();

    ASSERT_TRUE(WaitForOpens(5));
    EXPECT_EQ(LogLinesWith("/dev/cec7: cannot send as a TV"), 1);
}

TEST_F(CecAdapterTest, TriesAgainForALogicalAddress)
{
    m_bus.claims = false;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForOpens(5));
    EXPECT_EQ(LogLinesWith("/dev/cec7: gets no logical address"), 1);

    m_bus.claims = true;

    EXPECT_TRUE(WaitForReports(2));
}

TEST_F(CecAdapterTest, FindsAnAdapterThatIsPluggedInLater)
{
    m_bus.PullOut();
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForLog("/dev/cec7: cannot be opened: No such file or directory"));

    m_bus.PutBack();

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_EQ(LogLinesWith("cannot be opened"), 1);
}

TEST_F(CecAdapterTest, LosesItsDevicesAWhileAfterItIsPulledOut)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.PullOut();

    ASSERT_TRUE(WaitForReports(3));
    EXPECT_EQ(m_reports[2], "unplugged 0");
    EXPECT_EQ(m_bus.OpenCount(), 0U);
    m_bus.PutBack();
    ASSERT_TRUE(WaitForReports(5));
    EXPECT_EQ(m_reports[3], "plugged 0");
}

TEST_F(CecAdapterTest, SurvivesBeingPulledOutWhileAsking)
{
    m_times.answer = 60000;
    m_bus.stopsSendingAfter = CEC_MSG_GIVE_OSD_NAME;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(4, CEC_MSG_GIVE_OSD_NAME) == 1; }));

    m_bus.PullOut();

    ASSERT_TRUE(WaitForLog("/dev/cec7: cannot receive: No such device"));
    m_bus.stopsSendingAfter = 0;
    m_bus.PutBack();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(4, CEC_MSG_GIVE_DEVICE_POWER_STATUS) == 1; }));
    EXPECT_TRUE(RunUntil([&] { return m_inputs->IsPlugged(0) && !m_inputs->IsSettling(0); }));
}

TEST_F(CecAdapterTest, SurvivesTheSilenceOfADeviceThatWasForgotten)
{
    m_times.answer = 60000;
    m_bus.Plug(4, kPlayer);
    m_bus.stopsSendingAfter = CEC_MSG_GIVE_OSD_NAME;
    Start();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(4, CEC_MSG_GIVE_OSD_NAME) == 1; }));
    m_bus.ClearAddresses();
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(4, CEC_MSG_GIVE_OSD_NAME) == 2; }));
    ASSERT_TRUE(RunUntil([&] { return !m_inputs->IsPlugged(0); }));  // the adapter was away, and nothing was answered

    m_bus.stopsSendingAfter = 0;
    m_bus.Plug(4, {});
    m_bus.FinishSending();
    m_bus.Plug(4, kPlayer);

    EXPECT_TRUE(RunUntil([&] { return m_inputs->IsPlugged(0) && !m_inputs->IsSettling(0); }));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "Kuvo");
}

TEST_F(CecAdapterTest, DoesNotSpinWhenItsDeviceHangsUp)
{
    Start();
    ASSERT_TRUE(WaitForFullRounds(1));

    m_bus.HangUp();

    EXPECT_TRUE(WaitForLog("/dev/cec7: is gone"));
}

TEST_F(CecAdapterTest, OpensAnAdapterAgainThatHangs)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));
    m_times.round = 60000;

    m_bus.finishesSending = false;
    ASSERT_TRUE(WaitForLog("/dev/cec7: does not finish sending"));
    const std::size_t modes = m_bus.Modes().size();
    ASSERT_TRUE(RunUntil([&] { return m_bus.Modes().size() >= modes + 6; }));
    EXPECT_EQ(LogLinesWith("does not finish sending"), 1);
    m_bus.finishesSending = true;

    EXPECT_TRUE(WaitForLog("/dev/cec7: works again"));
}

TEST_F(CecAdapterTest, KeepsItsDevicesWhileTheBusFails)
{
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));
    const int before = m_bus.SentCount(4, -1);

    m_bus.sendingFailure = CEC_TX_STATUS_LOW_DRIVE | CEC_TX_STATUS_MAX_RETRIES;
    ASSERT_TRUE(RunUntil([&] { return m_bus.SentCount(4, -1) > before + 5; }));
    m_bus.sendingFailure = 0;

    ASSERT_TRUE(WaitForLog("/dev/cec7: works again"));
    EXPECT_EQ(LogLinesWith("/dev/cec7: the bus fails"), 1);
    EXPECT_EQ(m_reports.size(), 2U);
}

TEST_F(CecAdapterTest, UnderstandsAnAnswerApartFromItsQuestion)
{
    m_bus.splitsOutcome = true;
    m_bus.Plug(4, kPlayer);
    m_bus.Plug(5, {});

    Start();

    ASSERT_TRUE(WaitForReports(2));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "Kuvo");
    EXPECT_TRUE(WaitForLog("logical address 5 does not report: physical address (no answer)"));
}

// ---------------------------------------------------------------------------------------------------------------------
// Each call fails with each error, at the start and later

constexpr unsigned long kOpen = 0;

using Failure = std::tuple<unsigned long, int>;

class FailingCecCall : public CecTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailingCecCall, IsToldOnceAndRetriedAtTheStart)
{
    const auto [request, error] = GetParam();
    m_bus.Plug(4, kPlayer);
    m_bus.Fail(request, error);
    Start();
    ASSERT_TRUE(WaitForLog("/dev/cec7: "));
    ASSERT_TRUE(WaitForCalls(request, 5));
    EXPECT_LE(LogLinesWith("/dev/cec7: "), 2);  // one may be that it is ready

    m_bus.Fail(request, 0);

    EXPECT_TRUE(RunUntil([&] { return m_inputs->IsPlugged(0) && !m_inputs->IsSettling(0); }));
    EXPECT_TRUE(WaitForLog("/dev/cec7: works again"));
    m_inputs.reset();
    EXPECT_EQ(m_bus.OpenCount(), 0U);
}

TEST_P(FailingCecCall, IsSurvivedLater)
{
    const auto [request, error] = GetParam();
    m_times.round = 1500;
    m_bus.Plug(4, kPlayer);
    Start();
    ASSERT_TRUE(WaitForReports(2));

    m_bus.Fail(request, error);
    m_bus.ClearAddresses();  // so that all calls are made again
    ASSERT_TRUE(WaitForCalls(request, 5));
    m_bus.Fail(request, 0);

    ASSERT_TRUE(WaitForFullRounds(1));
    EXPECT_TRUE(m_inputs->IsPlugged(0));
    EXPECT_EQ(m_inputs->ReadEvidence(0).CecDeviceOnPort()->osdName, "Kuvo");
}

std::string NameOfFailure(const testing::TestParamInfo<Failure>& info)
{
    static const std::map<unsigned long, std::string> calls = {
        {kOpen, "Open"},
        {CEC_ADAP_G_CAPS, "Capabilities"},
        {CEC_S_MODE, "Mode"},
        {CEC_ADAP_S_PHYS_ADDR, "PhysicalAddress"},
        {CEC_ADAP_G_LOG_ADDRS, "GetLogical"},
        {CEC_ADAP_S_LOG_ADDRS, "SetLogical"},
        {CEC_TRANSMIT, "Transmit"},
        {CEC_RECEIVE, "Receive"},
        {CEC_DQEVENT, "Event"},
    };
    return calls.at(std::get<0>(info.param)) + "_" + strerrorname_np(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(All, FailingCecCall,
                         testing::Combine(testing::Values(kOpen, CEC_ADAP_G_CAPS, CEC_S_MODE, CEC_ADAP_S_PHYS_ADDR,
                                                          CEC_ADAP_G_LOG_ADDRS, CEC_ADAP_S_LOG_ADDRS, CEC_TRANSMIT,
                                                          CEC_RECEIVE, CEC_DQEVENT),
                                          testing::Values(EIO, ENODEV, EBUSY, EINVAL, ENONET, ETIMEDOUT)),
                         NameOfFailure);

}  // namespace
}  // namespace srcwatch_test
