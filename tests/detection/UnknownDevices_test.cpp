// SPDX-License-Identifier: Apache-2.0
#include "UnknownDevices.h"

#include "Classification.h"
#include "Hex.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

Capture Box(const std::string& product, const std::string& aksv = "b70361f714")
{
    Capture capture;
    SpdInfoFrame frame;
    frame.vendor = "ACME";
    frame.product = product;
    frame.sourceInformation = 8;
    capture.spd = ComposeSpdInfoFrame(frame);
    capture.cec = "4f:84:10:00:04\n4f:87:00:1a:2b\n40:47:42\n40:9e:05\n";
    capture.aksv = FromHex(aksv).value();
    return capture;
}

TEST(UnknownDevices, AreKeptAsCaptures)
{
    UnknownDevices devices("");
    EXPECT_TRUE(devices.Add(2, Box("Box")));

    const UnknownDevices read(devices.Text());

    ASSERT_EQ(read.All().size(), 1U);
    EXPECT_EQ(read.All()[0].port, 2);
    EXPECT_EQ(read.All()[0].capture.spd, Box("Box").spd);
    EXPECT_EQ(read.All()[0].capture.cec, Box("Box").cec);
    EXPECT_EQ(read.All()[0].capture.aksv, Box("Box").aksv);
}

TEST(UnknownDevices, AreKeptOncePerModel)
{
    UnknownDevices devices("");

    EXPECT_TRUE(devices.Add(0, Box("Box")));
    EXPECT_FALSE(devices.Add(1, Box("Box", "19e63d6d90")));
    EXPECT_TRUE(devices.Add(1, Box("Box 2")));
    EXPECT_FALSE(devices.Add(1, Capture()));
    EXPECT_EQ(devices.All().size(), 2U);
}

TEST(UnknownDevices, AreAtMostSixtyFour)
{
    UnknownDevices devices("");
    for (int i = 0; i < 70; ++i) devices.Add(0, Box(std::to_string(i)));

    ASSERT_EQ(devices.All().size(), 64U);
    EXPECT_EQ(devices.All().front().capture.spd, Box("6").spd);
    EXPECT_EQ(devices.All().back().capture.spd, Box("69").spd);
}

TEST(UnknownDevices, SurviveWhatSomebodyElseWrote)
{
    for (const char* text : {"", "junk", "[]", "{}", R"({"devices": {}})", R"({"devices": [1, null, {}, {"port": 1}]})",
                             R"({"devices": [{"port": 1, "spd": "8", "cec": 5, "aksv": "xx"}]})"}) {
        EXPECT_TRUE(UnknownDevices(text).All().empty()) << text;
    }
    EXPECT_TRUE(UnknownDevices(std::string(5000, '[')).All().empty());
}

TEST(UnknownDevices, SayIfATextHasMoreThanThey)
{
    UnknownDevices devices("");
    EXPECT_TRUE(devices.AreAll());
    EXPECT_TRUE(devices.Add(2, Box("Box")));
    EXPECT_TRUE(UnknownDevices(devices.Text()).AreAll());
    for (const char* text : {"junk", R"({"devices": 1})", R"({"devices": [null]})", R"({"devices": [{"port": 1}]})",
                             R"({"devices": [{"port": 1, "spd": "8"}]})", R"({"devices": [{"port": 1, "cec": 5}]})"}) {
        EXPECT_FALSE(UnknownDevices(text).AreAll()) << text;
    }
}

TEST(Capture, IsDecodedToWhatItWasComposedOf)
{
    const Evidence evidence = EvidenceOf(Box("Box"));

    const Capture again = ComposeCapture(evidence);

    EXPECT_EQ(ValueOf(evidence.spd)->product, "Box");
    EXPECT_EQ(evidence.CecDeviceOnPort()->physicalAddress, 0x1000);
    EXPECT_EQ(again.spd, Box("Box").spd);
    EXPECT_EQ(again.cec, Box("Box").cec);
    EXPECT_EQ(again.aksv, Box("Box").aksv);
    EXPECT_TRUE(evidence.AllRemarks().empty());
}

TEST(Capture, CutsNamesToTheirFields)
{
    SpdInfoFrame frame;
    frame.vendor = "ABCDEFGHIJ";
    frame.product = "0123456789abcdefgh";

    const auto decoded = DecodeSpdInfoFrame(ComposeSpdInfoFrame(frame));

    EXPECT_EQ(decoded.value->vendor, "ABCDEFGH");
    EXPECT_EQ(decoded.value->product, "0123456789abcdef");
}

}  // namespace
}  // namespace srcwatch
