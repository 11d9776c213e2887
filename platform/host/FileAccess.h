// SPDX-License-Identifier: Apache-2.0
// How SQLite accesses the files of settings, as others can write to their directory: a link in the place of a file is
// not followed, and a journal names no other files. A failed write raises no signal, and failed reads are counted,
// because SQLite reports some of them as damage. SQLite's own waiting has a limit.
#ifndef SRCWATCH_HOST_FILEACCESS_H
#define SRCWATCH_HOST_FILEACCESS_H

#include "Salvage.h"
#include "Sqlite.h"

#include <cstddef>
#include <memory>
#include <string>

namespace host {

/// Makes it known to SQLite. @return Its name for sqlite3_open_v2().
const char* UseFileAccess(const Sqlite& api);

/// Returns the number of reads that have failed in this process.
unsigned FailedReads();

/// Limits the waiting of SQLite in this thread, as long as it exists: where the log cannot be locked, SQLite tries a
/// hundred times, with pauses that would take ten seconds. One at a time in each thread.
class WaitLimit {
public:
    using MayWait = bool (*)(void* user);

    /// @param mayWait  Is asked before each pause, which is left out if it returns false.
    WaitLimit(MayWait mayWait, void* user);
    ~WaitLimit();
    WaitLimit(const WaitLimit&) = delete;
    WaitLimit& operator=(const WaitLimit&) = delete;
};

/// A database or a log, for reading its bytes. Through SQLite, because closing a descriptor of one's own would drop the
/// locks that SQLite holds in this process.
class RawFile {
public:
    explicit RawFile(std::string path);
    ~RawFile();
    RawFile(const RawFile&) = delete;
    RawFile& operator=(const RawFile&) = delete;

    /// Empty if there is no such file. Valid as long as this object.
    const Bytes& Content() const { return m_content; }
    bool HasReadError() const { return m_hasReadError; }

private:
    bool Read(std::int64_t offset, char* to, std::size_t count);

    const std::string m_path;
    std::unique_ptr<std::max_align_t[]> m_memory;
    sqlite3_file* m_file;
    bool m_hasReadError = false;
    Bytes m_content;
};

}  // namespace host

#endif
