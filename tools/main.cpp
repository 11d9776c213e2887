// SPDX-License-Identifier: Apache-2.0
//
// srcwatchctl: command line, and the end of the program.
#include "Arguments.h"
#include "Commands.h"
#include "Completion.h"
#include "Failure.h"
#include "Note.h"
#include "Output.h"
#include "srcwatch-version.h"

#include <clocale>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>

namespace {

const std::map<std::string, ctl::Format> kFormats = {{"table", ctl::Format::kTable},
                                                     {"json", ctl::Format::kJson},
                                                     {"jsonl", ctl::Format::kJsonl},
                                                     {"raw", ctl::Format::kRaw}};

const std::map<std::string, ctl::Colours> kColours = {
    {"auto", ctl::Colours::kOnTerminal}, {"always", ctl::Colours::kAlways}, {"never", ctl::Colours::kNever}};

// A word that is not a command makes the command missing, which is not what the caller needs to know.
std::string Describe(const cli::UsageError& error)
{
    if (error.cause == cli::UsageError::Cause::kOther) return error.what();
    if (error.unexpected.empty()) return std::string(error.what()) + "; see --help";
    const std::string& word = error.unexpected.front();
    const bool isMissing = error.cause == cli::UsageError::Cause::kMissing;
    const char* const what = word[0] == '-' ? "an option" : isMissing ? "a command" : "expected here";
    return "'" + word + "' is not " + what + "; see --help";
}

void AddHelp(cli::Command app, ctl::Output& output)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    const cli::Command help = app.AddCommand("help", "Print the help of the program or of a command");
    help.AddArgument("COMMAND", words.get(), "Command, one or two words");
    help.Runs([=, &output] {
        cli::Command command = app;
        std::string name = app.Name();
        for (const std::string& word : *words) {
            command = command.FindCommand(word);
            if (!command) throw ctl::Failure("'" + word + "' is not a command; see --help", ctl::kUsage);
            name += " " + word;
        }
        output.WriteText(Json::Value(command.Help(name)), command.Help(name));
    });
}

void AddCommands(cli::Command app, ctl::Output& output)
{
    ctl::AddPortCommands(app, output);
    ctl::AddExplainCommand(app, output);
    ctl::AddEventCommands(app, output);
    ctl::AddScanCommands(app, output);
    ctl::AddStateCommands(app, output);
    ctl::AddStatisticsCommand(app, output);
    ctl::AddSettingsCommands(app, output);
    ctl::AddInputCommands(app, output);
    ctl::AddCaptureCommands(app, output);
    ctl::AddUnknownCommands(app, output);
    ctl::AddClassifyCommand(app, output);
    ctl::AddValidateCommand(app, output);
    ctl::AddDoctorCommand(app, output);
    ctl::AddRecordCommands(app, output);
    ctl::AddReportCommand(app, output);
    AddHelp(app, output);
}

void Define(cli::Program& program, ctl::Output& output)
{
    program.AllowOptionsAfterCommands();
    program.AddHelpAll("Print the help of all commands and exit");
    program.AddVersion("srcwatchctl " SRCWATCH_VERSION, "Print the version and exit");
    const cli::Command app = program.Root();
    app.RequireCommand();
    const auto setFormat = [&output](const std::string& name) { output.SetFormat(kFormats.at(name)); };
    app.AddOption("-o,--output", setFormat, "FORM", "Form of the output: table, json, jsonl or raw")
        .CheckedBy(ctl::IsOneOf("a form of output", {"table", "json", "jsonl", "raw"}));
    const auto setColours = [&output](const std::string& name) { output.SetColours(kColours.at(name)); };
    app.AddOption("--color", setColours, "WHEN", "Colours: auto (on a terminal), always or never")
        .CheckedBy(ctl::IsOneOf("a choice of colours", {"auto", "always", "never"}));
    app.AddFlag(
        "--no-trunc", [&output] { output.DisregardWidth(); }, "Do not shorten tables to the width of the terminal");
    app.AddFlag("--log", nullptr, "Show the library's log on standard error");  // see LogSink.cpp
    AddCommands(app, output);
}

// The completions of shells ask "complete", which no help shows, for what may come next.
void PrintCandidates(cli::Command app, const std::vector<std::string>& words)
{
    for (const std::string& line : ctl::Complete(app, words)) std::puts(line.c_str());
}

int Fail(const char* text, int code)
{
    ctl::Note(text);
    return code;
}

}  // namespace

int main(int argc, char** argv)
try {
    static_cast<void>(std::setlocale(LC_ALL, ""));  // a locale that does not exist leaves "C"
    const std::vector<std::string> words(argv + 1, argv + argc);
    cli::Program program("Inspect and control device detection", "srcwatchctl");
    ctl::Output output;
    Define(program, output);
    try {
        if (!words.empty() && words[0] == "complete") {
            PrintCandidates(program.Root(), {words.begin() + 1, words.end()});
        } else {
            program.Parse(words.empty() ? std::vector<std::string>{"--help"} : words);
        }
    } catch (const cli::UsageError& error) {
        return Fail(Describe(error).c_str(), ctl::kUsage);
    } catch (const ctl::Failure& failure) {
        return Fail(failure.what(), failure.Code());
    }
    return ctl::kDone;
} catch (const std::exception& e) {
    return Fail(e.what(), ctl::kFailed);
}
