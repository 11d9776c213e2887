// SPDX-License-Identifier: Apache-2.0
#include "CecLog.h"

#include "Frames.h"

#include <gtest/gtest.h>
#include <linux/cec.h>

namespace srcwatch {
namespace {

using srcwatch_test::FromText;

Decoded<CecLog> Accepted(const std::string& text)
{
    Decoded<CecLog> decoded = DecodeCecLog(FromText(text));
    if (!decoded.value) {
        ADD_FAILURE() << "refused: " << InOneLine(decoded.remarks);
        decoded.value.emplace();
    }
    return decoded;
}

CecDevice OnlyDevice(const Decoded<CecLog>& decoded)
{
    EXPECT_EQ(decoded.value->devices.size(), 1U);
    return decoded.value->devices.empty() ? CecDevice() : decoded.value->devices.front();
}

std::string Reason(const Bytes& bytes)
{
    const Decoded<CecLog> decoded = DecodeCecLog(bytes);
    return decoded.value ? "accepted" : InOneLine(decoded.remarks);
}

TEST(CecLog, DecodesTheNameOfSetOsdName) { EXPECT_EQ(OnlyDevice(Accepted("40:47:53:54:42\n")).osdName, "STB"); }

TEST(CecLog, DecodesEachKindOfMessage)
{
    const Decoded<CecLog> decoded = Accepted(
        "4f:84:10:00:04\n"  // <Report Physical Address> 1.0.0.0, playback device
        "4F:87:00:1A:2b\n"  // <Device Vendor ID>
        "40:9e:05\n"        // <CEC Version> 1.4
        "40:00:8f:01\n");   // <Feature Abort> of <Give Device Power Status>, not in correct mode

    const CecDevice device = OnlyDevice(decoded);
    EXPECT_EQ(device.logicalAddress, 4);
    EXPECT_EQ(device.physicalAddress, 0x1000);
    EXPECT_EQ(device.primaryDeviceType, CEC_OP_PRIM_DEVTYPE_PLAYBACK);
    EXPECT_EQ(device.vendorId, 0x001a2bU);
    EXPECT_EQ(device.version, CEC_OP_CEC_VERSION_1_4);
    ASSERT_EQ(device.featureAborts.size(), 1U);
    EXPECT_EQ(device.featureAborts[0].opcode, 0x8f);
    EXPECT_EQ(device.featureAborts[0].reason, 1);
    EXPECT_EQ(decoded.value->understood, 4U);
    EXPECT_EQ(decoded.value->skipped, 0U);
    EXPECT_EQ(InOneLine(decoded.remarks), "");
}

TEST(CecLog, LetsTheLastMessageOfAKindCount) { EXPECT_EQ(OnlyDevice(Accepted("40:47:41\n40:47:42\n")).osdName, "B"); }

TEST(CecLog, KeepsTheDevicesApartByTheirLogicalAddresses)
{
    const auto [log, remarks, mayPass] = Accepted("8f:84:11:00:04\n5f:84:10:00:05\n80:47:50\n5f:87:00:1a:2b\n");

    ASSERT_EQ(log->devices.size(), 2U);
    EXPECT_EQ(log->devices[0].logicalAddress, 5);
    EXPECT_EQ(log->devices[0].primaryDeviceType, CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM);
    EXPECT_EQ(log->devices[0].vendorId, 0x001a2bU);
    EXPECT_EQ(log->devices[0].osdName, "");
    EXPECT_EQ(log->devices[1].logicalAddress, 8);
    EXPECT_EQ(log->devices[1].physicalAddress, 0x1100);
    EXPECT_EQ(log->devices[1].osdName, "P");
    EXPECT_EQ(log->devices[1].vendorId, std::nullopt);
}

TEST(CecLog, CountsAndSkipsOtherMessages)
{
    const auto [log, remarks, mayPass] = Accepted("44:8f\n4f:82:10:00\n40\n40:47:41\n");

    EXPECT_EQ(log->skipped, 3U);
    EXPECT_EQ(log->understood, 1U);
}

TEST(CecLog, SkipsWhatTheTvItselfSends)
{
    const auto [log, remarks, mayPass] = Accepted("0f:84:00:00:00\n04:47:54:56\n");

    EXPECT_TRUE(log->devices.empty());
    EXPECT_EQ(log->skipped, 2U);
}

TEST(CecLog, TakesSixteenBytesAndRefusesMore)
{
    const std::string name14 = "40:47:41:42:43:44:45:46:47:48:49:4a:4b:4c:4d:4e";

    EXPECT_EQ(OnlyDevice(Accepted(name14)).osdName, "ABCDEFGHIJKLMN");
    EXPECT_EQ(Reason(FromText(name14 + ":4f")), "line 1: more than 16 bytes");
}

TEST(CecLog, TakesCarriageReturnsEmptyLinesAndNoFinalNewline)
{
    EXPECT_EQ(OnlyDevice(Accepted("\r\n\n40:47:41\r\n\n40:9e:06")).version, CEC_OP_CEC_VERSION_2_0);
}

TEST(CecLog, TakesCommentsAndSpacesBetweenBytes)
{
    const auto [log, remarks, mayPass] =
        Accepted("# a player\n\t40 47  41:42 : 43\t# its name\n   \n  # end\n4f:9e:05#\r\n");

    ASSERT_EQ(log->devices.size(), 1U);
    EXPECT_EQ(log->devices[0].osdName, "ABC");
    EXPECT_EQ(log->devices[0].version, 5);
    EXPECT_EQ(log->understood, 2U);
    EXPECT_EQ(InOneLine(remarks), "");
}

TEST(CecLog, RefusesBytesThatRunTogether)
{
    EXPECT_EQ(Reason(FromText("4047\n")), "line 1: not hexadecimal bytes with ':' between");
    EXPECT_EQ(Reason(FromText("40:47: # no byte\n")), "line 1: not hexadecimal bytes with ':' between");
    EXPECT_EQ(Reason(FromText("4 0\n")), "line 1: not hexadecimal bytes with ':' between");
}

TEST(CecLog, RemarksOnMalformedLinesAndUsesTheOthers)
{
    const auto [log, remarks, mayPass] = Accepted("40:47:41\nhello\n40:4\n40:\n40-47\n:40\n40::47\n");

    EXPECT_EQ(log->devices.at(0).osdName, "A");
    EXPECT_EQ(remarks.size(), 6U);
    EXPECT_EQ(InOneLine(remarks),
              "line 2: not hexadecimal bytes with ':' between; line 3: not hexadecimal bytes with ':' between; "
              "line 4: not hexadecimal bytes with ':' between; line 5: not hexadecimal bytes with ':' between; "
              "and 2 more");
}

TEST(CecLog, RemarksOnMessagesThatLackOperands)
{
    const auto [log, remarks, mayPass] = Accepted("40:47\n4f:87:00:1a\n4f:84:10:00\n40:9e\n40:00:8f\n40:47:41\n");

    EXPECT_EQ(log->understood, 1U);
    EXPECT_EQ(remarks.size(), 5U);
    EXPECT_EQ(InOneLine(remarks).substr(0, 38), "line 1: <Set OSD Name> is too short; l");
}

TEST(CecLog, IgnoresOperandsBeyondThoseNeeded)
{
    EXPECT_EQ(OnlyDevice(Accepted("4f:84:20:00:05:99")).primaryDeviceType, CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM);
}

TEST(CecLog, DropsBytesOfANameThatAreNotPrintable)
{
    const auto [log, remarks, mayPass] = Accepted("40:47:41:c3:42:1b\n");

    EXPECT_EQ(log->devices.at(0).osdName, "AB");
    EXPECT_EQ(InOneLine(remarks), "<Set OSD Name>: 2 byte(s) outside 0x20 to 0x7e dropped");
}

TEST(CecLog, IsUsedWhenEmpty)
{
    const auto [log, remarks, mayPass] = Accepted("");

    EXPECT_EQ(log->understood + log->skipped, 0U);
    EXPECT_EQ(remarks.size(), 0U);
}

TEST(CecLog, IsRefusedWhenNoLineIsAMessage)
{
    EXPECT_EQ(Reason(FromText("no\n")), "line 1: not hexadecimal bytes with ':' between");
    EXPECT_EQ(Reason(Bytes(29, 0x00)), "line 1: not hexadecimal bytes with ':' between");
    EXPECT_EQ(Reason(Bytes(29, 0xff)), "line 1: not hexadecimal bytes with ':' between");
}

}  // namespace
}  // namespace srcwatch
