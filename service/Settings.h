// SPDX-License-Identifier: Apache-2.0
//
// What the service writes to the settings store, and what it does with documents there that cannot be read.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include "Inspection.h"
#include "Statistics.h"

#include <optional>
#include <string>

namespace srcwatch {

/// Write a number; a failure is logged.
void WriteNumber(const std::string& key, int value);

/// A document in the settings store. One that the library would not read all of is kept aside, as the next save would
/// lose the rest.
struct StoredDocument {
    std::optional<Json::Value> root;        ///< nothing when it is absent or unreadable
    std::optional<std::string> unreadable;  ///< its text, when it is
    bool isKept = true;                     ///< false when an unreadable text could not be kept aside
};
StoredDocument LoadDocument(const std::string& key, StoredKind kind);

/// Why the library would not read all of a document, in words for the log; empty when it would.
std::string WhatIsWrong(const Inspection& inspection);

/// Keep a text that cannot be used under its key with ".unreadable" after it, and log that with the reason.
/// @return Whether it is kept.
bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason);

/// Read the detection statistics. A text that cannot be read is kept aside, and none take its place in the store.
Statistics LoadStatistics();
void SaveStatistics(const Statistics& statistics);

}  // namespace srcwatch

#endif
