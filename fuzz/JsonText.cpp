// SPDX-License-Identifier: Apache-2.0
#include "JsonText.h"

#include <memory>

namespace fuzz {
namespace {

constexpr unsigned kMostElements = 4;
constexpr std::size_t kLongestText = 120;

std::string Value(Input& input, const Names& names, int depth);

std::string Array(Input& input, const Names& names, int depth)
{
    std::string text = "[";
    for (unsigned left = input.Below(kMostElements + 1); left > 0; --left) {
        text += Value(input, names, depth) + (left > 1 ? "," : "");
    }
    return text + "]";
}

std::string Name(Input& input, const Names& names)
{
    const std::size_t which = input.Byte();
    return which < 0xf0 ? names[which % names.size()] : input.Text(kLongestText);
}

std::string Object(Input& input, const Names& names, int depth)
{
    std::string text = "{";
    for (unsigned left = input.Below(kMostElements + 1); left > 0; --left) {
        text += JsonString(Name(input, names)) + ":";
        text += Value(input, names, depth) + (left > 1 ? "," : "");
    }
    return text + "}";
}

std::string Value(Input& input, const Names& names, int depth)
{
    constexpr int kDeepest = 5;
    const unsigned kind = input.Below(depth < kDeepest ? 12 : 8);
    switch (kind) {
        case 0:
            return "null";
        case 1:
            return input.Below(2) == 0 ? "true" : "false";
        case 2:
        case 3:
        case 4:
            return JsonNumber(input);
        case 8:
        case 9:
            return Array(input, names, depth + 1);
        case 10:
        case 11:
            return Object(input, names, depth + 1);
        default:
            return JsonString(input.Text(kLongestText));
    }
}

}  // namespace

std::string JsonValue(Input& input, const Names& names) { return Value(input, names, 0); }

std::string JsonString(const std::string& text)
{
    std::string escaped = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') escaped += '\\';
        escaped += c == '\0' ? std::string("\\u0000") : std::string(1, c);
    }
    return escaped + "\"";
}

std::string JsonNumber(Input& input)
{
    switch (input.Below(16)) {
        case 0:
            return std::to_string(input.Number()) + ".5";
        case 1:
            return std::to_string(input.Number()) + "e" + std::to_string(static_cast<std::int8_t>(input.Byte()));
        case 2:
            return std::to_string(input.Number()) + std::to_string(static_cast<std::uint32_t>(input.Number()));
        case 3:
        case 4:
            return std::to_string(input.Number());
        default:
            return std::to_string(static_cast<std::int8_t>(input.Byte()));
    }
}

bool Parse(const std::string& text, Json::Value& root)
{
    static Json::CharReader& reader = *Json::CharReaderBuilder().newCharReader();
    std::string errors;
    try {
        return reader.parse(text.data(), text.data() + text.size(), &root, &errors);
    } catch (const Json::Exception&) {  // nested too deep
        return false;
    }
}

}  // namespace fuzz
