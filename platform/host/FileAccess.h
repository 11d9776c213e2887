// SPDX-License-Identifier: Apache-2.0
// How SQLite accesses the files of settings, as others can write to their directory: a link in the place of a file is
// not followed, and a journal names no other files. A failed write raises no signal, and failed reads are counted,
// because SQLite reports some of them as damage.
#ifndef SRCWATCH_HOST_FILEACCESS_H
#define SRCWATCH_HOST_FILEACCESS_H

#include "Sqlite.h"

namespace host {

/// Makes it known to SQLite. @return Its name for sqlite3_open_v2().
const char* UseFileAccess(const Sqlite& api);

/// Returns the number of reads that have failed in this process.
unsigned FailedReads();

}  // namespace host

#endif
