// SPDX-License-Identifier: Apache-2.0
// The files of one settings database, and what processes do with them by turns: create them and move damaged ones
// aside. Nothing here opens the database file itself: closing a second descriptor of it would drop the locks that
// SQLite holds in this process.
#ifndef SRCWATCH_HOST_DATABASEFILES_H
#define SRCWATCH_HOST_DATABASEFILES_H

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace host {

// Which file a path led to at some time.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
};

class DatabaseFiles {
public:
    DatabaseFiles(const std::string& directory, const char* name);

    const std::string& Directory() const { return m_directory; }
    const std::string& Path() const { return m_path; }
    const std::string& LockPath() const { return m_lockPath; }

    // False when there is no file.
    bool Identify(FileIdentity* identity) const;
    bool IsMissingOrEmpty() const;
    bool HasLog() const;
    int64_t LogSize() const;  // in bytes; 0 without a log

    // Whoever may write to the directory may write to a new database in it.
    void ShareLikeDirectory() const;

    // Removes what a database that is gone has left. Others may still have those files open; they keep theirs.
    void RemoveRemains() const;

    // Renames the database and its companions, with a time stamp in the name. Returns the new path, or an empty text
    // with errno set.
    std::string MoveAside() const;

    // Wakes all who watch for changes.
    void Wake() const;

private:
    std::string FreeNameAside() const;

    std::string m_directory;
    std::string m_path;
    std::string m_lockPath;
    std::string m_wakePath;
};

// A lock between processes around the database's birth and removal; released on destruction.
class FileLock {
public:
    enum class Mode { kShared, kExclusive };

    // Waits until the deadline (monotonic milliseconds).
    FileLock(const DatabaseFiles& files, Mode mode, int64_t deadlineMs);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // 0 when the lock is held, EWOULDBLOCK when others kept it, or why the lock file cannot be opened.
    int Error() const { return m_error; }

private:
    int m_fd = -1;
    int m_error = 0;
};

}  // namespace host

#endif
