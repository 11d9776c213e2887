// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a stored document, as the service and the tools report it.
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
    bool isReadable;  ///< true if the library can still read it

    /// Returns "line 2: activity[0].BName: is not a text"
    std::string Text() const;
};

/// A document is readable if the library finds all of it: it converts a number where a text belongs, but not a list. It
/// is clean if it is as the service writes it.
struct Inspection {
    std::vector<Finding> findings;

    bool IsClean() const { return findings.empty(); }
    bool IsReadable() const { return FirstUnreadable() == nullptr; }
    /// Returns null if the document is readable.
    const Finding* FirstUnreadable() const;
};

/// Examines a stored document.
Inspection Inspect(const JsonText& json, StoredKind kind);

/// Returns what a strict reader finds in a text of any kind.
std::vector<Finding> SyntaxFindings(const JsonText& json);

/// Returns true if the library can read every member of a record; also for none, which is null.
bool IsReadableRecord(const Json::Value& record);

}  // namespace srcwatch

#endif
