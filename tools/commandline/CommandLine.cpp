// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <type_traits>
#include <utility>

#include <CLI/CLI.hpp>

namespace cli {

namespace {

UsageError ToUsageError(const CLI::ParseError& error, std::vector<std::string> unexpected = {})
{
    UsageError usage(error.what());
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    if (code == CLI::ExitCodes::RequiredError) usage.cause = UsageError::Cause::kMissing;
    if (code == CLI::ExitCodes::ExtrasError) usage.cause = UsageError::Cause::kUnexpected;
    usage.unexpected = std::move(unexpected);
    return usage;
}

// Names the commands below the one that was given, if it stands alone and needs one of them.
UsageError AskForCommand(const CLI::App& program, UsageError usage)
{
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
    if (command->get_require_subcommand_min() == 0 || !usage.unexpected.empty()) return usage;
    if (command == &program) return UsageError("a command is required; see --help");
    std::string names;
    for (const CLI::App* const below : command->get_subcommands([](const CLI::App*) { return true; }))
        names += (names.empty() ? "" : ", ") + below->get_name();
    return UsageError(command->get_name() + " needs a command: " + names);
}

// Null if an option has none.
const CLI::Validator* CheckOf(CLI::Option& option)
{
    try {
        return option.get_validator();
    } catch (const CLI::OptionNotFound&) {
        return nullptr;
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Options

Option Option::Required(bool isRequired) const { return Option(m_option->required(isRequired)); }

// The parser has no place for the words but the name of the check.
Option Option::CheckedBy(const Check& check) const
{
    return Option(m_option->transform(CLI::Validator(check.refuse, "", CLI::detail::join(check.words, " "))));
}

Option Option::Excludes(Option other) const { return Option(m_option->excludes(other.m_option)); }

Option Option::Needs(Option other) const { return Option(m_option->needs(other.m_option)); }

Option Option::ReadsVariable(const std::string& name) const { return Option(m_option->envname(name)); }

Option Option::ShowsDefault() const { return Option(m_option->capture_default_str()); }

Option Option::TakesOneEach() const { return Option(m_option->allow_extra_args(false)); }

Option Option::TakesValues(int least, int most) const { return Option(m_option->expected(least, most)); }

std::size_t Option::Count() const { return m_option->count(); }

std::vector<std::string> Option::Texts() const { return m_option->results(); }

void Option::Replace(const std::vector<std::string>& texts) const
try {
    m_option->clear();
    m_option->add_result(texts);
    m_option->run_callback();
} catch (const CLI::ParseError& error) {
    throw ToUsageError(error);
}

void Option::Clear() const { m_option->clear(); }

bool Option::IsArgument() const { return m_option->get_positional(); }

std::string Option::ValueName() const { return IsArgument() ? m_option->get_name(true) : m_option->get_type_name(); }

std::string Option::Description() const { return m_option->get_description(); }

std::vector<std::string> Option::LongNames() const { return m_option->get_lnames(); }

int Option::MostValues() const { return m_option->get_items_expected_max(); }

bool Option::Accepts(std::string text) const
{
    const CLI::Validator* const check = CheckOf(*m_option);
    return check == nullptr || (*check)(text).empty();
}

std::vector<std::string> Option::Words() const
{
    const CLI::Validator* const check = CheckOf(*m_option);
    std::istringstream words(check != nullptr ? check->get_name() : "");
    return {std::istream_iterator<std::string>(words), {}};
}

// ---------------------------------------------------------------------------------------------------------------------
// Commands

Command Command::AddCommand(const std::string& name, const std::string& description) const
{
    return Command(m_app->add_subcommand(name, description));
}

void Command::RequireCommand() const { m_app->require_subcommand(1); }

Option Command::AddArgument(const std::string& name, Target target, const std::string& description) const
{
    return AddOption(name, std::move(target), "", description);
}

Option Command::AddOption(const std::string& name, Target target, const std::string& valueName,
                          const std::string& description) const
{
    const auto add = [&](const auto& to) {
        using To = std::decay_t<decltype(to)>;
        if constexpr (std::is_pointer_v<To>) {
            return m_app->add_option(name, *to, description);
        } else if constexpr (std::is_null_pointer_v<To>) {
            return m_app->add_option(name, CLI::callback_t(), description);
        } else {
            return m_app->add_option_function<std::string>(name, to, description);
        }
    };
    return Option(std::visit(add, target)->type_name(valueName));
}

Option Command::AddFlag(const std::string& name, FlagTarget target, const std::string& description) const
{
    const auto add = [&](const auto& to) {
        using To = std::decay_t<decltype(to)>;
        if constexpr (std::is_pointer_v<To>) {
            return m_app->add_flag(name, *to, description);
        } else if constexpr (std::is_null_pointer_v<To>) {
            return m_app->add_flag(name, description);
        } else {
            return m_app->add_flag_callback(name, to, description);
        }
    };
    return Option(std::visit(add, target));
}

void Command::Runs(std::function<void()> run) const { m_app->callback(std::move(run)); }

bool Command::HasCommand() const { return !m_app->get_subcommands().empty(); }

std::string Command::Name() const { return m_app->get_name(); }

std::string Command::Description() const { return m_app->get_description(); }

// The parser's own help is always that of the command that was given.
std::string Command::Help(const std::string& name) const
{
    std::string help = m_app->get_formatter()->make_help(m_app, name, CLI::AppFormatMode::Normal);
    while (!help.empty() && help.back() == '\n') help.pop_back();
    return help + "\n";
}

Command Command::Parent() const { return Command(m_app->get_parent()); }

std::vector<Command> Command::Commands() const
{
    std::vector<Command> commands;
    for (CLI::App* const command : m_app->get_subcommands([](CLI::App*) { return true; }))
        commands.emplace_back(command);
    return commands;
}

std::vector<Option> Command::Options() const
{
    std::vector<Option> options;
    for (CLI::Option* const option : m_app->get_options()) options.emplace_back(option);
    return options;
}

Command Command::FindCommand(const std::string& name) const
{
    const std::vector<Command> commands = Commands();
    const auto found = std::find_if(commands.begin(), commands.end(), [&](Command c) { return c.Name() == name; });
    return found != commands.end() ? *found : Command(nullptr);
}

Option Command::FindOption(const std::string& name) const { return Option(m_app->get_option_no_throw(name)); }

// ---------------------------------------------------------------------------------------------------------------------
// The program

Program::Program(const std::string& description, const std::string& name)
    : m_app(std::make_unique<CLI::App>(description, name))
{
    m_app->require_subcommand(0, 1);  // at most one, here and below
}

Program::~Program() = default;

void Program::AddVersion(const std::string& text, const std::string& description)
{
    m_app->set_version_flag("--version", text, description);
}

void Program::AddHelpAll(const std::string& description) { m_app->set_help_all_flag("--help-all", description); }

void Program::AllowOptionsAfterCommands() { m_app->fallthrough(); }

bool Program::Parse(std::vector<std::string> words)
try {
    std::reverse(words.begin(), words.end());  // as the parser takes them
    m_app->parse(std::move(words));
    return true;
} catch (const CLI::ParseError& error) {
    const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    if (isMissing) throw AskForCommand(*m_app, ToUsageError(error, m_app->remaining(true)));
    if (error.get_exit_code() != 0) throw ToUsageError(error, m_app->remaining(true));
    m_app->exit(error);
    return false;
}

void Report(const UsageError& error)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "%s\nRun with --help for more information.\n", error.what()));
}

}  // namespace cli
