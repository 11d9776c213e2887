// SPDX-License-Identifier: Apache-2.0
#include "Completion.h"

#include "Arguments.h"
#include "Captures.h"
#include "Escape.h"
#include "Failure.h"
#include "Ports.h"
#include "Settings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace ctl {

namespace {

constexpr const char* kFiles = ":files";
constexpr const char* kDirectories = ":directories";

struct Candidate {
    std::string word;
    std::string description;
};
using Candidates = std::vector<Candidate>;

// ---------------------------------------------------------------------------------------------------------------------
// What a value may be

Candidates Ports()
{
    Candidates ports;
    for (const int port : AllPorts()) ports.push_back({std::to_string(port), PortName(port)});
    return ports;
}

Candidates Keys()
{
    Candidates keys;
    const auto add = [](const char* key, const srcwatch_host_value* /*value*/, void* list) {
        static_cast<Candidates*>(list)->push_back({key, ""});
    };
    ListSettings(add, &keys);
    return keys;
}

Candidates Captures()
{
    const char* const given = std::getenv(kCapturesVariable);  // NOLINT(concurrency-mt-unsafe): is never set here
    Candidates captures{{kDirectories, ""}};
    for (const std::filesystem::path path : FindCaptures(given != nullptr ? given : SRCWATCH_CAPTURES_DIR)) {
        captures.push_back({path.filename(), ""});
    }
    return captures;
}

struct Source {
    const char* name;  // of an argument, or of the type of an option's value
    Candidates (*list)();
};
constexpr Source kSources[] = {
    {"PORT", Ports},
    {"KEY", Keys},
    {"CAPTURE", Captures},
    {"FILE",
     [] {
         return Candidates{{kFiles, ""}};
     }},
    {"PATH",
     [] {
         return Candidates{{kFiles, ""}};
     }},
    {"DIR",
     [] {
         return Candidates{{kDirectories, ""}};
     }},
};

// What cannot be read now gives no candidates.
Candidates FromSource(const std::string& name)
{
    try {
        for (const Source& source : kSources) {
            if (name == source.name) return source.list();
        }
    } catch (const Failure&) {
    }
    return {};
}

// Null if the option has none.
const CLI::Validator* CheckOf(CLI::Option& option)
{
    try {
        return option.get_validator();
    } catch (const CLI::OptionNotFound&) {
        return nullptr;
    }
}

// A check that accepts certain words has them as its name.
Candidates ValuesOf(CLI::Option& option)
{
    const std::string name = option.get_positional() ? option.get_name(true) : option.get_type_name();
    Candidates values = FromSource(name);
    const CLI::Validator* const check = CheckOf(option);
    if (check == nullptr) return values;
    const auto isRefused = [&](Candidate candidate) {
        return candidate.word[0] != ':' && !(*check)(candidate.word).empty();
    };
    values.erase(std::remove_if(values.begin(), values.end(), isRefused), values.end());
    std::istringstream words(check->get_name());
    for (std::string word; words >> word;) values.push_back({word, ""});
    return values;
}

// ---------------------------------------------------------------------------------------------------------------------
// Where the word to be completed stands

struct Place {
    CLI::App* command;
    CLI::Option* awaiting = nullptr;  // the option whose value is next
    std::size_t arguments = 0;        // of the command, before the word
};

// Also of the commands above, as the options of the program may stand behind a command.
CLI::Option* FindOption(CLI::App* command, const std::string& name)
{
    for (; command != nullptr; command = command->get_parent()) {
        if (CLI::Option* const option = command->get_option_no_throw(name)) return option;
    }
    return nullptr;
}

void Pass(const std::string& word, Place& place)
{
    if (place.awaiting != nullptr) {
        place.awaiting = nullptr;
    } else if (word.size() > 1 && word[0] == '-') {
        CLI::Option* const option = word.find('=') == std::string::npos ? FindOption(place.command, word) : nullptr;
        if (option != nullptr && option->get_items_expected_max() > 0) place.awaiting = option;
    } else if (CLI::App* const command = FindCommand(*place.command, word)) {
        place.command = command;
        place.arguments = 0;
    } else {
        ++place.arguments;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What may stand there

Candidates OptionsOf(CLI::App* command)
{
    Candidates options;
    for (; command != nullptr; command = command->get_parent()) {
        for (const CLI::Option* const option : command->get_options()) {
            for (const std::string& name : option->get_lnames())
                options.push_back({"--" + name, option->get_description()});
        }
    }
    return options;
}

// The last argument of a command may be any number.
CLI::Option* ArgumentAt(const Place& place)
{
    const auto arguments = place.command->get_options([](CLI::Option* option) { return option->get_positional(); });
    if (place.arguments < arguments.size()) return arguments[place.arguments];
    const bool hasMore = !arguments.empty() && arguments.back()->get_items_expected_max() > 1;
    return hasMore ? arguments.back() : nullptr;
}

Candidates CommandsAndArguments(const Place& place)
{
    Candidates candidates;
    if (place.arguments == 0) {
        for (const CLI::App* const command : place.command->get_subcommands([](const CLI::App*) { return true; })) {
            candidates.push_back({command->get_name(), command->get_description()});
        }
    }
    if (CLI::Option* const argument = ArgumentAt(place)) {
        for (Candidate& value : ValuesOf(*argument)) candidates.push_back(std::move(value));
    }
    return candidates;
}

}  // namespace

std::vector<std::string> Complete(CLI::App& app, const std::vector<std::string>& words)
{
    Place place{&app};
    for (std::size_t i = 0; i + 1 < words.size(); ++i) Pass(words[i], place);
    const std::string word = words.empty() ? "" : words.back();
    const std::size_t equals = word.find('=');
    const bool isOption = place.awaiting == nullptr && word[0] == '-';

    Candidates candidates;
    std::string prefix;  // of the word, that the candidates are without
    if (isOption && equals != std::string::npos) {
        prefix = word.substr(0, equals + 1);
        place.awaiting = FindOption(place.command, word.substr(0, equals));
        if (place.awaiting == nullptr) return {};
    }
    if (place.awaiting != nullptr) {
        candidates = ValuesOf(*place.awaiting);
    } else {
        candidates = isOption ? OptionsOf(place.command) : CommandsAndArguments(place);
    }

    std::vector<std::string> lines;
    for (const Candidate& candidate : candidates) {
        const bool isForShell = candidate.word[0] == ':';
        const std::string line = (isForShell ? "" : prefix) + Escape(candidate.word);
        if (!isForShell && line.rfind(word, 0) != 0) continue;
        lines.push_back(line + (candidate.description.empty() ? "" : "\t" + Escape(candidate.description)));
    }
    return lines;
}

}  // namespace ctl
