// SPDX-License-Identifier: Apache-2.0
#include "Classification.h"

#include <gtest/gtest.h>
#include <linux/cec.h>

namespace srcwatch {
namespace {

constexpr int kAbsent = -1;
const Remarks kFault = OnlyRemark("faulty");

Evidence Given(int spdCode, int cecType, bool aksv = false)
{
    Evidence evidence;
    if (spdCode != kAbsent) {
        SpdInfoFrame frame;
        frame.vendor = "ACME";
        frame.product = "Thing";
        frame.sourceInformation = spdCode;
        evidence.spd = {frame, {}};
    }
    if (cecType != kAbsent) {
        CecDevice device;
        device.osdName = "Acme Thing";
        device.primaryDeviceType = cecType;
        evidence.cec = {CecLog{{device}, 2, 0}, {}};
    }
    if (aksv) evidence.aksv = {"b70361f714", {}};
    return evidence;
}

struct Case {
    int spdCode;
    int cecType;
    int type;
    DetectionMethod method;
};

class RuleTable : public testing::TestWithParam<Case> {};

TEST_P(RuleTable, DecidesTypeAndMethod)
{
    const Case& expected = GetParam();

    const Classification result = Classify(Given(expected.spdCode, expected.cecType), Profiles());

    EXPECT_EQ(result.deviceType, expected.type);
    EXPECT_EQ(result.method, expected.method);
}

constexpr DetectionMethod kSpd = DetectionMethod::kSpd;
constexpr DetectionMethod kCec = DetectionMethod::kCec;
constexpr DetectionMethod kSilent = DetectionMethod::kSilent;
constexpr int kTv = CEC_OP_PRIM_DEVTYPE_TV;
constexpr int kRecorder = CEC_OP_PRIM_DEVTYPE_RECORD;
constexpr int kTuner = CEC_OP_PRIM_DEVTYPE_TUNER;
constexpr int kPlayback = CEC_OP_PRIM_DEVTYPE_PLAYBACK;
constexpr int kAudio = CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM;
constexpr int kSwitch = CEC_OP_PRIM_DEVTYPE_SWITCH;
constexpr int kProcessor = CEC_OP_PRIM_DEVTYPE_PROCESSOR;

INSTANTIATE_TEST_SUITE_P(SpdAlone, RuleTable,
                         testing::Values(Case{0, kAbsent, 7, kSilent}, Case{1, kAbsent, 1, kSpd},
                                         Case{2, kAbsent, 3, kSpd}, Case{3, kAbsent, 3, kSpd},
                                         Case{4, kAbsent, 3, kSpd}, Case{5, kAbsent, 7, kSpd},
                                         Case{6, kAbsent, 7, kSpd}, Case{7, kAbsent, 3, kSpd},
                                         Case{8, kAbsent, 6, kSpd}, Case{9, kAbsent, 9, kSpd},
                                         Case{10, kAbsent, 3, kSpd}, Case{11, kAbsent, 3, kSpd},
                                         Case{12, kAbsent, 3, kSpd}, Case{13, kAbsent, 7, kSpd},
                                         Case{14, kAbsent, 7, kSilent}, Case{255, kAbsent, 7, kSilent}));

INSTANTIATE_TEST_SUITE_P(SpdWithAudioSystem, RuleTable,
                         testing::Values(Case{1, kAudio, 1, kSpd}, Case{2, kAudio, 4, kSpd}, Case{3, kAudio, 4, kSpd},
                                         Case{4, kAudio, 4, kSpd}, Case{5, kAudio, 7, kSpd}, Case{7, kAudio, 4, kSpd},
                                         Case{8, kAudio, 6, kSpd}, Case{9, kAudio, 9, kSpd}, Case{10, kAudio, 4, kSpd},
                                         Case{11, kAudio, 4, kSpd}, Case{12, kAudio, 4, kSpd}));

INSTANTIATE_TEST_SUITE_P(CecAlone, RuleTable,
                         testing::Values(Case{kAbsent, kTuner, 1, kCec}, Case{kAbsent, kAudio, 4, kCec},
                                         Case{kAbsent, kRecorder, 3, kCec}, Case{kAbsent, kPlayback, 5, kCec},
                                         Case{kAbsent, kSwitch, 8, kCec}, Case{kAbsent, kProcessor, 8, kCec},
                                         Case{kAbsent, kTv, 7, kSilent}, Case{kAbsent, 2, 7, kSilent},
                                         Case{kAbsent, 200, 7, kSilent}));

INSTANTIATE_TEST_SUITE_P(CecDecidesForUnknownAndReservedSpdCodes, RuleTable,
                         testing::Values(Case{0, kTuner, 1, kCec}, Case{0, kPlayback, 5, kCec},
                                         Case{14, kRecorder, 3, kCec}, Case{128, kAudio, 4, kCec}));

INSTANTIATE_TEST_SUITE_P(SpdIsTrustedBeforeCec, RuleTable,
                         testing::Values(Case{8, kPlayback, 6, kSpd}, Case{10, kTuner, 3, kSpd},
                                         Case{1, kSwitch, 1, kSpd}));

TEST(Classification, CallsADeviceOfWhichOnlyTheAksvIsKnownOther)
{
    const Classification result = Classify(Given(kAbsent, kAbsent, true), Profiles());

    EXPECT_EQ(result.deviceType, 7);
    EXPECT_EQ(result.method, DetectionMethod::kAksv);
    EXPECT_EQ(result.aksv, "b70361f714");
    EXPECT_EQ(result.unknownType, "HDCP source");
}

TEST(Classification, CallsADeviceWithoutAnyEvidenceOther)
{
    const Classification result = Classify(Evidence(), Profiles());

    EXPECT_EQ(result.deviceType, 7);
    EXPECT_EQ(result.method, DetectionMethod::kSilent);
}

TEST(Classification, CallsADeviceNotSupportedIfAllItemsAreFaulty)
{
    Evidence evidence;
    evidence.spd = {std::nullopt, kFault};
    evidence.aksv = {std::nullopt, kFault};

    const Classification result = Classify(evidence, Profiles());

    EXPECT_EQ(result.deviceType, 8);
    EXPECT_EQ(result.method, DetectionMethod::kFaulty);
}

TEST(Classification, UsesWhatIsGoodBesideAFaultyItem)
{
    Evidence evidence = Given(8, kAbsent);
    evidence.cec = {std::nullopt, kFault};
    evidence.aksv = {std::nullopt, kFault};

    EXPECT_EQ(Classify(evidence, Profiles()).deviceType, 6);
}

TEST(Classification, CallsADeviceOtherIfItsOnlyGoodItemIsEmpty)
{
    Evidence evidence;
    evidence.spd = {std::nullopt, kFault};
    evidence.cec = {CecLog(), {}};

    EXPECT_EQ(Classify(evidence, Profiles()).deviceType, 7);
}

TEST(Classification, TrustsAProfileFirst)
{
    Profiles profiles;
    profiles.LoadText(R"({"profiles": [{"match": {"vendor": "acme", "product": "th*"},
        "give": {"type": 1, "brand": "Acme Inc.", "device": "Box", "provider": "Volt TV", "codeset": "V1"}}]})",
                      "test.json");

    const Classification result = Classify(Given(8, kPlayback, true), profiles);

    EXPECT_EQ(result.deviceType, 1);
    EXPECT_EQ(result.method, DetectionMethod::kProfile);
    EXPECT_EQ(result.brandName, "Acme Inc.");
    EXPECT_EQ(result.deviceName, "Box");
    EXPECT_EQ(result.providerName, "Volt TV");
    EXPECT_EQ(result.codesetName, "V1");
    EXPECT_EQ(result.unknownType, "");
}

TEST(Classification, TakesEachNameFromItsOwnSource)
{
    const Classification result = Classify(Given(10, kPlayback, true), Profiles());

    EXPECT_EQ(result.deviceTypeText, "BD");
    EXPECT_EQ(result.manufacturerName, "ACME");
    EXPECT_EQ(result.modelName, "Thing");
    EXPECT_EQ(result.cecName, "Acme Thing");
    EXPECT_EQ(result.cecDeviceName, "Playback device");
    EXPECT_EQ(result.brandName, "ACME");
    EXPECT_EQ(result.deviceName, "Thing");
    EXPECT_EQ(result.providerName, "");
    EXPECT_EQ(result.codesetName, "");
    EXPECT_EQ(result.aksv, "b70361f714");
}

TEST(Classification, NamesADeviceByItsOsdNameWhenThereIsNoProduct)
{
    EXPECT_EQ(Classify(Given(kAbsent, kPlayback), Profiles()).deviceName, "Acme Thing");
}

TEST(Classification, KeepsTheNameOfTheSignalsIfAProfileHasNone)
{
    Profiles profiles;
    profiles.LoadText(R"({"profiles": [{"match": {"vendor": "ACME"}, "give": {"type": 5}}]})", "test.json");

    const Classification result = Classify(Given(0, kAbsent), profiles);

    EXPECT_EQ(result.brandName, "ACME");
    EXPECT_EQ(result.deviceName, "Thing");
}

TEST(Classification, DescribesASetTopBoxOnlyWithoutAProvider)
{
    EXPECT_EQ(Classify(Given(1, kAbsent), Profiles()).unknownType, "Set-top box");
    EXPECT_EQ(Classify(Given(10, kAbsent), Profiles()).unknownType, "");
}

}  // namespace
}  // namespace srcwatch
