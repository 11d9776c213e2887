// SPDX-License-Identifier: Apache-2.0
//
// What shells complete: by the program, and by the shells themselves.
#include "ToolTest.h"

#include <sstream>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Words LinesOf(const std::string& text)
{
    std::istringstream stream(text);
    Words lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class Completion : public ToolTest {
protected:
    // The words that the program gives for the last of these.
    Words Complete(Words words)
    {
        words.insert(words.begin(), "complete");
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.code, 0) << outcome;
        EXPECT_EQ(outcome.err, "");
        Words found;
        for (const std::string& line : LinesOf(outcome.out)) found.push_back(line.substr(0, line.find('\t')));
        return found;
    }

    // What a script prints in a shell that finds the program: $0 is the file of the shell's completion.
    Outcome RunScript(const std::string& shell, const std::string& script, const std::string& file, const Words& words)
    {
        SetVariable("PATH", Path("bin") + ":/usr/bin:/bin");
        SetVariable("HOME", Path("bin"));
        const std::string link = "mkdir -p \"$1\" && ln -sf \"$2\" \"$1/srcwatchctl\"";
        EXPECT_EQ(Program({"/bin/sh", "-c", link, "sh", Path("bin"), SRCWATCHCTL_PROGRAM}, Environment(), Path("link"))
                      .Wait()
                      .code,
                  0);
        Words command = {"/usr/bin/env", shell, "-c", script};
        if (shell != "fish") command.push_back(file);
        command.insert(command.end(), words.begin(), words.end());
        return Program(command, Environment(), Path(shell + std::to_string(++m_runs))).Wait();
    }

    static std::string File(const std::string& name) { return SRCWATCHCTL_TOOLS_DIR "/completion/" + name; }

private:
    int m_runs = 0;
};

TEST_F(Completion, KnowsCommands)
{
    EXPECT_THAT(Complete({"do"}), ElementsAre("doctor"));
    EXPECT_THAT(Complete({"scan", "re"}), ElementsAre("resume"));
    EXPECT_THAT(Complete({"-o", "json", "unknown", ""}), ElementsAre("list", "save", "clear"));
    EXPECT_THAT(Complete({"nonsense", "x"}), IsEmpty());
    EXPECT_THAT(Complete({}), Contains("monitor"));
    EXPECT_THAT(Run({"complete", "do"}).out, testing::StartsWith("doctor\tCheck that everything works"));
}

TEST_F(Completion, KnowsOptions)
{
    EXPECT_THAT(Complete({"monitor", "--cou"}), ElementsAre("--count"));
    EXPECT_THAT(Complete({"monitor", "--"}), testing::AllOf(Contains("--timeout"), Contains("--output")));
    EXPECT_THAT(Complete({"show", "--cou"}), IsEmpty());
}

TEST_F(Completion, KnowsTheValuesOfOptions)
{
    EXPECT_THAT(Complete({"-o", "js"}), ElementsAre("json", "jsonl"));
    EXPECT_THAT(Complete({"list", "--output=r"}), ElementsAre("--output=raw"));
    EXPECT_THAT(Complete({"--nonsense=r"}), IsEmpty());
    EXPECT_THAT(Complete({"wait", "--device-type", "set"}), ElementsAre("set-top-box"));
    EXPECT_THAT(Complete({"wait", "--port", "9"}), ElementsAre("99"));
    EXPECT_THAT(Complete({"monitor", "--type", "scan"}), ElementsAre("scan-progress", "scan-finished"));
    EXPECT_THAT(Complete({"plug", "--inputs", ""}), ElementsAre(":directories"));
    EXPECT_THAT(Complete({"doctor", "--profiles", "x"}), ElementsAre(":files"));
    EXPECT_THAT(Complete({"monitor", "--count", ""}), IsEmpty());
}

TEST_F(Completion, KnowsArguments)
{
    EXPECT_THAT(Complete({"show", ""}), ElementsAre("0", "1", "2", "3", "99"));
    EXPECT_THAT(Complete({"twc", "start", ""}), ElementsAre("0", "1", "2", "3"));
    EXPECT_THAT(Complete({"show", "0", ""}), IsEmpty());
    EXPECT_THAT(Complete({"get", "0", "device_info_"}), ElementsAre("device_info_str1", "device_info_str2"));
    EXPECT_THAT(Complete({"plug", "0", "tiv"}), ElementsAre(":directories", "tivaro-one"));
    EXPECT_THAT(Complete({"classify", "a", "b", ""}), ElementsAre(":directories"));
    EXPECT_THAT(Complete({"call", "sta"}), ElementsAre("status"));
    Set("memory/one\ttwo", "1");
    EXPECT_THAT(Complete({"settings", "get", "memory/o"}), ElementsAre("memory/one\\ttwo"));
}

TEST_F(Completion, GivesNothingOfWhatCannotBeRead)
{
    SetVariable("SRCWATCH_STATE_DIR", "/dev/null/state");
    SetVariable("SRCWATCH_CAPTURES", "/dev/null");

    EXPECT_THAT(Complete({"settings", "get", ""}), IsEmpty());
    EXPECT_THAT(Complete({"plug", "0", ""}), IsEmpty());
}

TEST_F(Completion, WorksInBash)
{
    const std::string script =
        ". \"$0\"; COMP_WORDS=(srcwatchctl \"$@\"); COMP_CWORD=$#; _srcwatchctl; echo "
        "\"${COMPREPLY[*]}\"";
    const auto complete = [&](const Words& words) {
        return RunScript("bash", script, File("srcwatchctl.bash"), words).out;
    };

    EXPECT_EQ(complete({"show", ""}), "0 1 2 3 99\n");
    EXPECT_EQ(complete({"list", "--color", "=", "al"}), "always\n");
    EXPECT_EQ(complete({"list", "--color", "="}), "auto always never\n");
    EXPECT_EQ(complete({"validate", Path("platform.c")}), Path("platform.conf") + "\n");
    EXPECT_EQ(complete({"plug", "0", "/et"}), "/etc\n");
}

// The functions of zsh's completion system are there only in an interactive shell.
TEST_F(Completion, WorksInZsh)
{
    const std::string script =
        "_describe() { print -l -- $candidates }; _files() { print files $@ }; file=$0; words=(srcwatchctl \"$@\"); "
        "CURRENT=$#words; set --; . $file";
    const auto complete = [&](const Words& words) { return RunScript("zsh", script, File("_srcwatchctl"), words).out; };

    EXPECT_EQ(complete({"show", ""}), "0:HDMI 1\n1:HDMI 2\n2:HDMI 3\n3:HDMI 4\n99:optical\n");
    EXPECT_EQ(complete({"list", "--color=al"}), "--color=always\n");
    EXPECT_EQ(complete({"validate", ""}), "files\n");
    EXPECT_EQ(complete({"plug", "0", "tiv"}), "files -/\ntivaro-one\n");
}

TEST_F(Completion, WorksInFish)
{
    const auto complete = [&](const std::string& line) {
        return RunScript("fish", "source " + File("srcwatchctl.fish") + "; complete -C '" + line + "'", "", {}).out;
    };

    EXPECT_THAT(LinesOf(complete("srcwatchctl show ")),
                ElementsAre("0\tHDMI 1", "1\tHDMI 2", "2\tHDMI 3", "3\tHDMI 4", "99\toptical"));
    EXPECT_EQ(complete("srcwatchctl list --color=al"), "--color=always\n");
    EXPECT_THAT(complete("srcwatchctl validate " + Path("platform.c")), testing::StartsWith(Path("platform.conf")));
    EXPECT_THAT(complete("srcwatchctl plug 0 /et"), testing::StartsWith("/etc/"));
}

}  // namespace
