// SPDX-License-Identifier: Apache-2.0
//
// unknown, classify.
#include "ToolTest.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

const char* const kUnknownKey = "db/srcwatch-service/unknown_devices";
const char* const kTwoDevices = R"({"devices": [{"port": 0, "spd": "", "cec": "4f:84:10:00:04\n40:47:42:6f:78\n",
    "aksv": ""}, {"port": 2, "spd": "", "cec": "", "aksv": "b70361f714"}]})";

class CorpusCommands : public ToolTest {
protected:
    Words Classify(const Words& more) const
    {
        Words words = {"classify", SRCWATCH_CAPTURES_DIR, "--profiles", SRCWATCH_PROFILES_FILE};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
};

TEST_F(CorpusCommands, ListsTheUnknownDevices)
{
    Set(kUnknownKey, kTwoDevices);

    const Json::Value devices = Document({"unknown", "list"}, "unknown list");

    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]["name"], "unknown-1");
    EXPECT_EQ(devices[0]["osd"], "Box");
    EXPECT_EQ(devices[0]["type"], 5);
    EXPECT_EQ(devices[1]["port"], 2);
    EXPECT_THAT(Run({"unknown", "list"}).out, HasSubstr("Box"));
}

TEST_F(CorpusCommands, SavesTheUnknownDevicesAsCaptures)
{
    Set(kUnknownKey, kTwoDevices);

    EXPECT_EQ(Document({"unknown", "save", Path("a/saved")}, "unknown save")["devices"], 2);

    EXPECT_EQ(Run({"validate", Path("a/saved/unknown-1")}).code, 0);
    EXPECT_EQ(Run({"validate", Path("a/saved/unknown-2")}).code, 0);
    EXPECT_EQ(Document({"classify", Path("a/saved")}, "classify").size(), 2U);
    EXPECT_TRUE(Fails(Run({"unknown", "save", Path("a/saved")}), 1, "unknown-1 exists already"));
}

TEST_F(CorpusCommands, ClearsTheUnknownDevices)
{
    Set(kUnknownKey, kTwoDevices);

    EXPECT_EQ(Document({"unknown", "clear"}, "unknown clear")["devices"], 2);

    EXPECT_EQ(Document({"unknown", "list"}, "unknown list").size(), 0U);
}

TEST_F(CorpusCommands, ClassifiesACorpus)
{
    const Json::Value results = Document(Classify({}), "classify");

    ASSERT_GE(results.size(), 17U);
    EXPECT_EQ(results[0]["capture"], "ambrelle-soundbar");
    EXPECT_EQ(results[0]["type"], 4);
    EXPECT_EQ(results[0]["method"], "HDMI-CEC");
    EXPECT_EQ(Document({"classify", SRCWATCH_CAPTURES_DIR "/tivaro-one"}, "classify").size(), 1U);
}

TEST_F(CorpusCommands, ShowsHowACorpusDiffers)
{
    Json::Value expected = Parse(Run(Classify({"-o", "json"})).out);
    std::ofstream(Path("same.json")) << expected;
    EXPECT_EQ(Document(Classify({"--expect", Path("same.json")}), "classify").size(), 0U);

    expected[0]["type"] = 9;
    expected[1]["capture"] = "gone";
    std::ofstream(Path("other.json")) << expected;
    const Json::Value differences = Document(Classify({"--expect", Path("other.json")}), "classify", 1);

    ASSERT_EQ(differences.size(), 3U);
    EXPECT_EQ(differences[0]["member"], "type");
    EXPECT_EQ(differences[0]["expected"], 9);
    EXPECT_EQ(differences[0]["found"], 4);
    EXPECT_TRUE(Fails(Run(Classify({"--expect", Path("other.json"), "-o", "raw"})), 1, "3 difference(s)"));
}

TEST_F(CorpusCommands, RefuseWhatTheyCannotRead)
{
    WriteFile("junk.json", "junk");
    WriteFile("nameless.json", "[{}]");

    EXPECT_TRUE(Fails(Run({"classify", Path("nowhere")}), 1, "no such directory"));
    EXPECT_TRUE(Fails(Run({"classify", Path("inputs")}), 1, "has no captures"));
    EXPECT_TRUE(Fails(Run(Classify({"--expect", Path("junk.json")})), 1, "not the output of 'classify -o json'"));
    EXPECT_TRUE(Fails(Run(Classify({"--expect", Path("nameless.json")})), 1, "element 0 has no \"capture\""));
    EXPECT_TRUE(Fails(Run(Classify({"--expect", Path("nowhere")})), 1, "no such file"));
}

}  // namespace
