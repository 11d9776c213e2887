// SPDX-License-Identifier: Apache-2.0
//
// The man page knows the commands and options that the program has, and no others.
#include "Options.h"
#include "Pattern.h"
#include "ToolTest.h"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;

std::string ToolsFile(const std::string& name)
{
    std::ifstream file(SRCWATCHCTL_TOOLS_DIR "/" + name);
    EXPECT_TRUE(file) << name;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// What a help text lists under a heading: the first words of its lines.
Words ListedUnder(const std::string& heading, const std::string& help)
{
    std::istringstream lines(help);
    Words words;
    bool under = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("  ", 0) != 0) under = line == heading;
        if (under && line.size() > 2 && line[2] != ' ' && line.rfind("  ", 0) == 0) {
            words.push_back(line.substr(2, line.find("  ", 2) - 2));
        }
    }
    return words;
}

class Manual : public ToolTest {
protected:
    std::string Help(Words command)
    {
        command.emplace_back("--help");
        const Outcome outcome = Run(command);
        EXPECT_EQ(outcome.code, 0) << outcome;
        return outcome.out;
    }

    // The options of each command that does something, and of the program itself under the empty name.
    std::map<std::string, Options> OptionsOfTheProgram()
    {
        std::map<std::string, Options> options;
        options[""] = OptionsOf({});
        for (const std::string& command : ListedUnder("Subcommands:", Help({}))) {
            const Words parts = ListedUnder("Subcommands:", Help({command}));
            const bool isCommand = parts.empty() || Help({command}).find("Positionals:") != std::string::npos;
            if (isCommand) options[command] = OptionsOf({command});
            for (const std::string& part : parts) options[command + " " + part] = OptionsOf({command, part});
        }
        return options;
    }

    Options OptionsOf(const Words& command)
    {
        Options options;
        for (const std::string& line : ListedUnder("Options:", Help(command))) options.merge(OptionsIn(line));
        if (command.empty()) return options;
        options.erase("-h");  // these are the program's own
        options.erase("--help");
        options.erase("--help-all");
        return options;
    }

    // The same as the man page has it.
    static std::map<std::string, Options> OptionsOfTheManPage()
    {
        std::istringstream page(Replaced(ToolsFile("srcwatchctl.1.in"), "\\-", "-"));
        std::map<std::string, Options> options;
        std::string command;
        bool wanted = false;
        std::string before;
        for (std::string line; std::getline(page, line); before = line) {
            if (line.rfind(".SH ", 0) == 0) wanted = line == ".SH OPTIONS";
            if (line.rfind(".SS ", 0) == 0) {
                wanted = true;
                command = FindPattern("^.SS \"([a-z]+( [a-z]+)*)", line).at(1);
                options[command];
            }
            if (wanted && before == ".TP") options[command].merge(OptionsIn(line));
        }
        return options;
    }
};

TEST_F(Manual, DescribesTheCommandsAndOptionsThatThereAre)
{
    EXPECT_THAT(OptionsOfTheManPage(), testing::ContainerEq(OptionsOfTheProgram()));
}

}  // namespace
