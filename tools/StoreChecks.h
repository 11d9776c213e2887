// SPDX-License-Identifier: Apache-2.0
//
// The doctor's checks of the settings store.
#ifndef SRCWATCH_TOOLS_STORECHECKS_H
#define SRCWATCH_TOOLS_STORECHECKS_H

#include "Finding.h"
#include "Inspection.h"
#include "StoreCauses.h"
#include "Users.h"

#include <optional>
#include <string>

namespace ctl {

Finding CheckSqlite();
Finding CheckDirectory(const StorePlace& place);

/// Checks that the service's user may use the files, whoever runs this.
Finding CheckOwnership(const std::optional<User>& service);

/// @name Uses of the store, by this user
/// @{
Finding CheckReadable();
Finding CheckWritable();
Finding CheckDocument(const std::string& key, srcwatch::StoredKind kind);
/// @}

Finding CheckPutAside();

}  // namespace ctl

#endif
