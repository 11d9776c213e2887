// SPDX-License-Identifier: Apache-2.0
#include "Completion.h"

#include "Captures.h"
#include "Escape.h"
#include "Failure.h"
#include "Ports.h"
#include "Settings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

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

Candidates ValuesOf(cli::Option option)
{
    Candidates values = FromSource(option.ValueName());
    const auto isRefused = [&](const Candidate& candidate) {
        return candidate.word[0] != ':' && !option.Accepts(candidate.word);
    };
    values.erase(std::remove_if(values.begin(), values.end(), isRefused), values.end());
    for (const std::string& word : option.Words()) values.push_back({word, ""});
    return values;
}

// ---------------------------------------------------------------------------------------------------------------------
// Where the word to be completed stands

struct Place {
    cli::Command command;
    cli::Option awaiting = {};  // the option whose value is next
    std::size_t arguments = 0;  // of the command, before the word
};

// Also of the commands above, as the options of the program may stand behind a command.
cli::Option FindOption(cli::Command command, const std::string& name)
{
    for (; command; command = command.Parent()) {
        if (const cli::Option option = command.FindOption(name)) return option;
    }
    return {};
}

void Pass(const std::string& word, Place& place)
{
    if (place.awaiting) {
        place.awaiting = {};
    } else if (word.size() > 1 && word[0] == '-') {
        const bool isWhole = word.find('=') == std::string::npos;
        const cli::Option option = isWhole ? FindOption(place.command, word) : cli::Option();
        if (option && option.MostValues() > 0) place.awaiting = option;
    } else if (const cli::Command command = place.command.FindCommand(word)) {
        place.command = command;
        place.arguments = 0;
    } else {
        ++place.arguments;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What may stand there

Candidates OptionsOf(cli::Command command)
{
    Candidates options;
    for (; command; command = command.Parent()) {
        for (const cli::Option option : command.Options()) {
            for (const std::string& name : option.LongNames()) options.push_back({"--" + name, option.Description()});
        }
    }
    return options;
}

// The last argument of a command may be any number.
cli::Option ArgumentAt(const Place& place)
{
    cli::Option last;
    std::size_t index = 0;
    for (const cli::Option option : place.command.Options()) {
        if (!option.IsArgument()) continue;
        if (index++ == place.arguments) return option;
        last = option;
    }
    return last && last.MostValues() > 1 ? last : cli::Option();
}

Candidates CommandsAndArguments(const Place& place)
{
    Candidates candidates;
    if (place.arguments == 0) {
        for (const cli::Command command : place.command.Commands()) {
            candidates.push_back({command.Name(), command.Description()});
        }
    }
    if (const cli::Option argument = ArgumentAt(place)) {
        for (Candidate& value : ValuesOf(argument)) candidates.push_back(std::move(value));
    }
    return candidates;
}

}  // namespace

std::vector<std::string> Complete(cli::Command app, const std::vector<std::string>& words)
{
    Place place{app};
    for (std::size_t i = 0; i + 1 < words.size(); ++i) Pass(words[i], place);
    const std::string word = words.empty() ? "" : words.back();
    const std::size_t equals = word.find('=');
    const bool isOption = !place.awaiting && word[0] == '-';

    Candidates candidates;
    std::string prefix;  // of the word, that the candidates are without
    if (isOption && equals != std::string::npos) {
        prefix = word.substr(0, equals + 1);
        place.awaiting = FindOption(place.command, word.substr(0, equals));
        if (!place.awaiting) return {};
    }
    if (place.awaiting) {
        candidates = ValuesOf(place.awaiting);
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
