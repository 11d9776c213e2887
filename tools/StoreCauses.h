// SPDX-License-Identifier: Apache-2.0
//
// Why a settings database cannot be used, from what can be seen of its files.
#ifndef SRCWATCH_TOOLS_STORECAUSES_H
#define SRCWATCH_TOOLS_STORECAUSES_H

#include "Users.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

/// Where a family of settings is stored.
struct StorePlace {
    const char* variable;   ///< of the environment, which names another directory
    std::string directory;  ///< absolute
    const char* database;   ///< name of the file

    std::string Path(const std::string& suffix = "") const { return directory + "/" + database + suffix; }
};

StorePlace DurablePlace();
StorePlace VolatilePlace();

struct Cause {
    std::string why;
    std::string remedy;
};

/// @name Each looks for one kind of cause
/// @{
std::optional<Cause> FindMissingLibrary();
std::optional<Cause> FindObstacle(const StorePlace& place);                     ///< something else stands there
std::optional<Cause> FindShortage(const StorePlace& place);                     ///< no space, or no writing
std::optional<Cause> FindLock(const StorePlace& place);                         ///< a process that keeps it
std::optional<Cause> FindForbidden(const StorePlace& place, const User& user);  ///< by the modes of its files
std::optional<Cause> FindForbiddenAbove(const StorePlace& place, const User& user);
/// @}

/// Returns why a use of the store by this user had this negative result.
Cause CauseOf(int result, const StorePlace& place, const User& user);

/// Returns what gives a store to a user.
std::string GiveTo(const User& user, const StorePlace& place);

/// Returns the databases that were put aside as damaged, or nothing if the directory cannot be listed.
std::optional<std::vector<std::string>> FindPutAside(const StorePlace& place);

}  // namespace ctl

#endif
