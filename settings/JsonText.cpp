// SPDX-License-Identifier: Apache-2.0
#include "JsonText.h"

#include <algorithm>
#include <memory>
#include <regex>

#include <json/reader.h>

namespace srcwatch {

std::optional<Json::Value> ParseJson(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return std::nullopt;
    } catch (const Json::Exception&) {  // nested too deep
        return std::nullopt;
    }
    return root;
}

JsonText::JsonText(std::string text) : m_Text(std::move(text))
{
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string messages;
    try {
        if (reader->parse(m_Text.data(), m_Text.data() + m_Text.size(), &m_Root, &messages)) return;
        AddErrors(messages);
    } catch (const Json::Exception& e) {  // nested too deep
        m_Errors.push_back({std::nullopt, e.what()});
    }
    m_Root = Json::nullValue;
}

// The reader gives its errors as "* Line 3, Column 5", with the message on the next line.
void JsonText::AddErrors(const std::string& messages)
{
    static const std::regex kError("\\* Line ([0-9]+), Column ([0-9]+)\n  ([^\n]*)");
    for (std::sregex_iterator it(messages.begin(), messages.end(), kError), end; it != end; ++it) {
        m_Errors.push_back({std::stoi((*it)[1]), "column " + (*it)[2].str() + ": " + (*it)[3].str()});
    }
    if (m_Errors.empty()) m_Errors.push_back({std::nullopt, messages});
}

int JsonText::LineOf(const Json::Value& value) const
{
    const auto offset =
        std::clamp<std::ptrdiff_t>(value.getOffsetStart(), 0, static_cast<std::ptrdiff_t>(m_Text.size()));
    return 1 + static_cast<int>(std::count(m_Text.begin(), m_Text.begin() + offset, '\n'));
}

}  // namespace srcwatch
