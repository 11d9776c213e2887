// SPDX-License-Identifier: Apache-2.0
#include "Json.h"

#include "Handle.h"

#include <cmath>
#include <memory>

#include <glib.h>
#include <json/reader.h>
#include <json/writer.h>

namespace panel {

std::string ValidText(const std::string& text)
{
    const srcwatch::Handle<char, g_free> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return valid.get();
}

// Invalid bytes can only be inside a text, where their substitute is as good as anywhere.
std::string ToText(const Json::Value& value)
{
    Json::StreamWriterBuilder inOneLine;
    inOneLine["indentation"] = "";
    inOneLine["emitUTF8"] = true;
    inOneLine["precision"] = 15;  // so that 6.9 is 6.9
    return ValidText(Json::writeString(inOneLine, value));
}

std::optional<Json::Value> ParseObject(const std::string& text)
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = 32;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return std::nullopt;
    } catch (const Json::Exception&) {  // nested too deep
        return std::nullopt;
    }
    if (!root.isObject()) return std::nullopt;
    return root;
}

std::optional<int> NumberIn(const Json::Value& object, const char* name)
{
    const Json::Value& member = object[name];
    if (!member.isInt()) return std::nullopt;
    return member.asInt();
}

std::optional<double> DecimalIn(const Json::Value& object, const char* name)
{
    const Json::Value& member = object[name];
    if (!member.isNumeric() || !std::isfinite(member.asDouble())) return std::nullopt;
    return member.asDouble();
}

std::optional<std::string> TextIn(const Json::Value& object, const char* name)
{
    const Json::Value& member = object[name];
    if (!member.isString()) return std::nullopt;
    return member.asString();
}

}  // namespace panel
