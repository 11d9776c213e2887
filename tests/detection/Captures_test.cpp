// SPDX-License-Identifier: Apache-2.0
//
// Every capture, decoded and classified with the profiles that are installed.
#include "Classification.h"

#include <filesystem>
#include <set>

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

using Method = DetectionMethod;

struct Expected {
    const char* capture;
    int type;
    Method method;
    const char* brand;
    const char* device;
    const char* provider;
    const char* codeset;
    const char* unknownType;
};

constexpr Expected kExpected[] = {
    {"voltana-vx-home", 1, Method::kProfile, "Voltana", "VX Home 4K", "Voltana Television", "V1042", ""},
    {"tessaly-cable", 1, Method::kProfile, "Tessaly", "Cable DCX", "STB Tessaly", "T0310", ""},
    {"nordhus-digibox", 1, Method::kSpd, "NORDHUS", "DigiBox 210", "", "", "Set-top box"},
    {"meruva-tuner", 1, Method::kCec, "", "Meruva T2", "", "", "Tuner"},
    {"quellon-bdq900", 3, Method::kProfile, "Quellon", "BDQ-900 Disc Player", "", "Q0900", ""},
    {"darvex-dvd", 3, Method::kSpd, "DARVEX", "DVD 12", "", "", ""},
    {"solhane-arena", 4, Method::kProfile, "Solhane", "HT-Arena 5.1", "", "S0051", ""},
    {"brightpond-stick", 5, Method::kCec, "BRTPOND", "Pond Stick", "", "", ""},
    {"larkspring-box", 5, Method::kProfile, "Larkspring", "Larkspring TV Box", "", "L0200", ""},
    {"tivaro-one", 6, Method::kSpd, "TIVARO", "Tivaro One", "", "", ""},
    {"kestelle-k2", 6, Method::kProfile, "Kestelle", "Kestelle K2", "", "", ""},
    {"marrowic-desk", 9, Method::kSpd, "MARROWIC", "Desk 5", "", "", ""},
    {"pellorin-cam", 7, Method::kSpd, "PELLORIN", "FieldCam 3", "", "", "Video camera"},
    {"hexallon-switch", 8, Method::kCec, "", "Hexallon SW4", "", "", "CEC switch"},
    {"unknown-source", 7, Method::kAksv, "", "", "", "", "HDCP source"},
    {"malformed", 8, Method::kFaulty, "", "", "", "", "Faulty signals"},
    {"ambrelle-soundbar", 4, Method::kCec, "AMBRELLE", "SoundBar 30", "", "", ""},
};

std::string PathOf(const char* capture) { return std::string(SRCWATCH_CAPTURES_DIR) + "/" + capture; }

class Capture : public testing::TestWithParam<Expected> {};

TEST_P(Capture, IsClassifiedAsItsDeviceIs)
{
    const Expected& expected = GetParam();
    Profiles profiles;
    profiles.Load(SRCWATCH_PROFILES_FILE);

    const Classification result = Classify(ReadEvidence(PathOf(expected.capture)), profiles);

    EXPECT_EQ(result.deviceType, expected.type);
    EXPECT_EQ(result.method, expected.method);
    EXPECT_EQ(result.brandName, expected.brand);
    EXPECT_EQ(result.deviceName, expected.device);
    EXPECT_EQ(result.providerName, expected.provider);
    EXPECT_EQ(result.codesetName, expected.codeset);
    EXPECT_EQ(result.unknownType, expected.unknownType);
}

TEST_P(Capture, IsFreeOfFaultsUnlessItIsTheMalformedOne)
{
    const std::string path = PathOf(GetParam().capture);
    const bool malformed = GetParam().capture == std::string("malformed");

    // Three of them are lines of its cec.log.
    EXPECT_EQ(ReadEvidence(path).AllRemarks().size(), malformed ? 5U : 0U);
}

std::string TestName(const testing::TestParamInfo<Expected>& info)
{
    std::string name = info.param.capture;
    for (char& c : name) c = c == '-' ? '_' : c;
    return name;
}

INSTANTIATE_TEST_SUITE_P(All, Capture, testing::ValuesIn(kExpected), TestName);

TEST(Captures, HaveEachARowInTheTable)
{
    std::set<std::string> listed;
    for (const Expected& expected : kExpected) listed.insert(expected.capture);

    std::set<std::string> there;
    for (const auto& entry : std::filesystem::directory_iterator(SRCWATCH_CAPTURES_DIR)) {
        if (entry.is_directory()) there.insert(entry.path().filename().string());
    }

    EXPECT_EQ(there, listed);
}

TEST(InstalledProfiles, AreWithoutMistakes)
{
    Profiles profiles;
    profiles.Load(SRCWATCH_PROFILES_FILE);

    EXPECT_GT(profiles.Count(), 0U);
    for (const ProfileError& error : profiles.Errors()) ADD_FAILURE() << error.Text();
}

}  // namespace
}  // namespace srcwatch
