// SPDX-License-Identifier: Apache-2.0
//
// replay: what it refuses, and what it does without a sandbox.
#include "RecordingTest.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

using namespace srcwatch_test;
using testing::HasSubstr;

const char* const kSnapshot = R"({"aksvs":"hashed","at":5.0,"kind":"snapshot","settings":{"db/test/key":1},)"
                              R"("inputs":[],"time":"2026-01-31T00:00:00.000000Z","version":1})"
                              "\n";

std::string Line(const std::string& members)
{
    return R"({"at":6.0,"time":"2026-01-31T00:00:01.000000Z",)" + members + "}\n";
}

class ReplayRefusals : public RecordingTest {
protected:
    Outcome Replay(const std::string& content, const Words& options = {})
    {
        WriteFile("r.jsonl", content);
        Words words = {"replay", Path("r.jsonl")};
        words.insert(words.end(), options.begin(), options.end());
        return Run(words);
    }
    bool Exists(const std::string& key) { return Run({"settings", "get", key}).code == 0; }
};

TEST_F(ReplayRefusals, ReplaysWhereNothingIsWrong)
{
    Set("db/test/other", "gone");

    const Outcome outcome = Replay(kSnapshot + Line(R"("kind":"setting","key":"memory/test/key","value":"text")") +
                                       Line(R"("kind":"setting","key":"db/test/key","value":null)") +
                                       Line(R"("kind":"setting","key":"db/test/bytes","value":{"hex":"ff"})") +
                                       Line(R"("kind":"event","type":4097,"message":"1\t")") +
                                       Line(R"("kind":"call","call":1,"type":1,"message":"")"),
                                   {"--speed", "1000"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.out, HasSubstr("replayed 5 entries of "));
    EXPECT_EQ(Get("memory/test/key"), "text");
    EXPECT_TRUE(Exists("db/test/bytes"));
    EXPECT_FALSE(Exists("db/test/key"));
    EXPECT_FALSE(Exists("db/test/other"));
}

TEST_F(ReplayRefusals, EndsWhereItIsTold)
{
    const std::string recording = kSnapshot + Line(R"("kind":"setting","key":"db/test/second","value":2)") +
                                  R"({"at":9.5,"time":"2026-01-31T00:00:04.500000Z",)"
                                  R"("kind":"setting","key":"db/test/third","value":3})"
                                  "\n";

    EXPECT_EQ(Replay(recording, {"--until", "1"}).code, 0);
    EXPECT_TRUE(Exists("db/test/key"));
    EXPECT_FALSE(Exists("db/test/second"));
    EXPECT_EQ(Replay(recording, {"--speed", "100", "--until", "2"}).code, 0);
    EXPECT_TRUE(Exists("db/test/second"));
    EXPECT_FALSE(Exists("db/test/third"));
    EXPECT_EQ(Replay(recording, {"--speed", "100", "--until", "4.4s"}).code, 0);
    EXPECT_FALSE(Exists("db/test/third"));
    EXPECT_EQ(Replay(recording, {"--speed", "100", "--until", "4.5s"}).code, 0);
    EXPECT_TRUE(Exists("db/test/third"));
}

TEST_F(ReplayRefusals, RefusesToRunBesideAService)
{
    const BusOnlyService service;

    EXPECT_TRUE(Fails(Replay(kSnapshot), 1, "a detection service, or another replay, runs here"));
    EXPECT_FALSE(Exists("db/test/key"));
}

TEST_F(ReplayRefusals, RefusesTheSettingsOfTheMachine)
{
    SetVariable("SRCWATCH_STATE_DIR", "");

    EXPECT_TRUE(Fails(Replay(kSnapshot), 1, "srcwatch-sandbox --no-service -- srcwatchctl replay FILE"));
}

TEST_F(ReplayRefusals, RefusesFilesThatAreNoRecording)
{
    const std::string foreign = "is neither a recording nor what 'busctl capture' wrote";

    EXPECT_TRUE(Fails(Run({"replay", Path("absent")}), 1, "no such file: "));
    EXPECT_TRUE(Fails(Run({"replay", Path("inputs")}), 1, "is not a file"));
    EXPECT_TRUE(Fails(Replay(""), 1, "is empty"));
    EXPECT_TRUE(Fails(Replay("[1,2]\n"), 1, foreign));
    EXPECT_TRUE(Fails(Replay("{}\n"), 1, foreign));
    EXPECT_TRUE(Fails(Replay("{\"kind\": 3"), 1, foreign));
    EXPECT_TRUE(Fails(Replay(std::string(100000, '\0')), 1, foreign));
    EXPECT_TRUE(Fails(Replay(std::string("\xa1\xb2\xc3\xd4\x00\x02\x00\x04", 8)), 1, foreign));
}

// Nothing of a recording with a fault takes effect.
TEST_F(ReplayRefusals, RefusesFaultsBeforeAnythingIsDone)
{
    const auto refuses = [&](const std::string& line, const std::string& why) {
        return Fails(Replay(kSnapshot + line), 1, ", line 2: " + why);
    };

    EXPECT_TRUE(refuses(R"({"at":6)", "it is cut off; 'head -n 1' keeps the whole lines before it"));
    EXPECT_TRUE(refuses("garbage\n", "it is not JSON"));
    EXPECT_TRUE(refuses("[]\n", "it is not a JSON object"));
    EXPECT_TRUE(refuses("{\"kind\":\"event\"}\n", "\"at\" is not a number of seconds"));
    EXPECT_TRUE(refuses(Line(R"("kind":"dance")"), "\"kind\" is not that of an entry"));
    EXPECT_TRUE(refuses(Line(R"("kind":"setting","key":"x","value":1)"), "\"key\" is not a setting's key"));
    EXPECT_TRUE(refuses(Line(R"("kind":"setting","key":"db/x","value":1.5)"), "\"value\" is not a setting's value"));
    EXPECT_TRUE(refuses(Line(R"("kind":"setting","key":"db/x","value":{"hex":"f"})"), "\"value\" is not"));
    EXPECT_TRUE(refuses(Line(R"("kind":"setting","key":"db/x","value":"a\u0000b")"), "\"value\" is not"));
    EXPECT_TRUE(refuses(Line(R"("kind":"event","type":99999999999,"message":"")"), "\"type\" is not a number"));
    EXPECT_TRUE(refuses(Line(R"("kind":"event","type":1,"message":7)"), "\"message\" is not a text"));
    EXPECT_TRUE(refuses(Line(R"("kind":"reply","call":1)"), "there is neither \"reply\" nor \"error\""));
    EXPECT_TRUE(refuses(Line(R"("kind":"input","port":8,"capture":null)"), "it is not a port and its capture"));
    EXPECT_TRUE(refuses(Line(R"("kind":"input","port":0,"capture":{"spd":1})"), "it is not a port and its capture"));
    EXPECT_TRUE(refuses(Line(R"("kind":"snapshot","version":2)"), "a later version of this program recorded it"));
    EXPECT_FALSE(Exists("db/test/key"));
}

TEST_F(ReplayRefusals, RefusesWrongUsage)
{
    EXPECT_TRUE(Fails(Replay(kSnapshot, {"--speed", "0"}), 2, "'0' is not a speed"));
    EXPECT_TRUE(Fails(Replay(kSnapshot, {"--until", "soon"}), 2, "'soon' is neither a line"));
    EXPECT_TRUE(Fails(Replay(kSnapshot, {"--until", "0"}), 2, "'0' is neither a line"));
    EXPECT_TRUE(Fails(Replay(kSnapshot, {"--inputs-only", "--inputs", Path("absent")}), 1, "no such inputs directory"));
}

TEST_F(ReplayRefusals, PlugsDevicesAndNothingElse)
{
    const BusOnlyService service;
    const std::string device = R"("kind":"input","port":1,"capture":{"spd":"","cec":"4f:84:10:00:04\n","aksv":""})";
    const std::string later = R"("kind":"input","port":1,"capture":{"spd":"00","cec":"","aksv":""})";

    EXPECT_EQ(Replay(kSnapshot + Line(device), {"--inputs-only"}).code, 0);
    EXPECT_EQ(Content("inputs/hdmi2/cec.log"), "4f:84:10:00:04\n");
    EXPECT_EQ(Replay(kSnapshot + Line(device) + Line(later), {"--inputs-only"}).code, 0);
    EXPECT_FALSE(fs::exists(Path("inputs/hdmi2/cec.log")));
    EXPECT_EQ(Content("inputs/hdmi2/spd.bin"), std::string(1, '\0'));
    EXPECT_EQ(Run({"unplug", "1"}).code, 0);
    EXPECT_FALSE(Exists("db/test/key"));

    ASSERT_EQ(Run({"plug", "1", "tivaro-one"}).code, 0);
    EXPECT_TRUE(Fails(Replay(kSnapshot + Line(device), {"--inputs-only"}), 1, "is already plugged into HDMI 2"));
}

TEST_F(ReplayRefusals, SaysThatItWasInterrupted)
{
    const auto replay = [&] {
        WriteFile("r.jsonl",
                  kSnapshot + std::string(R"({"at":9999.0,"time":"","kind":"event","type":1,"message":""})") + "\n");
        return Start({"replay", Path("r.jsonl")});
    }();
    ASSERT_TRUE(RunUntil([&] { return Exists("db/test/key"); }));

    replay->Signal(SIGINT);

    EXPECT_TRUE(Fails(replay->Wait(), 1, "interrupted after line 1"));
}

}  // namespace
