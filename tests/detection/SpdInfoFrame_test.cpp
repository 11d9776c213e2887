// SPDX-License-Identifier: Apache-2.0
#include "SpdInfoFrame.h"

#include "Frames.h"

#include <string>

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

using srcwatch_test::FixChecksum;
using srcwatch_test::Frame;
using srcwatch_test::FromHex;
using srcwatch_test::SpdFrame;

const SpdInfoFrame& Accepted(const Decoded<SpdInfoFrame>& decoded)
{
    if (!decoded.value) ADD_FAILURE() << "refused: " << InOneLine(decoded.remarks);
    return decoded.value.value();
}

std::string Reason(const Frame& frame)
{
    const Decoded<SpdInfoFrame> decoded = DecodeSpdInfoFrame(frame);
    return decoded.value ? "accepted" : InOneLine(decoded.remarks);
}

TEST(SpdInfoFrame, DecodesNamesAndCodeOfAReceivedFrame)
{
    const auto decoded = DecodeSpdInfoFrame(FromHex("8301197d4e45555452414c00536574546f70426f78204f6e6500000001"));

    const SpdInfoFrame& frame = Accepted(decoded);
    EXPECT_EQ(frame.vendor, "NEUTRAL");
    EXPECT_EQ(frame.product, "SetTopBox One");
    EXPECT_EQ(frame.sourceInformation, 1);
    EXPECT_EQ(InOneLine(decoded.remarks), "");
}

TEST(SpdInfoFrame, TakesNamesThatFillTheirFields)
{
    const auto decoded = DecodeSpdInfoFrame(SpdFrame("ABCDEFGH", "0123456789abcdef", 10));

    EXPECT_EQ(Accepted(decoded).vendor, "ABCDEFGH");
    EXPECT_EQ(Accepted(decoded).product, "0123456789abcdef");
}

TEST(SpdInfoFrame, TrimsSpacesAroundNames)
{
    const auto decoded = DecodeSpdInfoFrame(SpdFrame("  ACME  ", "   ", 0));

    EXPECT_EQ(Accepted(decoded).vendor, "ACME");
    EXPECT_EQ(Accepted(decoded).product, "");
}

TEST(SpdInfoFrame, TakesAFrameLongerThanTheMinimum)
{
    Frame frame = SpdFrame("ACME", "Box", 8);
    frame.resize(31);
    frame[2] = 27;
    FixChecksum(frame);

    EXPECT_EQ(Accepted(DecodeSpdInfoFrame(frame)).sourceInformation, 8);
}

TEST(SpdInfoFrame, KeepsAReservedCode)
{
    EXPECT_EQ(Accepted(DecodeSpdInfoFrame(SpdFrame("ACME", "Box", 0x0e))).sourceInformation, 0x0e);
    EXPECT_EQ(Accepted(DecodeSpdInfoFrame(SpdFrame("ACME", "Box", 0xff))).sourceInformation, 0xff);
}

TEST(SpdInfoFrame, DropsBytesWithBitSevenSetAndRemarksOnThem)
{
    const auto decoded = DecodeSpdInfoFrame(SpdFrame("AC\xc3\x89ME", "Box", 1));

    EXPECT_EQ(Accepted(decoded).vendor, "ACME");
    EXPECT_EQ(InOneLine(decoded.remarks), "vendor name: 2 byte(s) outside 0x20 to 0x7e dropped");
}

TEST(SpdInfoFrame, DropsControlCharactersAndRemarksOnThem)
{
    const auto decoded = DecodeSpdInfoFrame(SpdFrame("ACME", "Bo\x1b[1mx\x7f", 1));

    EXPECT_EQ(Accepted(decoded).product, "Bo[1mx");
    EXPECT_EQ(InOneLine(decoded.remarks), "product description: 2 byte(s) outside 0x20 to 0x7e dropped");
}

TEST(SpdInfoFrame, CutsANameAtItsFirstZeroAndRemarksOnTheRest)
{
    const auto decoded = DecodeSpdInfoFrame(SpdFrame(std::string("ACME\0XYZ", 8), "Box", 1));

    EXPECT_EQ(Accepted(decoded).vendor, "ACME");
    EXPECT_EQ(InOneLine(decoded.remarks), "vendor name: bytes after the terminating zero ignored");
}

TEST(SpdInfoFrame, RefusesATruncatedFrameAtEveryLength)
{
    const Frame whole = SpdFrame("ACME", "Box", 1);

    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Frame frame(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(Reason(frame), "truncated: " + std::to_string(size) + " of 29 bytes");
    }
}

TEST(SpdInfoFrame, RefusesBytesAfterTheEnd)
{
    Frame frame = SpdFrame("ACME", "Box", 1);
    frame.push_back(0);

    EXPECT_EQ(Reason(frame), "1 byte(s) after the end of the frame");
}

TEST(SpdInfoFrame, RefusesAWrongChecksum)
{
    Frame frame = SpdFrame("ACME", "Box", 1);
    frame[3] = static_cast<std::uint8_t>(frame[3] + 1);

    EXPECT_EQ(Reason(frame), "checksum is wrong: the bytes add up to 0x01, not 0x00");
}

TEST(SpdInfoFrame, RefusesAnotherVersion)
{
    Frame frame = SpdFrame("ACME", "Box", 1);
    frame[1] = 2;
    FixChecksum(frame);

    EXPECT_EQ(Reason(frame), "version is 2, not 1");
}

TEST(SpdInfoFrame, RefusesAnotherType)
{
    Frame frame = SpdFrame("ACME", "Box", 1);
    frame[0] = 0x82;  // an AVI InfoFrame
    FixChecksum(frame);

    EXPECT_EQ(Reason(frame), "type is 0x82, not 0x83");
}

TEST(SpdInfoFrame, RefusesALengthBelowTheMinimum)
{
    Frame frame = SpdFrame("ACME", "Box", 1);
    frame[2] = 24;
    frame.pop_back();
    FixChecksum(frame);

    EXPECT_EQ(Reason(frame), "length is 24, less than 25");
}

TEST(SpdInfoFrame, RefusesAllZerosAndAllOnes)
{
    EXPECT_EQ(Reason(Frame(29, 0x00)), "type is 0x00, not 0x83");
    EXPECT_EQ(Reason(Frame(29, 0xff)), "type is 0xff, not 0x83");
}

}  // namespace
}  // namespace srcwatch
