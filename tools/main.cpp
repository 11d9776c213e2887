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

namespace {

const std::map<std::string, ctl::Format> kFormats = {{"table", ctl::Format::kTable},
                                                     {"json", ctl::Format::kJson},
                                                     {"jsonl", ctl::Format::kJsonl},
                                                     {"raw", ctl::Format::kRaw}};

const std::map<std::string, ctl::Colours> kColours = {
    {"auto", ctl::Colours::kOnTerminal}, {"always", ctl::Colours::kAlways}, {"never", ctl::Colours::kNever}};

// A word that is not a command makes the command missing, which is not what the caller needs to know.
std::string Describe(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> unknown = app.remaining(true);
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const bool isMissing = code == CLI::ExitCodes::RequiredError;
    if (!isMissing && code != CLI::ExitCodes::ExtrasError) return error.what();
    if (unknown.empty()) return std::string(error.what()) + "; see --help";
    const std::string& word = unknown.front();
    const char* const what = word[0] == '-' ? "an option" : isMissing ? "a command" : "expected here";
    return "'" + word + "' is not " + what + "; see --help";
}

// CLI11's own help is always that of the command that was given.
std::string HelpOf(const CLI::App& command, const std::string& name)
{
    std::string help = command.get_formatter()->make_help(&command, name, CLI::AppFormatMode::Normal);
    while (!help.empty() && help.back() == '\n') help.pop_back();
    return help + "\n";
}

void AddHelp(CLI::App& app, ctl::Output& output)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const help = app.add_subcommand("help", "Print the help of the program or of a command");
    help->add_option("COMMAND", *words, "Command, of one word or two")->type_name("");
    help->callback([=, &app, &output] {
        CLI::App* command = &app;
        std::string name = app.get_name();
        for (const std::string& word : *words) {
            command = ctl::FindCommand(*command, word);
            if (command == nullptr) throw ctl::Failure("'" + word + "' is not a command; see --help", ctl::kUsage);
            name += " " + word;
        }
        output.WriteText(Json::Value(HelpOf(*command, name)), HelpOf(*command, name));
    });
}

void AddCommands(CLI::App& app, ctl::Output& output)
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

void Define(CLI::App& app, ctl::Output& output)
{
    app.fallthrough();  // the options of the program may stand behind a command
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    app.set_version_flag("--version", "srcwatchctl " SRCWATCH_VERSION, "Print the version and exit");
    const auto setFormat = [&output](const std::string& name) { output.SetFormat(kFormats.at(name)); };
    app.add_option_function<std::string>("-o,--output", setFormat, "Form of the output: table, json, jsonl or raw")
        ->type_name("FORM")
        ->check(ctl::IsOneOf("a form of output", {"table", "json", "jsonl", "raw"}));
    const auto setColours = [&output](const std::string& name) { output.SetColours(kColours.at(name)); };
    app.add_option_function<std::string>("--color", setColours, "Colours: auto (on a terminal), always or never")
        ->type_name("WHEN")
        ->check(ctl::IsOneOf("a choice of colours", {"auto", "always", "never"}));
    app.add_flag_callback(
        "--no-trunc", [&output] { output.DisregardWidth(); }, "Write tables whole, however wide the terminal is");
    app.add_flag("--log", "Show the library's log on standard error");  // see LogSink.cpp
    AddCommands(app, output);
}

// The completions of shells ask "complete", which no help shows, for what may come next.
void PrintCandidates(CLI::App& app, const std::vector<std::string>& words)
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
    CLI::App app("Looks at and commands the detection of the devices on the TV's inputs.", "srcwatchctl");
    ctl::Output output;
    Define(app, output);
    try {
        if (argc > 1 && argv[1] == std::string("complete")) {
            PrintCandidates(app, {argv + 2, argv + argc});
            return ctl::kDone;
        }
        if (argc == 1) return app.exit(CLI::CallForHelp());
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() != 0) return Fail(Describe(app, e).c_str(), ctl::kUsage);
        return app.exit(e);
    } catch (const ctl::Failure& failure) {
        return Fail(failure.what(), failure.Code());
    }
    return ctl::kDone;
} catch (const std::exception& e) {
    return Fail(e.what(), ctl::kFailed);
}
