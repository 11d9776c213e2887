// SPDX-License-Identifier: Apache-2.0
#include "Arguments.h"

#include "InputName.h"
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

// Reads a text as a number. The text becomes what it was read as, so that the parser cannot read it otherwise ("010").
template <typename Read>
cli::Check Reader(Read read, const std::string& what, const std::vector<std::string>& words = {})
{
    const auto validate = [=](std::string& text) -> std::string {
        const std::optional<int> number = read(text);
        if (!number) return NotA(text, what);
        text = std::to_string(*number);
        return "";
    };
    return {validate, words};
}

std::optional<int> ReadHdmiPort(const std::string& text)
{
    const std::optional<int> port = ParsePort(text);
    return port && srcwatch::IsHdmiPort(*port) ? port : std::nullopt;
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
    if (isName) return srcwatch::IsHdmiPort(*number - 1) ? std::optional<int>(*number - 1) : std::nullopt;
    return *number == SRCWATCH_PORT_OPTICAL || srcwatch::IsHdmiPort(*number) ? number : std::nullopt;
}

cli::Check IsNumber(int lowest, int highest)
{
    const bool isAny = lowest == INT_MIN && highest == INT_MAX;
    const auto read = [=](const std::string& text) {
        const std::optional<int> number = ParseInt(text);
        return number && *number >= lowest && *number <= highest ? number : std::nullopt;
    };
    return Reader(
        read, isAny ? "a 32-bit number" : "a number from " + std::to_string(lowest) + " to " + std::to_string(highest));
}

cli::Check IsDecimal(const std::string& what, double lowest, double highest)
{
    const auto validate = [=](const std::string& text) {
        const std::optional<double> number = ParseDecimal(text);
        return number && *number >= lowest && *number <= highest ? "" : NotA(text, what);
    };
    return {validate};
}

cli::Check IsNumberOrName(const std::string& what, const Names& names)
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

cli::Check IsOneOf(const std::string& what, const std::vector<std::string>& names)
{
    const auto validate = [=](const std::string& text) {
        const bool isKnown = std::find(names.begin(), names.end(), text) != names.end();
        return isKnown ? "" : NotA(text, what + ": use one of " + Joined(names, ", "));
    };
    return {validate, names};
}

cli::Check IsPort() { return Reader(ParsePort, "a port: 0 to 7 are HDMI 1 to 8, 99 is the optical source"); }

cli::Option AddPort(cli::Command command, const std::string& name, int& port)
{
    return command
        .AddOption(name, &port, name.find('-') != std::string::npos ? "PORT" : "",
                   "Port: 0 is HDMI 1, 99 the optical source")
        .Required()
        .CheckedBy(IsPort());
}

cli::Option AddHdmiPort(cli::Command command, int& port)
{
    return command.AddArgument("PORT", &port, "Port: 0 to 7")
        .Required()
        .CheckedBy(Reader(ReadHdmiPort, "an HDMI port: 0 to 7 are HDMI 1 to 8"));
}

cli::Option AddSeconds(cli::Command command, const std::string& name, std::optional<double>& seconds,
                       const std::string& description)
{
    return command.AddOption(name, &seconds, "SECONDS", description)
        .CheckedBy(IsDecimal("a number of seconds from 0 to 1000000", 0, kMostSeconds));
}

cli::Option AddTimeout(cli::Command command, std::optional<double>& seconds, const std::string& description)
{
    return AddSeconds(command, "--timeout", seconds, description);
}

cli::Option AddCount(cli::Command command, int& count, const std::string& description)
{
    return command.AddOption("--count", &count, "N", description).CheckedBy(IsNumber(1, kLargestCount));
}

cli::Option AddInputs(cli::Command command, std::string& directory)
{
    directory = srcwatch::kDefaultInputs;
    return command.AddOption("--inputs", &directory, "DIR", "Inputs directory of the detection service")
        .ReadsVariable(kInputsVariable)
        .ShowsDefault();
}

}  // namespace ctl
