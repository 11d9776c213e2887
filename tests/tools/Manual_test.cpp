// SPDX-License-Identifier: Apache-2.0
//
// The man page and the completions know the commands and options that the program has, and no others.
#include "Options.h"
#include "ToolTest.h"

#include <fstream>
#include <regex>
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
        std::istringstream page(std::regex_replace(ToolsFile("srcwatchctl.1"), std::regex("\\\\-"), "-"));
        std::map<std::string, Options> options;
        std::string command;
        bool wanted = false;
        std::string before;
        for (std::string line; std::getline(page, line); before = line) {
            if (line.rfind(".SH ", 0) == 0) wanted = line == ".SH OPTIONS";
            if (line.rfind(".SS ", 0) == 0) {
                wanted = true;
                command = std::regex_replace(line, std::regex("^.SS \"([a-z]+( [a-z]+)*).*"), "$1");
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

TEST_F(Manual, IsWellFormed)
{
    // Without mandoc, there is nothing to check.
    Program mandoc({"/bin/sh", "-c", "! command -v mandoc >/dev/null || exec mandoc -T lint -W warning \"$0\"",
                    SRCWATCHCTL_TOOLS_DIR "/srcwatchctl.1"},
                   Environment(), Path("mandoc"));

    const Outcome outcome = mandoc.Wait();

    EXPECT_EQ(outcome.code, 0) << outcome;
}

TEST_F(Manual, CompletionsKnowEveryCommandAndOption)
{
    const std::map<std::string, Options> options = OptionsOfTheProgram();
    for (const char* const name :
         {"completion/srcwatchctl.bash", "completion/_srcwatchctl", "completion/srcwatchctl.fish"}) {
        const std::string text = ToolsFile(name);
        for (const auto& [command, wanted] : options) {
            std::istringstream words(command);
            for (std::string word; words >> word;) EXPECT_THAT(text, testing::ContainsRegex("[ \"(]" + word)) << name;
            for (const std::string& option : wanted) {
                if (option == "--version" || option == "--help-all" || option.size() == 2) continue;
                EXPECT_TRUE(text.find(option) != std::string::npos ||
                            text.find("-l " + option.substr(2) + " ") != std::string::npos)
                    << name << ' ' << option;
            }
        }
    }
}

TEST_F(Manual, CompletionsAreWellFormed)
{
    struct Row {
        const char* shell;
        const char* file;
    };
    for (const Row& row :
         {Row{"bash", "srcwatchctl.bash"}, Row{"zsh", "_srcwatchctl"}, Row{"fish", "srcwatchctl.fish"}}) {
        // A shell that is not installed cannot be asked.
        Program shell({"/bin/sh", "-c", "! command -v \"$1\" >/dev/null || exec \"$1\" -n \"$0\"",
                       SRCWATCHCTL_TOOLS_DIR "/completion/" + std::string(row.file), row.shell},
                      Environment(), Path(row.shell));

        const Outcome outcome = shell.Wait();

        EXPECT_EQ(outcome.code, 0) << row.shell << outcome;
        EXPECT_EQ(outcome.err, "") << row.shell;
    }
}

TEST_F(Manual, BashCompletesWithLivePorts)
{
    const std::string script =
        "PATH=$(dirname \"$1\"):$PATH; . \"$0\"; COMP_WORDS=(srcwatchctl show ''); COMP_CWORD=2; "
        "_srcwatchctl; echo \"${COMPREPLY[*]}\"";
    Program bash({"/bin/bash", "-c", script, SRCWATCHCTL_TOOLS_DIR "/completion/srcwatchctl.bash", SRCWATCHCTL_PROGRAM},
                 Environment(), Path("bash"));

    EXPECT_EQ(bash.Wait().out, "0 1 2 3 99\n");
}

TEST_F(Manual, BashCompletesCommandsOptionsAndValues)
{
    struct Row {
        std::string words;
        std::string expected;
    };
    int runs = 0;
    for (const Row& row :
         {Row{"do", "doctor"}, Row{"scan re", "resume"},
          Row{"settings ''", "list get set watch check repair backup restore"}, Row{"-o js", "json jsonl"},
          Row{"monitor --cou", "--count"}, Row{"wait --port 9", "99"}, Row{"wait --device-type set", "set-top-box"},
          Row{"get 0 device_info_", "device_info_str1 device_info_str2"}, Row{"plug 0 tiv", "tivaro-one"}}) {
        const std::string script = "PATH=$(dirname \"$1\"):$PATH; . \"$0\"; COMP_WORDS=(srcwatchctl " + row.words +
                                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _srcwatchctl; echo \"${COMPREPLY[*]}\"";
        Program bash(
            {"/bin/bash", "-c", script, SRCWATCHCTL_TOOLS_DIR "/completion/srcwatchctl.bash", SRCWATCHCTL_PROGRAM},
            Environment(), Path("bash-" + std::to_string(++runs)));

        EXPECT_EQ(bash.Wait().out, row.expected + "\n") << row.words;
    }
}

}  // namespace
