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

/// A text as the library reads it: what follows the value is ignored. Nothing when it is no JSON.
std::optional<Json::Value> ParseJson(const std::string& text);

class JsonText {
public:
    struct SyntaxError {
        int line;  ///< from 1; 0 when it is not known
        std::string why;
    };

    explicit JsonText(std::string text);

    /// Whether the library can read it.
    bool IsJson() const { return m_isJson; }

    /// What a strict reader finds: nothing may follow the value, and no member may be given twice.
    const std::vector<SyntaxError>& Errors() const { return m_errors; }

    /// The value as the library reads it; null when it is no JSON.
    const Json::Value& Root() const { return m_root; }

    /// The line on which a value begins that was read from this text.
    int LineOf(const Json::Value& value) const;

private:
    void ReadStrictly();
    void AddErrors(const std::string& messages);

    std::string m_text;
    bool m_isJson;
    Json::Value m_root;
    std::vector<SyntaxError> m_errors;
};

}  // namespace srcwatch

#endif
