// SPDX-License-Identifier: Apache-2.0
#include "Identity.h"

#include <gtest/gtest.h>

namespace srcwatch {
namespace {

// A streaming box and a tuner that send nothing but HDMI-CEC messages.
const Identity kBox{"", "", "", "Box", "001a2b"};
const Identity kTuner{"", "", "", "Tuner", "00903e"};

const Identity kConsole{"b70361f714", "ACME", "Console", "Living room", "001a2b"};

Identity Without(std::string Identity::*part, Identity identity = kConsole)
{
    (identity.*part).clear();
    return identity;
}

Identity With(std::string Identity::*part, const std::string& text, Identity identity = kConsole)
{
    identity.*part = text;
    return identity;
}

TEST(Identity, DistinguishesDevicesThatHaveOnlyCec)
{
    EXPECT_FALSE(kBox.Matches(kTuner));
    EXPECT_TRUE(kBox.Matches(kBox));
    EXPECT_FALSE(kBox.Matches(With(&Identity::osdName, "Other", kBox)));
    EXPECT_FALSE(kBox.Matches(With(&Identity::vendorId, "00903e", kBox)));
}

TEST(Identity, OfNoEvidenceIsNoOtherDevices)
{
    EXPECT_FALSE(Identity().Matches(Identity()));
    EXPECT_FALSE(Identity().Matches(kConsole));
    EXPECT_FALSE(kConsole.Matches(Identity()));
}

TEST(Identity, NeedsEvidenceInCommon)
{
    const Identity spd{"", "ACME", "Console", "", ""};

    EXPECT_FALSE(spd.Matches(kBox));
    EXPECT_TRUE(spd.Matches(kConsole));
}

TEST(Identity, IsThatOfTheAksvWhateverTheNames)
{
    EXPECT_TRUE(kConsole.Matches({"b70361f714", "ACME", "Console 2", "Bedroom", "001a2b"}));
    EXPECT_FALSE(kConsole.Matches(With(&Identity::aksv, "19e63d6d90")));
}

TEST(Identity, DiffersByEachNameThatBothHave)
{
    const Identity unkeyed = Without(&Identity::aksv);

    EXPECT_TRUE(kConsole.Matches(unkeyed));
    EXPECT_FALSE(kConsole.Matches(With(&Identity::vendor, "Other", unkeyed)));
    EXPECT_FALSE(kConsole.Matches(With(&Identity::product, "Player", unkeyed)));
    EXPECT_FALSE(kConsole.Matches(Without(&Identity::product, unkeyed)));
    EXPECT_FALSE(kConsole.Matches(With(&Identity::osdName, "Bedroom", unkeyed)));
    EXPECT_FALSE(kConsole.Matches(With(&Identity::vendorId, "00903e", unkeyed)));
}

TEST(Identity, IgnoresANameThatOnlyOneHas)
{
    EXPECT_TRUE(kBox.Matches(Without(&Identity::vendorId, kBox)));
    EXPECT_TRUE(Without(&Identity::osdName, kBox).Matches(kBox));
}

}  // namespace
}  // namespace srcwatch
