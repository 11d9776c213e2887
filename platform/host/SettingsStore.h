// SPDX-License-Identifier: Apache-2.0
// The settings of this machine: one database for the durable ones, one for the volatile. All functions return 0 or a
// negative errno value: -EINVAL for a key of no database, -ENOENT for an absent setting, -EPROTOTYPE for one of the
// other type, -EBUSY when others kept the database locked for a second, -EROFS, -ENOSPC, and -EIO for all else.
#ifndef SRCWATCH_HOST_SETTINGSSTORE_H
#define SRCWATCH_HOST_SETTINGSSTORE_H

#include "srcwatch-host.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host {

// The databases, by the first part of their keys.
enum class Family : size_t { kDurable, kVolatile };
constexpr Family kFamilies[] = {Family::kDurable, Family::kVolatile};
constexpr size_t kFamilyCount = 2;

// False when a key belongs to none.
bool FamilyOf(const char* key, Family* family);

const std::string& DirectoryOf(Family family);

int ReadNumber(const char* key, int* number);

// The caller frees the text.
int ReadText(const char* key, char** text);

// Null removes the setting.
int WriteValue(const char* key, const srcwatch_host_value* value);

// A setting, or a change of one.
struct Setting {
    enum class Type { kNumber, kText, kRemoved };

    std::string key;
    Type type;
    int number;
    std::string text;

    // Calls back with key and value.
    void Tell(srcwatch_host_setting_cb callback, void* userData) const;
};

struct Change {
    int64_t number;
    Setting setting;
};

// How far a database's changes are known: up to a change of a database, which may have been replaced since.
struct Position {
    int64_t store = 0;
    int64_t change = 0;
};

// The position after the newest change.
int NewestPosition(Family family, Position* position);

// The changes after a position of the keys that wanted() accepts, oldest first; the position moves after the newest.
// missed receives the number of changes that were forgotten before they were read. When the database is another one
// than the position's, its changes are given from its beginning on.
int ReadChanges(Family family, Position* position, const std::function<bool(const char*)>& wanted,
                std::vector<Change>* changes, int64_t* missed);

}  // namespace host

#endif
