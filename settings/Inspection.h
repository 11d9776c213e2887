// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a stored document: one verdict for the service, which reads it, and for the tools, which show it.
#ifndef SRCWATCH_SETTINGS_INSPECTION_H
#define SRCWATCH_SETTINGS_INSPECTION_H

#include "JsonText.h"

#include <string>
#include <vector>

#include <json/value.h>

namespace srcwatch {

enum class StoredKind { kActivity, kOptical, kStatistics };

struct Finding {
    int line;         ///< from 1; 0 where the form has no lines
    std::string key;  ///< path of the member; empty for the whole
    std::string why;
    bool isReadable;  ///< the library makes something of it all the same

    /// "line 2: activity[0].BName: is no text"
    std::string Text() const;
};

/// A document is readable when the library loses nothing of it that it looks for: a number where a text belongs is
/// converted, a list there is not. It is clean when it is as the service writes it.
struct Inspection {
    std::vector<Finding> findings;

    bool IsClean() const { return findings.empty(); }
    bool IsReadable() const { return FirstUnreadable() == nullptr; }
    /// Null when the document is readable.
    const Finding* FirstUnreadable() const;
};

Inspection Inspect(const JsonText& json, StoredKind kind);

/// What a strict reader finds in a text, whatever its kind.
std::vector<Finding> SyntaxFindings(const JsonText& json);

/// Whether the library reads every member of a record; of none, that is null, too.
bool IsReadableRecord(const Json::Value& record);

}  // namespace srcwatch

#endif
