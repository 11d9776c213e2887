// SPDX-License-Identifier: Apache-2.0
#include "Arguments.h"

#include "srcwatch-api.h"

#include <algorithm>
#include <charconv>

#include <glib.h>

namespace ctl {

namespace {

constexpr int kLargestCount = 1'000'000'000;
constexpr double kMostSeconds = 1e6;

template <typename Number>
std::optional<Number> Parse(const std::string& text)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end) return std::nullopt;
    return number;
}

std::string Joined(const std::vector<std::string>& names, const char* separator)
{
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : separator) + name;
    return joined;
}

std::string NotA(const std::string& text, const std::string& what) { return "'" + text + "' is not " + what; }

// Reads a text as a number. The text becomes what it was read as, so that CLI11 cannot read it otherwise ("010").
template <typename Read>
CLI::Validator Reader(Read read, const std::string& what, const std::vector<std::string>& words = {})
{
    const auto validate = [=](std::string& text) -> std::string {
        const std::optional<int> number = read(text);
        if (!number) return NotA(text, what);
        text = std::to_string(*number);
        return "";
    };
    return CLI::Validator(validate, "", Joined(words, " "));
}

std::optional<int> ReadHdmiPort(const std::string& text)
{
    const std::optional<int> port = ParsePort(text);
    return port && IsHdmiPort(*port) ? port : std::nullopt;
}

// Types are written as 0x1001 in the service's interface.
std::optional<int> ReadType(const std::string& text)
{
    if (text.rfind("0x", 0) != 0) return ParseInt(text);
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data() + 2, end, number, 16);
    return error == std::errc() && last == end ? std::optional<int>(number) : std::nullopt;
}

}  // namespace

std::optional<int> ParseInt(const std::string& text) { return Parse<int>(text); }

std::optional<double> ParseDecimal(const std::string& text) { return Parse<double>(text); }

std::optional<int> ParsePort(const std::string& text)
{
    std::string name;
    for (const char c : text) {
        if (c != ' ') name += g_ascii_tolower(c);
    }
    if (name == "optical") return SRCWATCH_PORT_OPTICAL;
    const bool isName = name.rfind("hdmi", 0) == 0;
    const std::optional<int> number = ParseInt(isName ? name.substr(4) : text);
    if (!number) return std::nullopt;
    if (isName) return IsHdmiPort(*number - 1) ? std::optional<int>(*number - 1) : std::nullopt;
    return *number == SRCWATCH_PORT_OPTICAL || IsHdmiPort(*number) ? number : std::nullopt;
}

CLI::App* FindCommand(CLI::App& parent, const std::string& name)
{
    const auto found = parent.get_subcommands([&](CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

CLI::Validator IsNumber(int lowest, int highest)
{
    const bool isAny = lowest == INT_MIN && highest == INT_MAX;
    const auto read = [=](const std::string& text) {
        const std::optional<int> number = ParseInt(text);
        return number && *number >= lowest && *number <= highest ? number : std::nullopt;
    };
    return Reader(
        read, isAny ? "a 32-bit number" : "a number from " + std::to_string(lowest) + " to " + std::to_string(highest));
}

CLI::Validator IsDecimal(const std::string& what, double lowest, double highest)
{
    const auto validate = [=](const std::string& text) {
        const std::optional<double> number = ParseDecimal(text);
        return number && *number >= lowest && *number <= highest ? "" : NotA(text, what);
    };
    return CLI::Validator(validate, "");
}

CLI::Validator IsNumberOrName(const std::string& what, const Names& names)
{
    std::vector<std::string> known;
    for (const auto& entry : names) known.push_back(entry.first);
    const auto read = [=](const std::string& text) {
        for (const auto& [name, number] : names) {
            if (text == name) return std::optional<int>(number);
        }
        return ReadType(text);
    };
    return Reader(read, what + ": use a number, or one of " + Joined(known, ", "), known);
}

CLI::Validator IsOneOf(const std::string& what, const std::vector<std::string>& names)
{
    const auto validate = [=](const std::string& text) {
        const bool isKnown = std::find(names.begin(), names.end(), text) != names.end();
        return isKnown ? "" : NotA(text, what + ": use one of " + Joined(names, ", "));
    };
    return CLI::Validator(validate, "", Joined(names, " "));
}

CLI::Validator IsPort() { return Reader(ParsePort, "a port: 0 to 7 are HDMI 1 to 8, 99 is the optical source"); }

CLI::Option* AddPort(CLI::App* command, const std::string& name, int& port)
{
    return command->add_option(name, port, "Port: 0 is HDMI 1, 99 the optical source")
        ->required()
        ->type_name(name.find('-') != std::string::npos ? "PORT" : "")
        ->transform(IsPort());
}

CLI::Option* AddHdmiPort(CLI::App* command, int& port)
{
    return command->add_option("PORT", port, "Port: 0 to 7")
        ->required()
        ->type_name("")
        ->transform(Reader(ReadHdmiPort, "an HDMI port: 0 to 7 are HDMI 1 to 8"));
}

CLI::Option* AddSeconds(CLI::App* command, const std::string& name, std::optional<double>& seconds,
                        const std::string& description)
{
    return command->add_option(name, seconds, description)
        ->type_name("SECONDS")
        ->check(IsDecimal("a number of seconds from 0 to 1000000", 0, kMostSeconds));
}

CLI::Option* AddTimeout(CLI::App* command, std::optional<double>& seconds, const std::string& description)
{
    return AddSeconds(command, "--timeout", seconds, description);
}

CLI::Option* AddCount(CLI::App* command, int& count, const std::string& description)
{
    return command->add_option("--count", count, description)->type_name("N")->transform(IsNumber(1, kLargestCount));
}

CLI::Option* AddInputs(CLI::App* command, std::string& directory)
{
    directory = "/run/srcwatch/inputs";
    return command->add_option("--inputs", directory, "Inputs directory of the detection service")
        ->envname(kInputsVariable)
        ->type_name("DIR")
        ->capture_default_str();
}

}  // namespace ctl
