// SPDX-License-Identifier: Apache-2.0
//
// srcwatchctl: command line, and the end of the program.
#include "Arguments.h"
#include "Commands.h"
#include "Escape.h"
#include "Failure.h"
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

void AddCommands(CLI::App& app, ctl::Output& output)
{
    ctl::AddPortCommands(app, output);
    ctl::AddExplainCommand(app, output);
    ctl::AddEventCommands(app, output);
    ctl::AddScanCommands(app, output);
    ctl::AddStateCommands(app, output);
    ctl::AddSettingsCommands(app, output);
    ctl::AddInputCommands(app, output);
    ctl::AddCaptureCommands(app, output);
    ctl::AddUnknownCommands(app, output);
    ctl::AddClassifyCommand(app, output);
    ctl::AddValidateCommand(app, output);
    ctl::AddDoctorCommand(app, output);
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
    app.add_flag("--log", "Show the library's log on standard error");  // see LogSink.cpp
    AddCommands(app, output);
}

// A word that is not a command makes the command missing, which is not what the caller needs to know.
std::string Describe(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> unknown = app.remaining(true);
    const bool missing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    if (!missing) return error.what();
    if (unknown.empty()) return std::string(error.what()) + "; see --help";
    return "'" + unknown.front() + "' is not a command; see --help";
}

int Fail(const char* text, int code)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatchctl: %s\n", ctl::Escape(text).c_str()));
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
