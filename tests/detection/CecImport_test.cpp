// SPDX-License-Identifier: Apache-2.0
#include "CecImport.h"

#include "CecLog.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

std::string Imported(const std::string& text)
{
    const auto imported = ImportCecLog(text);
    return imported.value ? imported.value->text : "refused: " + InOneLine(imported.remarks);
}

constexpr const char* kMonitored =
    "Driver Info:\n"
    "\tDriver Name                : pulse8-cec\n"
    "Received from Playback Device 1 to all (4 to 15): REPORT_PHYSICAL_ADDR (0x84):\n"
    "\tphys-addr: 1.0.0.0\n"
    "\tprim-devtype: playback (0x04)\n"
    "Transmitted by TV to Playback Device 1 (0 to 4): GIVE_OSD_NAME (0x46)\n"
    "Received from Playback Device 1 to TV (4 to 0): SET_OSD_NAME (0x47):\n"
    "\tname: Pond: Stick\n"
    "Received from Playback Device 1 to all (4 to 15): DEVICE_VENDOR_ID (0x87):\n"
    "\tvendor-id: 0x00a1f007\n"
    "Received from Playback Device 1 to TV (4 to 0): CEC_VERSION (0x9e):\n"
    "\tcec-version: version-2-0 (0x06)\n"
    "Received from Playback Device 1 to TV (4 to 0): FEATURE_ABORT (0x00):\n"
    "\tabort-msg: 143 (0x8f, GIVE_DEVICE_POWER_STATUS)\n"
    "\treason: refused (0x04)\n"
    "Received from Playback Device 1 to TV (4 to 0): POLL\n";

TEST(CecImport, ReadsWhatCecCtlMonitors)
{
    EXPECT_EQ(Imported(kMonitored),
              "4f:84:10:00:04\n40:47:50:6f:6e:64:3a:20:53:74:69:63:6b\n4f:87:a1:f0:07\n"
              "40:9e:06\n40:00:8f:04\n40\n");
}

TEST(CecImport, ReadsTheRawBytesOfCecCtlWhereItShowsThem)
{
    EXPECT_EQ(
        Imported("Received from Tuner 1 to TV (3 to 0): SET_OSD_NAME (0x47):\n\tname: A\n\tRaw: 0x30 0x47 0x41\n"),
        "30:47:41\n");
    EXPECT_EQ(
        Imported("Received from Tuner 1 to TV (3 to 0): SET_OSD_NAME (0x47):\n\tRaw: 0x30 0x47 0x41\n\tname: A\n"),
        "30:47:41\n");
}

TEST(CecImport, ReadsTheTrafficOfCecClient)
{
    EXPECT_EQ(Imported("opening a connection to the CEC adapter...\n"
                       "DEBUG:   [             123]\t>> POLL\n"
                       "TRAFFIC: [             456]\t<< 10:47:43\n"
                       "TRAFFIC: [             789]\t>> 4f:84:10:00:04\r\n"
                       "TRAFFIC: [            1000]\t>> 40:47:41\n"),
              "4f:84:10:00:04\n40:47:41\n");
}

TEST(CecImport, RemarksOnMessagesThatItCannotUse)
{
    const auto imported = ImportCecLog(
        "TRAFFIC: [1]\t>> zz\n"
        "TRAFFIC: [2]\t>> 40:47:41:41:41:41:41:41:41:41:41:41:41:41:41:41:41\n"
        "TRAFFIC: [3]\t>> 40:47:41\n"
        "Received from X to Y (99 to 0): SET_OSD_NAME (0x47):\n");

    ASSERT_TRUE(imported.value.has_value());
    EXPECT_EQ(imported.value->messages, 1U);
    EXPECT_EQ(InOneLine(imported.remarks),
              "line 1: not hexadecimal bytes with ':' between; line 2: more than 16 bytes; "
              "line 4: not a logical address");
}

TEST(CecImport, RefusesATextWithoutMessages)
{
    EXPECT_EQ(Imported(""), "refused: no received message of cec-ctl --monitor or cec-client");
    EXPECT_EQ(Imported("hello\n\tRaw: 0x40\n"), "refused: no received message of cec-ctl --monitor or cec-client");
    EXPECT_EQ(Imported("TRAFFIC: [1]\t>> \n"), "refused: line 1: not hexadecimal bytes with ':' between");
    EXPECT_EQ(Imported(std::string(100000, '(')), "refused: no received message of cec-ctl --monitor or cec-client");
}

TEST(CecImport, WritesALogThatIsDecoded)
{
    const std::string text = Imported(kMonitored);

    const auto log = DecodeCecLog({text.begin(), text.end()});

    ASSERT_TRUE(log.value && log.value->devices.size() == 1U);
    EXPECT_EQ(log.value->devices[0].physicalAddress, 0x1000);
    EXPECT_EQ(log.value->devices[0].vendorId, 0xa1f007U);
    EXPECT_EQ(log.value->devices[0].osdName, "Pond: Stick");
}

// What cec-ctl wrote, with the devices that are in it: those that the kernel emulates.
std::vector<CecDevice> DevicesIn(const char* recording)
{
    std::ostringstream text;
    text << std::ifstream(std::string(SRCWATCH_RECORDINGS_DIR) + "/" + recording).rdbuf();
    const auto imported = ImportCecLog(text.str());
    EXPECT_EQ(InOneLine(imported.remarks), "");
    if (!imported.value) return {};
    const std::string& log = imported.value->text;
    const auto decoded = DecodeCecLog({log.begin(), log.end()});
    EXPECT_EQ(InOneLine(decoded.remarks), "");
    return decoded.value ? decoded.value->devices : std::vector<CecDevice>();
}

void ExpectDevice(const CecDevice& device, int logicalAddress, int physicalAddress, int type, const char* osdName)
{
    EXPECT_EQ(device.logicalAddress, logicalAddress);
    EXPECT_EQ(device.physicalAddress, physicalAddress);
    EXPECT_EQ(device.primaryDeviceType, type);
    EXPECT_EQ(device.osdName, osdName);
    EXPECT_EQ(device.vendorId, 0x000c03U);
    EXPECT_EQ(device.version, CEC_OP_CEC_VERSION_2_0);
    ASSERT_EQ(device.featureAborts.size(), 1U);
    EXPECT_EQ(device.featureAborts[0].opcode, CEC_MSG_GIVE_DEVICE_POWER_STATUS);
    EXPECT_EQ(device.featureAborts[0].reason, CEC_OP_ABORT_UNRECOGNIZED_OP);
}

TEST(CecImport, ReadsARecordingOfTheTvsAdapter)
{
    const auto devices = DevicesIn("cec-ctl-monitor.log");

    ASSERT_EQ(devices.size(), 3U);
    ExpectDevice(devices[0], 3, 0x2000, CEC_OP_PRIM_DEVTYPE_TUNER, "Tuner");
    ExpectDevice(devices[1], 5, 0x3000, CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM, "Audio System");
    // The switch has no address of its own.
    EXPECT_EQ(devices[2].logicalAddress, CEC_LOG_ADDR_UNREGISTERED);
    EXPECT_EQ(devices[2].physicalAddress, 0x4000);
}

TEST(CecImport, ReadsAVerboseRecordingOfATunersAdapter)
{
    const auto devices = DevicesIn("cec-ctl-verbose.log");

    ASSERT_EQ(devices.size(), 2U);  // what the tuner sends is the program's own
    ExpectDevice(devices[0], 5, 0x3000, CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM, "Audio System");
    EXPECT_EQ(devices[1].logicalAddress, CEC_LOG_ADDR_UNREGISTERED);
}

}  // namespace
}  // namespace srcwatch
