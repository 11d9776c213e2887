// SPDX-License-Identifier: Apache-2.0
// The files of one settings database, and what processes do with them in turn: create them and move damaged ones
// aside. Nothing here opens the database file itself: closing a second descriptor of it would drop the locks that
// SQLite holds in this process.
#ifndef SRCWATCH_HOST_DATABASEFILES_H
#define SRCWATCH_HOST_DATABASEFILES_H

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace host {

/// Which file a path led to at some time.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileIdentity& other) const { return device == other.device && inode == other.inode; }
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

/// The files of a database at some time; an absent one has no identity.
struct FilesSeen {
    FileIdentity database;
    FileIdentity log;
    FileIdentity index;
    std::int64_t size = 0;  // of the database, in bytes
};

/// A file that a database has, whether it is there or not.
struct PlannedFile {
    enum class Role { kDatabase, kCompanion, kBeside };  ///< itself; what SQLite adds; what the platform adds

    /// Finds what cannot be this file, in its place. @return An errno value for it, or 0.
    int FindObstacle() const;

    Role role;
    std::string path;
    unsigned access;  ///< what all who use the database need: R_OK, W_OK
};

class DatabaseFiles {
public:
    DatabaseFiles(const std::string& directory, const char* name);

    const std::string& Directory() const { return m_directory; }
    const std::string& Path() const { return m_path; }
    const std::string& LockPath() const { return m_lockPath; }

    FilesSeen Look() const;
    bool IsMissingOrEmpty() const;
    bool HasLog() const;
    /// Returns the bytes of the log, 0 without one.
    std::int64_t LogSize() const;

    std::vector<PlannedFile> Planned() const;
    /// Finds what cannot be a file of SQLite's, in the place of one. @return An errno value for it, or 0.
    int FindObstacle() const;

    /// Removes what is there besides the database.
    void RemoveCompanions() const;

    /// Where a damaged database is while another one is made from it.
    std::string RemainsPath() const { return m_path + ".recovering"; }
    /// True if a recovery is to be finished: the database is in that place, or only its log is left.
    bool HasRemains() const;
    /// Moves the database with log and index to RemainsPath(). @return 0 or an errno value.
    int SetRemainsAside() const;
    /// Gives the remains a name with a time stamp, for people to look at. @return The path that they are at.
    std::string KeepRemains() const;

    /// Finds the databases that got such a name, oldest first. @return 0 or an errno value.
    int FindKeptRemains(std::vector<std::string>* paths) const;

    /// Where the last good copy belongs.
    const std::string& CopyPath() const { return m_copyPath; }

    /// Returns the process that has the database locked for writing; 0 if there is none or it is not known.
    pid_t FindLockHolder() const;

    /// Wakes the processes that watch for changes.
    void WakeWatchers() const;

private:
    std::string FreeNameAside() const;
    bool HasOrphanedLog() const;

    const std::string m_directory;
    const std::string m_path;
    const std::string m_lockPath;
    const std::string m_wakePath;
    const std::string m_copyPath;
};

/// A database that is made in a file beside its place, so that it is there as a whole or not at all.
class FileBeingMade {
public:
    explicit FileBeingMade(const std::string& place) : m_place(place), m_path(place + ".new") {}
    /// Removes what is left.
    ~FileBeingMade();
    FileBeingMade(const FileBeingMade&) = delete;
    FileBeingMade& operator=(const FileBeingMade&) = delete;

    const std::string& Path() const { return m_path; }

    /// Creates it as an empty file, for all to write who may write to the directory as its group. @return 0 or an errno
    /// value.
    int Prepare() const;
    /// Moves it to its place; processes that have the file open that is there keep that. @return 0 or an errno value.
    int Place() const;

private:
    void Remove() const;

    const std::string m_place;
    const std::string m_path;
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
