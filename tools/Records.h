// SPDX-License-Identifier: Apache-2.0
//
// Records as they are stored.
#ifndef SRCWATCH_TOOLS_RECORDS_H
#define SRCWATCH_TOOLS_RECORDS_H

#include <string>

#include <json/value.h>

namespace ctl {

struct StoredRecord {
    bool stored = false;   ///< false if there is none
    bool readable = true;  ///< each member is of its kind; queries about others fail
    Json::Value members;   ///< the eighteen members as stored; 0 or empty where one is absent
};

/// Loads a port's record. Throws a Failure if the whole document cannot be read.
StoredRecord LoadRecord(int port);

/// Returns the number of records of HDMI ports that are stored one after the other from the first on. Throws as
/// LoadRecord() does.
int CountStoredRecords();

/// Returns the settings key of the document that has a port's record.
std::string RecordKey(int port);

/// Clears a port's record, except its deny count, in this process. Only for when no detection service runs.
void ForgetRecord(int port);

}  // namespace ctl

#endif
