// SPDX-License-Identifier: Apache-2.0
#include "JsonText.h"

#include "Prefix.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include <json/reader.h>

namespace srcwatch {

namespace {

bool Read(const Json::CharReaderBuilder& builder, const std::string& text, Json::Value& root, std::string& messages)
{
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), &root, &messages);
    } catch (const Json::Exception& e) {  // nested too deep
        messages = e.what();
        return false;
    }
}

// The reader formats its errors as "* Line 3, Column 5", with the message on the next line.
std::vector<JsonText::SyntaxError> ToErrors(const std::string& messages)
{
    constexpr std::string_view kStart = "* Line ";
    std::vector<JsonText::SyntaxError> errors;
    std::string_view rest = messages;
    for (std::size_t at = 0; (at = rest.find(kStart)) != std::string_view::npos;) {
        rest.remove_prefix(at + kStart.size());
        const std::string line = TakeDigits(rest);
        if (line.empty() || !TakePrefix(", Column ", rest)) continue;
        const std::string column = TakeDigits(rest);
        if (column.empty() || !TakePrefix("\n  ", rest)) continue;
        const std::string_view what = rest.substr(0, rest.find('\n'));
        errors.push_back({std::stoi(line), ("column " + column + ": ").append(what)});
        rest.remove_prefix(what.size());
    }
    if (errors.empty()) errors.push_back({0, messages});
    return errors;
}

}  // namespace

std::optional<Json::Value> ParseJson(const std::string& text)
{
    Json::Value root;
    std::string messages;
    if (!Read(Json::CharReaderBuilder(), text, root, messages)) return std::nullopt;
    return root;
}

JsonText::JsonText(std::string text) : m_text(std::move(text)), m_root(ParseJson(m_text))
{
    Json::CharReaderBuilder strict;
    strict["failIfExtra"] = true;
    strict["rejectDupKeys"] = true;
    Json::Value root;
    std::string messages;
    if (!Read(strict, m_text, root, messages)) m_errors = ToErrors(messages);
}

int JsonText::LineOf(const Json::Value& value) const
{
    const auto offset =
        std::clamp<std::ptrdiff_t>(value.getOffsetStart(), 0, static_cast<std::ptrdiff_t>(m_text.size()));
    return 1 + static_cast<int>(std::count(m_text.begin(), m_text.begin() + offset, '\n'));
}

}  // namespace srcwatch
