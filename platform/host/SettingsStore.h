// SPDX-License-Identifier: Apache-2.0
// The settings of this machine: one database for the durable ones, one for the volatile. All functions return 0 or a
// negative errno value: -EINVAL for a key of no database, -ENOENT for an absent setting, -EPROTOTYPE for one of the
// other type, -EBUSY if others kept the database locked for a second, -E2BIG for a key or text of more than 1 MiB, also
// if an earlier version stored it,
// -ENOTSUP for a database of a later version, -EROFS, -ENOSPC, -ENOMEM, and -EIO for all else.
#ifndef SRCWATCH_HOST_SETTINGSSTORE_H
#define SRCWATCH_HOST_SETTINGSSTORE_H

#include "Salvage.h"
#include "srcwatch-host.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// The databases, by the first part of their keys.
enum Family { kDurable, kVolatile };
constexpr Family kFamilies[] = {kDurable, kVolatile};
constexpr int kFamilyCount = 2;

/// Returns the family that a key belongs to, if any.
std::optional<Family> FamilyOf(const char* key);

const std::string& DirectoryOf(Family family);

class Connection;
class DatabaseFiles;

/// The connections of this process to a database.
Connection& ReaderOf(Family family);
Connection& WriterOf(Family family);
const DatabaseFiles& FilesOf(Family family);

/// Returns the negative errno value for an SQLite result, 0 for SQLITE_OK.
int ErrorOf(int result);

int ReadNumber(const char* key, int* number);

/// Stores a value; null removes the setting.
int WriteValue(const char* key, const srcwatch_host_value* value);

/// Makes these the settings of a family, in one transaction, with a change for each that differs.
int WriteAll(Family family, const Values& values);

/// A setting, or a change of one.
struct Setting {
    enum class Type { kNumber, kText, kRemoved };

    std::string key;
    Type type;
    int number;
    std::string text;
    std::size_t unreadBytes;  // of a text that is too large to be read

    void PassTo(srcwatch_host_setting_cb callback, void* userData) const;
};

struct Change {
    std::int64_t number;
    Setting setting;
};

/// How far a database's changes are known: up to a change of a database, which may have been replaced since.
struct Position {
    std::int64_t store = 0;
    std::int64_t change = 0;
};

/// Finds the position after the newest change.
int FindNewestPosition(Family family, Position* position);

/// Reads the changes after a position of the keys that isWanted() accepts, oldest first; the position moves after the
/// newest. missed receives the number of changes that were trimmed before they were read. If the database is another
/// one than the position's, its changes are read from its beginning.
int ReadChanges(Family family, Position* position, const std::function<bool(const char*)>& isWanted,
                std::vector<Change>* changes, std::int64_t* missed);

}  // namespace host

#endif
