// SPDX-License-Identifier: Apache-2.0
// Databases of settings as a whole: made of values, copied, checked, read. Each in one file, which no other process
// uses meanwhile. The functions return SQLite results.
#ifndef SRCWATCH_HOST_WHOLEDATABASE_H
#define SRCWATCH_HOST_WHOLEDATABASE_H

#include "Salvage.h"
#include "Sqlite.h"

#include <string>

namespace host {

/// Has a connection take nothing in its database for granted: anyone may have written it. Nothing in it runs, and its
/// lengths are limited.
void Distrust(const Sqlite& api, sqlite3* database);

/// Makes a database with these values, in a file that is there and empty.
int CreateDatabase(const Sqlite& api, const std::string& path, bool isDurable, const Values& values);

/// Copies an open database, as last committed, to a file that is there and empty. @return SQLITE_CORRUPT if the copy
/// has a fault, as then the original has it.
int CopyDatabase(const Sqlite& api, sqlite3* from, const std::string& path);

/// Goes through a whole database. @return SQLITE_OK if it is sound, SQLITE_CORRUPT if not, or why that is not known.
int CheckDatabase(const Sqlite& api, sqlite3* database);

/// Reads the values of a database that nobody has open, checked first; SQLITE_NOTADB if it is not one of ours.
int ReadDatabase(const Sqlite& api, const std::string& path, Values* values);

/// Runs a query for one number.
int QueryNumber(const Sqlite& api, sqlite3* database, const char* sql, std::int64_t* number);

/// Returns the URI of a database that is read without its log and without locks.
std::string UriOfSnapshot(const std::string& path);

}  // namespace host

#endif
