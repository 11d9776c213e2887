// SPDX-License-Identifier: Apache-2.0
//
// A JSON text and what was read from it, with the way back from a value to its line.
#ifndef SRCWATCH_SETTINGS_JSONTEXT_H
#define SRCWATCH_SETTINGS_JSONTEXT_H

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace srcwatch {

/// Reads a text as the library does, which ignores what follows the value. Returns nothing if it is not JSON.
std::optional<Json::Value> ParseJson(const std::string& text);

class JsonText {
public:
    struct SyntaxError {
        int line;  ///< from 1; 0 if it is not known
        std::string why;
    };

    explicit JsonText(std::string text);

    /// Returns true if the library can read the text.
    bool IsJson() const { return m_root.has_value(); }

    /// Returns what a strict reader finds: nothing may follow the value, and no member may occur twice.
    const std::vector<SyntaxError>& Errors() const { return m_errors; }

    /// Returns the value as the library reads it; null if it is not JSON.
    const Json::Value& Root() const { return m_root ? *m_root : Json::Value::nullSingleton(); }

    /// Returns the line on which a value of this text begins.
    int LineOf(const Json::Value& value) const;

private:
    std::string m_text;
    std::optional<Json::Value> m_root;
    std::vector<SyntaxError> m_errors;
};

}  // namespace srcwatch

#endif
