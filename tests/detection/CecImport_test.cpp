// SPDX-License-Identifier: Apache-2.0
#include "CecImport.h"

#include "CecLog.h"

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

}  // namespace
}  // namespace srcwatch
