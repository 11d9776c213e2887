// SPDX-License-Identifier: Apache-2.0
//
// validate.
#include "ToolTest.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class ValidateCommand : public ToolTest {
protected:
    // What is wrong with a JSON text, as "line key: why".
    Words FaultsOf(const std::string& text, const std::string& kind)
    {
        WriteFile("document.json", text);
        const Json::Value document = Document({"validate", Path("document.json"), "--kind", kind}, "validate", 1);
        EXPECT_EQ(document["valid"], false);
        EXPECT_EQ(document["kind"], kind);
        Words faults;
        for (const Json::Value& fault : document["faults"]) {
            const std::string line = fault["line"].isNull() ? "-" : fault["line"].asString();
            faults.push_back(line + " " + fault["key"].asString() + ": " + fault["why"].asString());
        }
        return faults;
    }

    std::string KindOf(const std::string& text)
    {
        WriteFile("document.json", text);
        return Document({"validate", Path("document.json")}, "validate")["kind"].asString();
    }
};

TEST_F(ValidateCommand, KnowsTheKindOfAValidDocument)
{
    EXPECT_EQ(KindOf(R"({"activity":[{"DevType":1,"PRName":"P"},null,{}]})"), "activity");
    EXPECT_EQ(KindOf("null"), "activity");
    EXPECT_EQ(KindOf(R"({"activity":{"DevType":7}})"), "optical");
    EXPECT_EQ(KindOf(R"({"Auto":[{"port":1,"pri":2,"t":3,"spd":["a","b","c"],"result":["x","y","z"],"more":1}]})"),
              "statistics");
    EXPECT_EQ(KindOf(R"({"profiles":[{"match":{"vendor":"V*"},"give":{"type":1}}]})"), "profiles");
}

TEST_F(ValidateCommand, ConfirmsAValidFileInWords)
{
    WriteFile("document.json", R"({"activity":[]})");

    EXPECT_EQ(Run({"validate", Path("document.json")}).out, Path("document.json") + ": valid (activity)\n");
}

TEST_F(ValidateCommand, ExaminesSeveralFilesAtOnce)
{
    WriteFile("good.json", R"({"activity":[]})");
    WriteFile("bad.json", R"({"profiles":[{}]})");

    const Json::Value documents = Document({"validate", Path("good.json"), Path("bad.json")}, "validate files", 1);

    ASSERT_EQ(documents.size(), 2U);
    EXPECT_EQ(documents[0]["valid"], true);
    EXPECT_EQ(documents[1]["kind"], "profiles");
    EXPECT_EQ(documents[1]["valid"], false);
    const Outcome outcome = Run({"validate", Path("good.json"), Path("bad.json"), "-o", "raw"});
    EXPECT_TRUE(Fails(outcome, 1, "1 of 2 files are not valid"));
    EXPECT_THAT(outcome.out, HasSubstr(Path("good.json") + "\tactivity\t\t\tvalid\n"));
    EXPECT_THAT(outcome.out, HasSubstr(Path("bad.json") + "\tprofiles\t1\tprofiles[0]\t"));
}

TEST_F(ValidateCommand, ExaminesADirectoryOfProfiles)
{
    const std::string directory = Path("profiles.d");
    std::filesystem::create_directory(directory);
    WriteFile("profiles.d/10-a.json", R"({"profiles":[{"match":{"vendor":"V*"},"give":{"type":1}}]})");
    WriteFile("profiles.d/20-b.json", R"({"activity":[]})");
    WriteFile("profiles.d/README", "");

    const Json::Value documents = Document({"validate", directory}, "validate files", 1);

    ASSERT_EQ(documents.size(), 2U);
    EXPECT_EQ(documents[0]["valid"], true);
    EXPECT_EQ(documents[1]["kind"], "profiles");
}

TEST_F(ValidateCommand, ReadsStandardInput)
{
    WriteFile("document.json", R"({"activity":[]})");
    const std::string command = "exec " SRCWATCHCTL_PROGRAM " validate - <\"$0\"";
    Program program({"/bin/sh", "-c", command, Path("document.json")}, Environment(), Path("input"));

    EXPECT_EQ(program.Wait().out, "-: valid (activity)\n");
}

TEST_F(ValidateCommand, AcceptsTheShippedProfilesAndCaptures)
{
    EXPECT_EQ(Document({"validate", SRCWATCH_PROFILES_FILE}, "validate")["kind"], "profiles");
    int captures = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SRCWATCH_CAPTURES_DIR)) {
        if (!entry.is_directory() || entry.path().filename() == "malformed") continue;
        ++captures;
        EXPECT_EQ(Run({"validate", entry.path().string()}).code, 0) << entry.path();
    }
    EXPECT_GE(captures, 12);
}

TEST_F(ValidateCommand, ShowsLineKeyAndReasonOfEachFault)
{
    EXPECT_THAT(FaultsOf("{\"activity\": [\n {\"DevType\": \"one\",\n  \"BName\": 5},\n {\"DevTyp\": 1}, 7,\n"
                         " {\"DevType\": 2}, {\"PortNum\": 99999999999}]}",
                         "activity"),
                testing::UnorderedElementsAre(
                    "2 activity[0].DevType: is not a 32-bit number", "3 activity[0].BName: is not a text",
                    "4 activity[1].DevTyp: is not a member of a record", "4 activity[2]: is not an object",
                    "5 activity[3].DevType: error type 2: applications get no text for it",
                    "5 activity[4].PortNum: is not a 32-bit number"));
}

TEST_F(ValidateCommand, ShowsIfTheLibraryCanReadTheDocument)
{
    WriteFile("odd.json", R"({"activity":[{"BName":5},{},{},{}]})");
    WriteFile("lost.json", R"({"activity":[{"BName":[]}]})");
    WriteFile("good.json", R"({"activity":[]})");

    EXPECT_EQ(Document({"validate", Path("odd.json")}, "validate", 1)["readable"], true);
    EXPECT_EQ(Document({"validate", Path("lost.json")}, "validate", 1)["readable"], false);
    EXPECT_EQ(Document({"validate", Path("good.json")}, "validate")["readable"], true);
    EXPECT_TRUE(Document({"validate", SRCWATCH_PROFILES_FILE}, "validate")["readable"].isNull());
    EXPECT_TRUE(Fails(Run({"validate", Path("odd.json")}), 1, "the library can still read it"));
}

TEST_F(ValidateCommand, ExaminesTheShapeOfEachKind)
{
    EXPECT_THAT(FaultsOf("[]", "activity"), testing::ElementsAre("1 : is not an object"));
    EXPECT_THAT(FaultsOf("{}", "activity"), testing::ElementsAre("1 activity: is missing"));
    EXPECT_THAT(FaultsOf("{\n\"activity\": {}}", "activity"), testing::ElementsAre("2 activity: is not an array"));
    EXPECT_THAT(FaultsOf("{\n\"activity\": []}", "optical"), testing::ElementsAre("2 activity: is not an object"));
    EXPECT_THAT(FaultsOf(R"({"activity":{"DevType":[]}})", "optical"),
                testing::ElementsAre("1 activity.DevType: is not a 32-bit number"));
    EXPECT_THAT(FaultsOf(R"({"Auto":5})", "statistics"), testing::ElementsAre("1 Auto: is not an array"));
}

TEST_F(ValidateCommand, ExaminesStatistics)
{
    EXPECT_THAT(
        FaultsOf("{\"Auto\":[\n{\"t\":\"x\"},\n{\"port\":1,\"pri\":1,\"spd\":[\"a\"],\"result\":[1,\"\",\"\"]},\n3]}",
                 "statistics"),
        testing::UnorderedElementsAre("2 Auto[0].port: is missing: the entry belongs to no port",
                                      "2 Auto[0].pri: is missing: the entry is never used",
                                      "2 Auto[0].t: is not a 32-bit number",
                                      "3 Auto[1].spd: is not an array of three texts",
                                      "3 Auto[1].result[0]: is not a text", "4 Auto[2]: is not an object"));
}

TEST_F(ValidateCommand, ExaminesProfiles)
{
    const Words faults = FaultsOf(
        "{\"profiles\":[\n{\"match\":{},\"give\":{\"type\":1}},\n{\"match\":{\"vendor\":\"V\"},\"give\":{\"type\":2}}]"
        "}",
        "profiles");

    ASSERT_EQ(faults.size(), 2U);
    EXPECT_THAT(faults[0], testing::StartsWith("2 profiles[0]: "));
    EXPECT_THAT(faults[1], testing::StartsWith("3 profiles[1]: "));
    EXPECT_THAT(faults[1], HasSubstr("type"));
}

TEST_F(ValidateCommand, ShowsTheLineOfASyntaxError)
{
    EXPECT_THAT(FaultsOf("{\n\n  \"activity\": [1,,2]\n}", "activity"),
                testing::Contains(testing::StartsWith("3 : column ")));
    EXPECT_THAT(FaultsOf("{\"activity\":[]} more", "activity"), testing::Contains(testing::StartsWith("1 : column ")));
    EXPECT_THAT(FaultsOf("{\"activity\":[],\n\"activity\":[]}", "activity"),
                testing::Contains(testing::HasSubstr("uplicate")));
    EXPECT_FALSE(FaultsOf("", "activity").empty());
    EXPECT_FALSE(FaultsOf(std::string(3000, '['), "activity").empty());
}

TEST_F(ValidateCommand, RefusesADocumentOfNoKind)
{
    WriteFile("document.json", "{\"other\": 1}");

    const Json::Value document = Document({"validate", Path("document.json")}, "validate", 1);

    EXPECT_EQ(document["kind"], "unknown");
    EXPECT_TRUE(Fails(Run({"validate", Path("document.json")}), 1, "is not valid: 1 fault(s)"));
}

TEST_F(ValidateCommand, ExaminesACaptureFileByFile)
{
    const Json::Value document = Document({"validate", SRCWATCH_CAPTURES_DIR "/malformed"}, "validate", 1);

    EXPECT_EQ(document["kind"], "capture");
    ASSERT_GE(document["faults"].size(), 3U);
    EXPECT_EQ(document["faults"][0]["key"], "spd.bin");
    EXPECT_TRUE(document["faults"][0]["line"].isNull());
    EXPECT_THAT(document["faults"][0]["why"].asString(), HasSubstr("checksum"));
}

TEST_F(ValidateCommand, ExaminesSingleFilesOfACapture)
{
    for (const char* const file : {"spd.bin", "cec.log", "aksv.bin"}) {
        EXPECT_EQ(Run({"validate", SRCWATCH_CAPTURES_DIR "/malformed/" + std::string(file)}).code, 1) << file;
        EXPECT_EQ(Run({"validate", SRCWATCH_CAPTURES_DIR "/tessaly-cable/" + std::string(file)}).code, 0) << file;
    }
    WriteFile("other", "abc");
    EXPECT_TRUE(Fails(Run({"validate", Path("other"), "--kind", "aksv"}), 1, "1 fault(s)"));
}

TEST_F(ValidateCommand, ShowsTheLineOfEachMalformedMessage)
{
    WriteFile("cec.log", "40:47:53\nnonsense\n40:47:54\n4:4\n");

    const Json::Value faults = Document({"validate", Path("cec.log")}, "validate", 1)["faults"];

    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0]["line"], 2);
    EXPECT_THAT(faults[0]["why"].asString(), testing::StartsWith("not hexadecimal"));
    EXPECT_EQ(faults[1]["line"], 4);
}

TEST_F(ValidateCommand, CountsEveryMessageThatIsNone)
{
    std::string log = "40:47:53\n";
    for (int i = 0; i < 10; ++i) log += "nonsense\n";
    WriteFile("cec.log", log);

    const Json::Value faults = Document({"validate", Path("cec.log")}, "validate", 1)["faults"];

    ASSERT_EQ(faults.size(), 10U);
    for (Json::ArrayIndex i = 0; i < 10; ++i) EXPECT_EQ(faults[i]["line"].asUInt(), i + 2);
    EXPECT_TRUE(Fails(Run({"validate", Path("cec.log")}), 1, "10 fault(s)"));
}

TEST_F(ValidateCommand, TakesNoLineFromTheNameOfAFile)
{
    std::filesystem::create_directory(Path("device"));
    WriteFile("device/aksv.bin", "\xb7\x03\x61\xf7\x14");
    WriteFile("device/evil; line 7: x", "");

    const Json::Value faults = Document({"validate", Path("device")}, "validate", 1)["faults"];

    ASSERT_EQ(faults.size(), 1U);
    EXPECT_TRUE(faults[0]["line"].isNull()) << faults;
    EXPECT_THAT(faults[0]["why"].asString(), HasSubstr("'evil; line 7: x'"));
}

// The service refuses such a frame too, and takes the end of such a log.
TEST_F(ValidateCommand, ReadsAsMuchOfACaptureAsTheServiceDoes)
{
    WriteFile("spd.bin", std::string(257, 'x'));
    WriteFile("cec.log", std::string(65537, '\n'));

    EXPECT_TRUE(Fails(Run({"validate", Path("spd.bin")}), 1, "257 bytes, more than 256"));
    EXPECT_EQ(Run({"validate", Path("cec.log")}).code, 0);
}

TEST_F(ValidateCommand, RefusesAnEmptyDirectory)
{
    EXPECT_TRUE(Fails(Run({"validate", Path("inputs")}), 1, "1 fault(s)"));
}

TEST_F(ValidateCommand, FailsWhereThereIsNothingToRead)
{
    EXPECT_TRUE(Fails(Run({"validate", Path("absent")}), 1, "no such file"));
    EXPECT_TRUE(Fails(Run({"validate", "/dev/zero"}), 1, "/dev/zero"));
    EXPECT_TRUE(Fails(Run({"validate", Path("platform.conf"), "--kind", "capture"}), 1, "no such directory"));
    EXPECT_TRUE(Fails(Run({"validate"}), 2, "FILE"));
    EXPECT_TRUE(Fails(Run({"validate", "x", "--kind", "nonsense"}), 2, "--kind"));
}

TEST_F(ValidateCommand, RefusesAFileThatIsTooLarge)
{
    WriteFile("large.json", "");
    std::filesystem::resize_file(Path("large.json"), 1U << 30U);

    EXPECT_TRUE(Fails(Run({"validate", Path("large.json")}), 1, "large.json"));
}

}  // namespace
