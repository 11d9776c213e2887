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

/// Writes a value; a failure is logged.
void WriteNumber(const std::string& key, int value);
void WriteText(const std::string& key, const std::string& text);

/// A document in the settings store. One that the library would read only in part is kept under its key with
/// ".unreadable" after it, because the next save loses the rest; that is logged with the reason.
struct StoredDocument {
    std::optional<Json::Value> root;  ///< nothing if it is absent or unreadable
    bool isUnreadable = false;
    bool isKept = true;  ///< false if an unreadable text could not be kept aside
};
StoredDocument LoadDocument(const std::string& key, StoredKind kind);

/// Reads the detection statistics. An unreadable text is kept aside and replaced by empty statistics.
Statistics LoadStatistics();
void SaveStatistics(const Statistics& statistics);

}  // namespace srcwatch

#endif
