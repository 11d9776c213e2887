// SPDX-License-Identifier: Apache-2.0
//
// What holds for every command: the forms of the output, escaping, colours, the log, exit codes.
#include "ToolTest.h"

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;
using testing::Not;

const char* const kHostileName = "Box\x1b[31m\n\u202eevil\\\x7f";

Json::Value RecordWith(const std::string& name)
{
    Json::Value record;
    record["DevType"] = 9;
    record["DevName"] = name;
    record["BName"] = "Brand";
    return record;
}

class OutputTest : public ToolTest {};

TEST_F(OutputTest, EscapesTextOfDevicesInTables)
{
    StoreRecord(0, RecordWith(kHostileName));

    for (const Words& arguments : {Words{"list"}, Words{"show", "0"}, Words{"explain", "0"}}) {
        const Outcome outcome = Run(arguments);

        EXPECT_EQ(outcome.code, 0) << outcome;
        EXPECT_THAT(outcome.out, HasSubstr("Box\\x1b[31m\\n\\u{202e}evil\\\\\\x7f"));
        EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("\u202e")));
    }
}

TEST_F(OutputTest, EscapesTextOfDevicesInRawOutput)
{
    StoreRecord(0, RecordWith(kHostileName));

    EXPECT_EQ(Run({"get", "0", "DevName"}).out, "Box\\x1b[31m\\n\\u{202e}evil\\\\\\x7f\n");
    EXPECT_THAT(Run({"list", "-o", "raw"}).out, HasSubstr("\tBox\\x1b[31m\\n\\u{202e}evil\\\\\\x7f\t"));
}

TEST_F(OutputTest, WritesTextOfDevicesUnchangedInAsciiJson)
{
    StoreRecord(0, RecordWith(kHostileName));

    const Outcome outcome = Run({"show", "0", "-o", "json"});

    EXPECT_EQ(Parse(outcome.out)["record"]["DevName"], kHostileName);
    EXPECT_TRUE(std::all_of(outcome.out.begin(), outcome.out.end(), [](char c) {
        return c == '\n' || (c >= 0x20 && c < 0x7f);
    })) << outcome.out;
}

TEST_F(OutputTest, EscapesItsErrorMessages)
{
    EXPECT_TRUE(Fails(Run({"show", "\x1b[2J\n0"}), 2, "'\\x1b[2J\\n0' is not a port"));
    EXPECT_TRUE(Fails(Run({"validate", "/no\n/such"}), 1, "/no\\n/such"));
}

TEST_F(OutputTest, HasOneSpellingOfTheFormsOnEverySideOfACommand)
{
    const std::string expected = Run({"list", "-o", "jsonl"}).out;

    EXPECT_EQ(Run({"-o", "jsonl", "list"}).out, expected);
    EXPECT_EQ(Run({"list", "--output", "jsonl"}).out, expected);
    EXPECT_EQ(Run({"--output=jsonl", "list"}).out, expected);
    EXPECT_TRUE(Fails(Run({"-o", "xml", "list"}), 2, "--output"));
}

TEST_F(OutputTest, WritesAnArrayAsOneElementALine)
{
    const Json::Value document = Document({"list"}, "list");
    std::istringstream lines(Run({"list", "-o", "jsonl"}).out);

    ASSERT_EQ(document.size(), 5U);
    std::string line;
    for (const Json::Value& element : document) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_EQ(Parse(line), element);
        EXPECT_TRUE(Matches("listed", line));
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(OutputTest, HasColoursOnlyOnATerminal)
{
    StoreRecord(0, RecordWith("Box"));

    EXPECT_THAT(Run({"list"}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(RunOnTerminal({"list"}).out, HasSubstr("\x1b[32mdetected\x1b[0m"));
}

TEST_F(OutputTest, HonoursNoColor)
{
    StoreRecord(0, RecordWith("Box"));
    SetVariable("NO_COLOR", "1");

    const Outcome outcome = RunOnTerminal({"list"});

    EXPECT_THAT(outcome.out, HasSubstr("detected"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
}

TEST_F(OutputTest, HasColoursWhenToldTo)
{
    StoreRecord(0, RecordWith("Box"));
    const testing::Matcher<std::string> hasColours = HasSubstr("\x1b[32mdetected\x1b[0m");

    EXPECT_THAT(Run({"list", "--color", "always"}).out, hasColours);
    EXPECT_THAT(RunOnTerminal({"list", "--color=never"}).out, Not(hasColours));
    EXPECT_THAT(RunOnTerminal({"list", "--color=auto"}).out, hasColours);
    SetVariable("NO_COLOR", "1");
    EXPECT_THAT(RunOnTerminal({"list", "--color=always"}).out, hasColours);
    EXPECT_TRUE(Fails(Run({"list", "--color", "red"}), 2, "'red' is not a choice of colours"));
}

TEST_F(OutputTest, HasNoColoursOnADumbTerminal)
{
    SetVariable("TERM", "dumb");
    EXPECT_THAT(RunOnTerminal({"list"}).out, Not(HasSubstr("\x1b")));
}

// The longest line of a text, in columns of ASCII.
std::size_t WidestLine(const std::string& text)
{
    std::istringstream lines(text);
    std::size_t widest = 0;
    for (std::string line; std::getline(lines, line);) {
        line.erase(line.find_last_not_of(" \r") + 1);
        widest = std::max(widest, line.size());
    }
    return widest;
}

TEST_F(OutputTest, FitsTablesToTheTerminal)
{
    StoreRecord(0, RecordWith(std::string(90, 'x')));
    Set("memory/test/long", std::string(200, 'y'));

    for (const Words& arguments : {Words{"list"}, Words{"settings", "list"}, Words{"explain", "0"}, Words{"doctor"}}) {
        Words plain = arguments;
        plain.emplace_back("--color=never");
        EXPECT_LE(WidestLine(RunOnTerminal(plain).out), 80U) << arguments[0];
        plain.emplace_back("--no-trunc");
        EXPECT_GT(WidestLine(RunOnTerminal(plain).out), 80U) << arguments[0];
    }
    EXPECT_GT(WidestLine(Run({"list"}).out), 80U);
}

TEST_F(OutputTest, CutsNothingThatItWraps)
{
    const std::string whole = RunOnTerminal({"explain", "0", "--no-trunc"}).out;
    const std::string wrapped = RunOnTerminal({"explain", "0"}).out;

    EXPECT_THAT(whole, HasSubstr("only types 3 to 6 have a second result string"));
    EXPECT_THAT(wrapped, testing::ContainsRegex("only types 3 to 6 *\r?\n +have a second *\r?\n +result string"));
}

TEST_F(OutputTest, NeverMixesTheLogIntoItsOutput)
{
    WriteFile("platform.conf", "");  // the library logs while it is loaded that the number of inputs is unknown

    for (const char* const place : {"stderr", "none", "journal", "nonsense"}) {
        SetVariable("SRCWATCH_LOG", place);
        const Outcome outcome = Run({"show", "0"});

        EXPECT_EQ(outcome.code, 0) << outcome;
        EXPECT_EQ(outcome.err, "") << place;
        EXPECT_THAT(outcome.out, Not(HasSubstr("qdinfo"))) << place;
    }
}

TEST_F(OutputTest, ShowsTheLogFromItsFirstLineWhenAsked)
{
    WriteFile("platform.conf", "");
    RemoveVariable("SRCWATCH_LOG");

    const Outcome outcome = Run({"show", "0", "--log"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.err, HasSubstr("HDMI count < 0"));
    EXPECT_THAT(outcome.err, HasSubstr("srcwatch_get_device_info called for Port (0)"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("called for Port")));
}

TEST_F(OutputTest, TakesLogBehindTheDashesForAValue)
{
    const Outcome outcome = Run({"settings", "set", "memory/test", "--", "--log"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(Get("memory/test"), "--log");
}

TEST_F(OutputTest, FailsWhenItCannotWrite)
{
    Program program({"/bin/sh", "-c", "exec " SRCWATCHCTL_PROGRAM " list >/dev/full"}, Environment(), Path("full"));

    EXPECT_TRUE(Fails(program.Wait(), 1, "No space left on device"));
}

TEST_F(OutputTest, ExplainsWrongUsageInOneLine)
{
    EXPECT_TRUE(Fails(Run({"nonsense"}), 2, "'nonsense' is not a command"));
    EXPECT_TRUE(Fails(Run({"scan", "nonsense"}), 2, "'nonsense' is not a command"));
    EXPECT_TRUE(Fails(Run({"scan"}), 2, "scan needs a command: start, stop, resume, status, run\n"));
    EXPECT_TRUE(Fails(Run({"--no-trunc"}), 2, "a command is required; see --help"));
    EXPECT_TRUE(Fails(Run({"scan", "--nonsense"}), 2, "'--nonsense' is not an option"));
    EXPECT_TRUE(Fails(Run({"list", "0"}), 2, "'0' is not expected here; see --help"));
    EXPECT_TRUE(Fails(Run({"list", "--nonsense"}), 2, "'--nonsense' is not an option; see --help"));
    EXPECT_TRUE(Fails(Run({"--nonsense"}), 2, "'--nonsense' is not an option; see --help"));
    EXPECT_TRUE(Fails(Run({"show"}), 2, "PORT"));
    for (const char* const port : {"8", "-1", "98", "100", "x", "1x", "", "99999999999", "0x1"}) {
        EXPECT_TRUE(Fails(Run({"show", port}), 2, "")) << port;
    }
}

TEST_F(OutputTest, PrintsHelpAndVersion)
{
    EXPECT_EQ(Run({"--help"}).code, 0);
    EXPECT_THAT(Run({"scan", "run", "--help"}).out, HasSubstr("--timeout"));
    EXPECT_THAT(Run({"--version"}).out, testing::StartsWith("srcwatchctl "));
}

TEST_F(OutputTest, PrintsTheHelpOfACommandByItsName)
{
    EXPECT_EQ(Run({"help", "scan", "run"}).out, Run({"scan", "run", "--help"}).out);
    EXPECT_EQ(Run({"help"}).out, Run({"--help"}).out);
    EXPECT_EQ(Run({}).out, Run({"--help"}).out);
    EXPECT_TRUE(Fails(Run({"help", "nonsense"}), 2, "'nonsense' is not a command"));
}

TEST_F(OutputTest, AcceptsPortsAsTablesShowThem)
{
    StoreRecord(2, RecordWith("Box"));

    for (const char* const port : {"2", "HDMI 3", "hdmi3", "Hdmi 3"}) {
        EXPECT_EQ(Run({"get", port, "DevName"}).out, "Box\n") << port;
    }
    EXPECT_EQ(Run({"get", "optical", "DevType"}).out, "0\n");
    for (const char* const port : {"hdmi0", "hdmi9", "hdmi", "hdmi-1", "hdmi 3x"}) {
        EXPECT_TRUE(Fails(Run({"get", port, "DevName"}), 2, "is not a port")) << port;
    }
    EXPECT_TRUE(Fails(Run({"twc", "start", "optical"}), 2, "is not an HDMI port"));
}

TEST_F(OutputTest, ToleratesALocaleThatIsNotThere)
{
    SetVariable("LC_ALL", "xx_XX.UTF-8");
    StoreRecord(0, RecordWith("n\u00e9"));

    EXPECT_EQ(Run({"get", "0", "DevName"}).out, "n\\u{e9}\n");
}

}  // namespace
