// SPDX-License-Identifier: Apache-2.0
#include "Verdict.h"

#include <gmock/gmock.h>

namespace srcwatch {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string kProfiles =
    R"({"profiles": [{"match": {"vendor": "VOLTANA"}, "give": {"type": 1, "provider": "Home"}}]})";

class VerdictTest : public testing::Test {
protected:
    Verdict Of(const std::string& capture)
    {
        return Judge(ReadEvidence(std::string(SRCWATCH_CAPTURES_DIR) + "/" + capture, 1), m_profiles);
    }

    Profiles m_profiles;
};

TEST_F(VerdictTest, NamesTheProfileThatDecidesAndTriesNoRule)
{
    m_profiles.LoadText(kProfiles, "etc/known.json");
    ASSERT_EQ(m_profiles.Count(), 1U);

    const Verdict verdict = Of("voltana-vx-home");

    ASSERT_NE(verdict.profile, nullptr);
    EXPECT_TRUE(verdict.trials.empty());
    const Json::Value json = VerdictToJson(verdict);
    EXPECT_EQ(json["profile"]["file"], "etc/known.json");
    EXPECT_EQ(json["profile"]["entry"], 0);
    EXPECT_EQ(json["type"], 1);
    EXPECT_EQ(json["method"], SRCWATCH_METHOD_PROFILE);
    EXPECT_EQ(ClassificationToJson(verdict)["profile"], "known.json: entry 0");
    EXPECT_EQ(ClassificationToJson(verdict)["provider"], "Home");
}

TEST_F(VerdictTest, ShowsEachMethodUpToTheOneThatDecides)
{
    const Json::Value json = VerdictToJson(Of("meruva-tuner"));

    EXPECT_TRUE(json["profile"].isNull());
    ASSERT_EQ(json["rules"].size(), 2U);
    EXPECT_FALSE(json["rules"][0]["applies"].asBool());
    EXPECT_EQ(json["rules"][1]["method"], "HDMI-CEC");
    EXPECT_TRUE(json["rules"][1]["applies"].asBool());
    EXPECT_EQ(json["method"], SRCWATCH_METHOD_CEC);
}

TEST_F(VerdictTest, SaysWhatIsAbsentAndWhyAFileIsRefused)
{
    const Verdict verdict = Of("malformed");

    ASSERT_EQ(verdict.items.size(), 3U);
    for (const EvidenceItem& item : verdict.items) {
        EXPECT_FALSE(item.isUsable) << item.file;
        EXPECT_THAT(item.says, testing::StartsWith("refused: ")) << item.file;
    }
    EXPECT_EQ(Of("unknown-source").items[0].says, "absent");
    EXPECT_EQ(VerdictToJson(verdict)["items"].size(), 3U);
}

TEST_F(VerdictTest, ShowsADeviceBehindAnotherOne)
{
    const std::string log = "40:84:10:00:04\n40:47:53:54:42\n80:84:11:00:04\n80:47:42:44\n";
    Evidence evidence;
    evidence.hdmiInput = 1;
    evidence.cec = DecodeCecLog(Bytes(log.begin(), log.end()));

    const Verdict verdict = Judge(evidence, m_profiles);

    EXPECT_THAT(verdict.onPort, HasSubstr("OSD name \"STB\""));
    EXPECT_THAT(verdict.behind, ElementsAre(HasSubstr("OSD name \"BD\"")));
    EXPECT_EQ(VerdictToJson(verdict)["behind"][0]["osd_name"], "BD");
}

}  // namespace
}  // namespace srcwatch
