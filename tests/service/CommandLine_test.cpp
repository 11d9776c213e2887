// SPDX-License-Identifier: Apache-2.0
//
// The service's command line: what it refuses, with which message, and that its configuration has the same options.
#include "Options.h"
#include "Pattern.h"
#include "ServiceTest.h"

#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

struct Outcome {
    int code;
    std::string output;
    std::string errors;
};

class CommandLine : public testing::Test {
protected:
    Outcome Run(std::vector<std::string> arguments, const std::map<std::string, std::string>& environment = {})
    {
        arguments.insert(arguments.begin(), SRCWATCH_SERVICE_PROGRAM);
        Process process(arguments, m_directory / ("program" + std::to_string(++m_runs)), environment);
        const int code = process.Wait().value_or(-1);
        return Outcome{code, process.Output(), process.Errors()};
    }

    TempDirectory m_directory;
    int m_runs = 0;
};

TEST_F(CommandLine, PrintsTheVersion)
{
    const Outcome outcome = Run({"--version"});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output.substr(0, 17), "srcwatch-service ");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(CommandLine, PrintsItsOptions)
{
    const Outcome outcome = Run({"--help"});

    EXPECT_EQ(outcome.code, 0);
    for (const char* option : {"--inputs DIR", "--profiles PATH", "--scan-step-ms MS", "--quiet-ms MS", "--version"}) {
        EXPECT_NE(outcome.output.find(option), std::string::npos) << option << '\n' << outcome.output;
    }
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(CommandLine, RefusesWrongUsageWithTwo)
{
    const std::vector<std::vector<std::string>> wrong = {
        {"--inputs"},
        {"--inputs", ""},
        {"--cec"},
        {"--spd", "/sys/spd"},
        {"--spd", "9=/sys/spd"},
        {"--spd", "0="},
        {"--cec", "/dev/cec0", "--cec-round-ms", "0"},
        {"--config", ""},
        {"--inputs", ".", "--tv", "7"},
        {"--inputs", ".", "--firmware", "7"},
        {"--inputs", ".", "--aksv-key", "/dev/null"},
        {"--inputs", ".", "--detections", "-", "--tv", ""},
        {"--inputs", ".", "--detections", "-", "--firmware", std::string(129, '7')},
        {"--inputs", ".", "surplus"},
        {"--inputs", ".", "--unknown"},
        {"--inputs", ".", "--quiet-ms", "0"},
        {"--inputs", ".", "--quiet-ms", "-5"},
        {"--inputs", ".", "--quiet-ms", "60001"},
        {"--inputs", ".", "--scan-step-ms", "soon"},
        {"--inputs", ".", "--scan-step-ms", "99999999999999999999"},
    };

    for (const auto& arguments : wrong) {
        const TempDirectory fresh;
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, 2) << testing::PrintToString(arguments);
        EXPECT_NE(outcome.errors, "") << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.output, "") << testing::PrintToString(arguments);
    }
}

// The options that a help text lists: those before the column of what they do.
Options OptionsOfTheHelp(const std::string& help)
{
    std::istringstream lines(help);
    Options options;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("  -", 0) == 0) options.merge(OptionsIn(line.substr(0, line.find("  ", 2))));
    }
    return options;
}

// But those that select the file.
Options OptionsThatAreKeys(Options options)
{
    for (const char* option : {"-h", "--help", "--version", "--config", "--check-config"}) options.erase(option);
    return options;
}

// The keys of a text, each at the beginning of a line behind a mark, as options.
Options KeysOf(const std::string& text, const std::string& mark)
{
    std::istringstream lines(text);
    Options keys;
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> found = FindPattern("^" + mark + "([a-z-]+)=", line);
        if (!found.empty()) keys.insert("--" + found[1]);
    }
    return keys;
}

TEST_F(CommandLine, HasEachOptionInTheConfigurationAndItsManualPage)
{
    const Options options = OptionsThatAreKeys(OptionsOfTheHelp(Run({"--help"}).output));
    const std::string page = Replaced(ReadFile(SRCWATCH_CONFIGURATION_MANUAL), "\\-", "-");

    EXPECT_EQ(options.size(), 12U);
    EXPECT_EQ(KeysOf(ReadFile(SRCWATCH_CONFIGURATION), "#"), options);
    EXPECT_EQ(KeysOf(page, "[.]BI "), options);
}

TEST_F(CommandLine, ChecksAConfiguration)
{
    const std::string file = m_directory / "service.conf";
    WriteFile(file, "[inputs]\nquiet-ms=5\n");

    const Outcome good = Run({"--check-config", file});
    WriteFile(file, "[inputs]\nquiet-ms=soon\nquiet=5\n");
    const Outcome bad = Run({"--check-config", file});

    EXPECT_EQ(good.code, 0);
    EXPECT_EQ(good.output, file + ": no faults\n");
    EXPECT_EQ(good.errors, "");
    EXPECT_EQ(bad.code, 1);
    EXPECT_EQ(bad.output, "");
    EXPECT_EQ(bad.errors,
              file + ":inputs/quiet-ms: 'soon' is not a number from 1 to 60000\n" + file +
                  ":inputs/quiet: no such key; the group has inputs, cec, cec-round-ms, spd, power, quiet-ms\n");
}

TEST_F(CommandLine, ChecksTheConfigurationThatItWouldRead)
{
    const std::string file = m_directory / "service.conf";
    WriteFile(file, "[inputs]\n");

    EXPECT_EQ(Run({"--check-config", "--config", file}).output, file + ": no faults\n");
    EXPECT_EQ(Run({"--check-config"}, {{"SRCWATCH_SERVICE_CONF", file}}).output, file + ": no faults\n");
    EXPECT_EQ(Run({"--check-config"}).errors, "SRCWATCH_SERVICE_CONF names no file to be checked\n");
}

TEST_F(CommandLine, RefusesAConfigurationWithFaults)
{
    const std::string file = m_directory / "service.conf";
    WriteFile(file, "[input]\n");

    const Outcome outcome = Run({"--config", file});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: " + file + ":input: no such group; it has to be inputs, detection or fleet\n");
}

TEST_F(CommandLine, TakesTheInputsDirectoryOfTheEnvironment)
{
    const std::string missing = m_directory / "missing";

    const Outcome outcome = Run({}, {{"SRCWATCH_INPUTS", missing}});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: the inputs directory " + missing + " cannot be used: No such file or directory\n");
}

TEST_F(CommandLine, RefusesAnInputsDirectoryThatIsNotThere)
{
    const std::string missing = m_directory / "missing";

    const Outcome outcome = Run({"--inputs", missing});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: the inputs directory " + missing + " cannot be used: No such file or directory\n");
}

TEST_F(CommandLine, RefusesAKeyThatHidesNothing)
{
    WriteFile(m_directory / "key", "short");

    const Outcome outcome =
        Run({"--inputs", m_directory.Path(), "--detections", "-", "--aksv-key", m_directory / "key"});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors, "srcwatch-service: the key " + (m_directory / "key") + " must have 16 to 4096 bytes\n");
}

TEST_F(CommandLine, RefusesAFileAsInputsDirectory)
{
    WriteFile(m_directory / "file", "");

    const Outcome outcome = Run({"--inputs", m_directory / "file"});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: the inputs directory " + (m_directory / "file") + " is not a directory\n");
}

TEST_F(CommandLine, RefusesAnInputsDirectoryThatCannotBeExamined)
{
    const std::string loop = m_directory / "loop";
    std::filesystem::create_symlink("loop", loop);

    const Outcome outcome = Run({"--inputs", loop});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors, "srcwatch-service: the inputs directory " + loop +
                                  " cannot be used: Too many levels of symbolic links\n");
}

TEST_F(CommandLine, EndsWithOneLineWithoutABus)
{
    const Outcome outcome =
        Run({"--inputs", m_directory.Path()}, {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + (m_directory / "nobus")}});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: cannot connect to the system bus: Could not connect: No such file or directory\n");
}

TEST_F(CommandLine, EndsWithOneLineWhenTheBusRefusesTheName)
{
    const std::unique_ptr<PrivateBus> bus = MakeSecondBus(kSystemBusRules);

    const Outcome outcome =
        Run({"--inputs", m_directory.Path()}, {{"DBUS_SYSTEM_BUS_ADDRESS", bus->Address()}, {"SRCWATCH_LOG", "none"}});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors,
              "srcwatch-service: the bus refuses the name org.nalto.tv.qdinfo: its policy, " SRCWATCH_INSTALLED_POLICY
              ", must allow this user, and be in /usr/share/dbus-1/system.d or /etc/dbus-1/system.d; "
              "then reload the bus\n");
}

TEST_F(CommandLine, EndsWithOneLineWhenTheSettingsCannotBeStored)
{
    WriteFile(m_directory / "file", "");

    const Outcome outcome = Run({"--inputs", m_directory.Path()}, {{"SRCWATCH_RUN_DIR", m_directory / "file/run"}});

    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors, "srcwatch-service: the settings store cannot be watched\n");
}

}  // namespace
}  // namespace srcwatch_test
