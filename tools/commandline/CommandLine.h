// SPDX-License-Identifier: Apache-2.0
//
// Command lines: commands, their options and their arguments. What is read, what help shows and what completion offers
// comes from one description. The parser itself is seen by one file alone, as each that sees it is long in compiling.
#ifndef SRCWATCH_TOOLS_COMMANDLINE_COMMANDLINE_H
#define SRCWATCH_TOOLS_COMMANDLINE_COMMANDLINE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace CLI {  // NOLINT(readability-identifier-naming): the parser's
class App;
class Option;
}  // namespace CLI

namespace cli {

/// Wrong usage; what() says what is wrong.
struct UsageError : std::runtime_error {
    enum class Cause { kMissing, kUnexpected, kOther };

    explicit UsageError(const std::string& what) : std::runtime_error(what) {}

    Cause cause = Cause::kOther;
    std::vector<std::string> unexpected;  ///< words that are left over
};

/// What a value may be.
struct Check {
    /// Returns why a text is refused, or an empty text. May change the text into what is to be read instead.
    std::function<std::string(std::string& text)> refuse;
    std::vector<std::string> words = {};  ///< that are accepted, for completion
};

/// Where a value is stored, or what is called with it; null where nothing but the check has to see it.
using Target = std::variant<std::nullptr_t, std::string*, int*, unsigned*, double*, std::optional<int>*,
                            std::optional<double>*, std::optional<std::string>*, std::vector<std::string>*,
                            std::vector<int>*, std::function<void(const std::string&)>>;

/// Where it is stored that a flag is given, or what is called then; null for neither.
using FlagTarget = std::variant<std::nullptr_t, bool*, std::function<void()>>;

/// An option, a flag or an argument of a command. Valid as long as the program; false if there is none.
class Option {
public:
    Option() = default;
    explicit Option(CLI::Option* option) : m_option(option) {}
    explicit operator bool() const { return m_option != nullptr; }

    /// @name Definition
    /// @{
    Option Required(bool isRequired = true) const;
    Option CheckedBy(const Check& check) const;
    Option Excludes(Option other) const;
    Option Needs(Option other) const;
    Option ReadsVariable(const std::string& name) const;  ///< of the environment, if it is not given
    Option ShowsDefault() const;                          ///< the value that the target has now, in the help
    Option TakesOneEach() const;                          ///< value each time that it is given, of a list
    Option TakesValues(int least, int most) const;
    /// @}

    /// @name What was given
    /// @{
    std::size_t Count() const;
    std::vector<std::string> Texts() const;
    void Replace(const std::vector<std::string>& texts) const;  ///< Throws a UsageError for a text that is refused.
    void Clear() const;                                         ///< Leaves the target.
    /// @}

    /// @name Description
    /// @{
    bool IsArgument() const;
    std::string ValueName() const;  ///< the name of an argument, or that of an option's value
    std::string Description() const;
    std::vector<std::string> LongNames() const;  ///< without "--"
    int MostValues() const;
    bool Accepts(std::string text) const;
    std::vector<std::string> Words() const;  ///< of the check
    /// @}

private:
    CLI::Option* m_option = nullptr;
};

/// A program, or a command of it. Valid as long as the program; false if there is none.
class Command {
public:
    explicit Command(CLI::App* app) : m_app(app) {}
    explicit operator bool() const { return m_app != nullptr; }

    /// @name Definition
    /// @{
    /// Adds a command below this one. At most one of them can be given.
    Command AddCommand(const std::string& name, const std::string& description) const;
    void RequireCommand() const;
    Option AddArgument(const std::string& name, Target target, const std::string& description) const;
    Option AddOption(const std::string& name, Target target, const std::string& valueName,
                     const std::string& description) const;
    Option AddFlag(const std::string& name, FlagTarget target, const std::string& description) const;
    /// Sets what is done if the command is given, when all of the command line has been read.
    void Runs(std::function<void()> run) const;
    /// @}

    /// Returns true if a command below this one was given.
    bool HasCommand() const;

    /// @name Description
    /// @{
    std::string Name() const;
    std::string Description() const;
    std::string Help(const std::string& name) const;  ///< in which the command has this name
    Command Parent() const;
    std::vector<Command> Commands() const;
    std::vector<Option> Options() const;
    Command FindCommand(const std::string& name) const;
    Option FindOption(const std::string& name) const;
    /// @}

private:
    CLI::App* m_app;
};

/// What the command line of a program may be. Has the option --help.
class Program {
public:
    Program(const std::string& description, const std::string& name);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    /// The program's own options, and its commands.
    Command Root() const { return Command(m_app.get()); }

    void AddVersion(const std::string& text, const std::string& description);
    void AddHelpAll(const std::string& description);
    /// Lets the options of the program, and of a command, also stand after a command below. Has to come before them.
    void AllowOptionsAfterCommands();

    /// Reads the words after the program's name, and runs the command that they are. Returns false if help or version
    /// were wanted and have been printed. Throws a UsageError for what cannot be read.
    bool Parse(std::vector<std::string> words);

private:
    const std::unique_ptr<CLI::App> m_app;
};

/// Writes what is wrong to standard error, and where there is help.
void Report(const UsageError& error);

}  // namespace cli

#endif
