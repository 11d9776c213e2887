// SPDX-License-Identifier: Apache-2.0
//
// JSON as it goes to and comes from the browser.
#ifndef SRCWATCH_PANEL_JSON_H
#define SRCWATCH_PANEL_JSON_H

#include <optional>
#include <string>

#include <json/value.h>

namespace panel {

/// Returns a text in UTF-8: what is not valid in it is replaced.
std::string ValidText(const std::string& text);

/// Returns a value in one line of UTF-8, whatever bytes its texts have.
std::string ToText(const Json::Value& value);

/// Reads an object. Returns nothing if a text is anything else, has anything behind it, or is nested too deep.
std::optional<Json::Value> ParseObject(const std::string& text);

/// @name Members of an object from outside; nothing if one is absent, null or of another kind
/// @{
std::optional<int> NumberIn(const Json::Value& object, const char* name);
std::optional<double> DecimalIn(const Json::Value& object, const char* name);
std::optional<std::string> TextIn(const Json::Value& object, const char* name);
/// @}

}  // namespace panel

#endif
