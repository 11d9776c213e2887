// SPDX-License-Identifier: Apache-2.0
// The files of one settings database, and what processes do with them in turn: create them and move damaged ones
// aside. Nothing here opens the database file itself: closing a second descriptor of it would drop the locks that
// SQLite holds in this process.
#ifndef SRCWATCH_HOST_DATABASEFILES_H
#define SRCWATCH_HOST_DATABASEFILES_H

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace host {

/// Which file a path led to at some time.
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

    /// Finds out which file is there. @return False if there is none.
    bool Identify(FileIdentity* identity) const;
    bool IsMissingOrEmpty() const;
    bool HasLog() const;
    /// Returns the bytes of the log, 0 without one.
    std::int64_t LogSize() const;

    /// Finds what cannot be a file of the database, in the place of one. @return An errno value for it, or 0.
    int FindObstacle() const;

    /// Creates an empty database where there is none, for all to write who may write to the directory as its group, and
    /// removes what an earlier one has left. Processes that have those files open keep theirs.
    void Create() const;

    /// Renames the database and its companions, with a time stamp in the name. @return The new path, or an empty text
    /// with errno set.
    std::string MoveAside() const;

    /// Wakes the processes that watch for changes.
    void WakeWatchers() const;

private:
    std::string FreeNameAside() const;

    std::string m_directory;
    std::string m_path;
    std::string m_lockPath;
    std::string m_wakePath;
};

/// A lock between processes around the database's creation and removal; released on destruction.
class FileLock {
public:
    enum class Mode { kShared, kExclusive };

    /// Waits until the deadline (monotonic milliseconds).
    FileLock(const DatabaseFiles& files, Mode mode, std::int64_t deadlineMs);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Returns 0 if the lock is held, EWOULDBLOCK if others kept it, or why the lock file cannot be opened.
    int Error() const { return m_error; }

private:
    int m_fd = -1;
    int m_error = 0;
};

}  // namespace host

#endif
