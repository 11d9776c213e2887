// SPDX-License-Identifier: Apache-2.0
//
// What a program has in a sandbox, and what the sandbox refuses.
#include "SandboxTest.h"

namespace srcwatch_test {
namespace {

using testing::HasSubstr;

class Sandbox : public SandboxTest {
protected:
    // A program that replaces the one of this name.
    void Fake(const std::string& name, const std::string& script)
    {
        const std::string directory = m_directory / "bin";
        std::filesystem::create_directory(directory);
        WriteFile(directory + "/" + name, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(directory + "/" + name, std::filesystem::perms::owner_all);
        m_path = directory + ":" + std::getenv("PATH");
    }
    Outcome RunWithFake(const Words& arguments) { return Run(arguments, {{"PATH", m_path}}); }

    std::string m_path;
};

TEST_F(Sandbox, EndsWithTheExitCodeOfTheProgram)
{
    EXPECT_EQ(RunShell("exit 0").code, 0);
    EXPECT_EQ(RunShell("exit 7").code, 7);
    EXPECT_EQ(RunShell("kill -KILL $$").code, 128 + 9);
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, SaysWhyTheProgramCannotBeStarted)
{
    const Outcome absent = Run({"--", "no-such-program", "argument"});
    const Outcome directory = Run({"--", "/"});

    EXPECT_EQ(absent.code, 127);
    EXPECT_EQ(absent.errors, "srcwatch-sandbox: cannot start no-such-program: No such file or directory\n");
    EXPECT_EQ(directory.code, 126);
    EXPECT_EQ(directory.errors, "srcwatch-sandbox: cannot start /: Permission denied\n");
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, PassesTheArgumentsOfTheProgramUnchanged)
{
    const Outcome outcome = Run({"--", "printf", "%s|", "--inputs", "[a,b]", "--", "x y", "", "-h"});

    EXPECT_EQ(outcome.output, "--inputs|[a,b]|--|x y||-h|");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(Sandbox, HasTheInputsThatAreAskedFor)
{
    EXPECT_EQ(RunShell("srcwatchctl list -o raw | wc -l").output, "5\n");
    EXPECT_EQ(RunShell("srcwatchctl list -o raw | wc -l", {"--inputs", "2"}).output, "3\n");
    EXPECT_EQ(RunShell("srcwatchctl features -o json | grep -c true").code, 0);
}

TEST_F(Sandbox, DoesNotReadTheConfigurationOfTheMachinesService)
{
    const std::string file = m_directory / "service.conf";
    WriteFile(file, "[inputs]\ncec=\n");

    const Outcome outcome = Run({"--", "true"}, {{"SRCWATCH_SERVICE_CONF", file}});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
}

TEST_F(Sandbox, HasDetectedWhatIsPluggedBeforeTheProgramStarts)
{
    const Outcome outcome =
        RunShell("srcwatchctl get 0 BName; srcwatchctl get 3 BName; srcwatchctl get 99 BName",
                 {"--plug", "0=voltana-vx-home", "--plug",
                  std::string("3=") + SRCWATCH_CAPTURES_DIR + "/quellon-bdq900", "--plug", "99=ambrelle-soundbar"});

    EXPECT_EQ(outcome.output, "Voltana\nQuellon\nAMBRELLE\n") << outcome.errors;
}

TEST_F(Sandbox, LetsTheToolPlugAndUnplug)
{
    const Outcome outcome =
        RunShell("srcwatchctl plug 1 kestelle-k2 && srcwatchctl wait --port 1 --timeout 60 && srcwatchctl unplug 1");

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
}

TEST_F(Sandbox, HasABusButNoServiceIfThatIsNotWanted)
{
    const Outcome outcome = RunShell("srcwatchctl call status", {"--no-service"});

    EXPECT_EQ(outcome.code, 4);
    EXPECT_THAT(outcome.errors, HasSubstr("no detection service is running"));
}

TEST_F(Sandbox, AppendsTheLogOfServiceAndProgramToAFile)
{
    const std::string log = m_directory / "log";

    EXPECT_EQ(RunShell("srcwatchctl list --log", {"--log", log, "--plug", "0=kestelle-k2"}).code, 0);

    EXPECT_THAT(ReadFile(log), HasSubstr("serving 4 HDMI input(s)"));
    EXPECT_THAT(ReadFile(log), HasSubstr("hdmi1: type 6"));
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, KeepsTheLogOutOfTheJournalUnlessToldOtherwise)
{
    EXPECT_EQ(RunShell("echo $SRCWATCH_LOG").output, "none\n");
    EXPECT_EQ(Run({"--", "sh", "-c", "echo $SRCWATCH_LOG"}, {{"SRCWATCH_LOG", "stderr"}}).output, "stderr\n");
}

TEST_F(Sandbox, OffersAShellWithAHint)
{
    Fake("shell", "echo this is a shell; exit 3");

    const Outcome outcome = Run({"--inputs", "3"}, {{"SHELL", m_directory / "bin/shell"}});

    EXPECT_EQ(outcome.code, 3);
    EXPECT_EQ(outcome.output, "this is a shell\n");
    EXPECT_THAT(outcome.errors, HasSubstr("3 HDMI input(s)"));
    EXPECT_THAT(outcome.errors, HasSubstr("srcwatchctl plug 0 voltana-vx-home"));
}

TEST_F(Sandbox, RefusesWrongUsage)
{
    const std::vector<std::pair<Words, std::string>> wrong = {
        {{"true"}, "a program stands after '--'"},
        {{"--"}, "no program stands after '--'"},
        {{"--unknown", "--", "true"}, "--unknown"},
        {{"--inputs", "9", "--", "true"}, "'9' is not a number from 1 to 8"},
        {{"--inputs", "0", "--", "true"}, "'0' is not a number from 1 to 8"},
        {{"--plug", "voltana-vx-home", "--", "true"}, "'voltana-vx-home' is not PORT=CAPTURE"},
        {{"--plug", "8=voltana-vx-home", "--", "true"}, "'8' is not a port"},
        {{"--plug", "4=voltana-vx-home", "--", "true"}, "the TV has 4 HDMI input(s), 0 to 3"},
        {{"--plug", "0=no-such-capture", "--", "true"}, "no such capture directory: no-such-capture"},
        {{"--plug", "0=/no/such", "--", "true"}, "no such capture directory: /no/such"},
        {{"--plug", "0=kestelle-k2", "--plug", "0=darvex-dvd", "--", "true"}, "already plugged"},
        {{"--plug", "0=kestelle-k2", "--no-service", "--", "true"}, "--plug excludes --no-service"},
        {{"--log", "/no/such/log", "--", "true"}, "cannot write /no/such/log"}};

    for (const auto& [arguments, words] : wrong) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, 125) << testing::PrintToString(arguments);
        EXPECT_THAT(outcome.errors, HasSubstr(words));
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    }
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, NeedsABusProgram)
{
    const Outcome outcome = Run({"--", "true"}, {{"PATH", "/nowhere"}});

    EXPECT_EQ(outcome.code, 125);
    EXPECT_EQ(
        outcome.errors,
        "srcwatch-sandbox: cannot start dbus-daemon: No such file or directory; install the package dbus-daemon\n");
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, SaysWhatABusSaysThatDoesNotStart)
{
    Fake("dbus-daemon", "echo out of luck >&2; exit 3");

    const Outcome outcome = RunWithFake({"--", "true"});

    EXPECT_EQ(outcome.code, 125);
    EXPECT_EQ(outcome.errors, "out of luck\nsrcwatch-sandbox: dbus-daemon has ended with 3\n");
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, NeedsAServiceUnlessNoneIsWanted)
{
    m_program = m_directory / "srcwatch-sandbox";  // where no service is beside it
    std::filesystem::copy_file(SRCWATCH_SANDBOX_PROGRAM, m_program);

    const Outcome outcome = Run({"--", "true"});

    EXPECT_EQ(outcome.code, 125);
    EXPECT_THAT(outcome.errors, HasSubstr("cannot start " + (m_directory / "srcwatch-service: No such file")));
    EXPECT_THAT(outcome.errors, HasSubstr("--no-service"));
    EXPECT_EQ(Run({"--no-service", "--", "true"}).code, 0);
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(Sandbox, FindsTheServiceBesideItWhereItIsInstalled)
{
    m_program = m_directory / "srcwatch-sandbox";
    std::filesystem::copy_file(SRCWATCH_SANDBOX_PROGRAM, m_program);
    WriteFile(m_directory / "srcwatch-service", "#!/bin/sh\necho \"$@\" >&2; exit 1\n");
    std::filesystem::permissions(m_directory / "srcwatch-service", std::filesystem::perms::owner_all);

    const Outcome outcome = Run({"--", "true"});

    EXPECT_THAT(outcome.errors, testing::MatchesRegex("--inputs [^ ]*/inputs\n.*srcwatch-service has ended with 1\n"));
}

TEST_F(Sandbox, WorksInADirectoryWithAStrangeName)
{
    const std::string strange = m_directory / "a <b>, %41;é";
    std::filesystem::create_directory(strange);

    const Outcome outcome = Run({"--", "srcwatchctl", "call", "status"}, {{"TMPDIR", strange}});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_TRUE(std::filesystem::is_empty(strange));
}

TEST_F(Sandbox, RefusesADirectoryWithTooLongAName)
{
    const std::string deep = m_directory / std::string(100, 'x');
    std::filesystem::create_directory(deep);

    const Outcome outcome = Run({"--", "true"}, {{"TMPDIR", deep}});

    EXPECT_EQ(outcome.code, 125);
    EXPECT_THAT(outcome.errors, HasSubstr("set TMPDIR to a shorter one"));
    EXPECT_TRUE(std::filesystem::is_empty(deep));
}

TEST_F(Sandbox, PrintsItsVersion) { EXPECT_THAT(Run({"--version"}).output, testing::StartsWith("srcwatch-sandbox ")); }

}  // namespace
}  // namespace srcwatch_test
