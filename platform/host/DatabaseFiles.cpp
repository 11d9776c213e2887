// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFiles.h"

#include "Clock.h"
#include "Paths.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

constexpr mode_t kSharedMode = 0664;
constexpr int kOpenPlain = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;  // no link, and waits for nobody
constexpr useconds_t kLockPollUs = 2000;
constexpr const char* kLogSuffix = "-wal";
constexpr const char* kIndexSuffix = "-shm";
constexpr const char* kJournalSuffix = "-journal";

// Of the path itself: a link is not followed.
bool Examine(const std::string& path, struct stat* status) { return lstat(path.c_str(), status) == 0; }

bool Exists(const std::string& path)
{
    struct stat status = {};
    return Examine(path, &status);
}

// Only a file that is this user's and has no other name gets another mode: others may have made it.
bool IsOwn(const struct stat& file) { return S_ISREG(file.st_mode) && file.st_uid == geteuid() && file.st_nlink == 1; }

// Creates a file where it is missing, for the directory's owner, and for its group to write if that may write to the
// directory. Best effort: where it fails, the file cannot be opened either, or has its owner and mode already.
void CreateShared(const std::string& path, const std::string& directory)
{
    const int place = open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (place < 0) return;
    const std::string name = path.substr(directory.size() + 1);
    int fd = OpenAboveStderr(name.c_str(), kOpenPlain | O_CREAT | O_EXCL, place);
    const bool isNew = fd >= 0;
    if (isNew) static_cast<void>(GiveToOwnerOf(place, fd));
    if (fd < 0) fd = OpenAboveStderr(name.c_str(), kOpenPlain, place);

    struct stat file = {};
    struct stat parent = {};
    const bool isKnown = fd >= 0 && fstat(fd, &file) == 0 && fstat(place, &parent) == 0;
    if (isKnown && (isNew || IsOwn(file)) && file.st_gid == parent.st_gid && (parent.st_mode & S_IWGRP) != 0)
        static_cast<void>(fchmod(fd, kSharedMode));
    if (fd >= 0) close(fd);
    close(place);
}

int OpenLock(const DatabaseFiles& files)
{
    const int fd = OpenAboveStderr(files.LockPath().c_str(), kOpenPlain);
    if (fd >= 0 || errno != ENOENT) return fd;
    CreateShared(files.LockPath(), files.Directory());
    return OpenAboveStderr(files.LockPath().c_str(), kOpenPlain);
}

// A companion that does not exist need not be moved.
bool Rename(const std::string& from, const std::string& to)
{
    return rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

DatabaseFiles::DatabaseFiles(const std::string& directory, const char* name)
    : m_directory(directory),
      m_path(directory + '/' + name),
      m_lockPath(m_path + ".lock"),
      m_wakePath(m_path + ".changed")
{
}

bool DatabaseFiles::Identify(FileIdentity* identity) const
{
    struct stat status = {};
    if (!Examine(m_path, &status)) return false;
    *identity = {status.st_dev, status.st_ino};
    return true;
}

bool DatabaseFiles::IsMissingOrEmpty() const
{
    struct stat status = {};
    if (!Examine(m_path, &status)) return errno == ENOENT;
    return S_ISREG(status.st_mode) && status.st_size == 0;
}

bool DatabaseFiles::HasLog() const { return Exists(m_path + kLogSuffix); }

std::int64_t DatabaseFiles::LogSize() const
{
    struct stat status = {};
    return Examine(m_path + kLogSuffix, &status) ? status.st_size : 0;
}

int DatabaseFiles::FindObstacle() const
{
    for (const char* suffix : {"", kLogSuffix, kIndexSuffix, kJournalSuffix}) {
        struct stat status = {};
        if (!Examine(m_path + suffix, &status)) continue;
        if (S_ISREG(status.st_mode) && (status.st_nlink == 1 || *suffix == '\0')) continue;
        if (S_ISREG(status.st_mode)) return EMLINK;  // a log or an index that is also another file would overwrite it
        return S_ISLNK(status.st_mode) ? ELOOP : S_ISDIR(status.st_mode) ? EISDIR : ENXIO;
    }
    return 0;
}

void DatabaseFiles::Create() const
{
    for (const char* suffix : {kIndexSuffix, kLogSuffix, kJournalSuffix})
        static_cast<void>(unlink((m_path + suffix).c_str()));  // mostly missing
    CreateShared(m_path, m_directory);
}

std::string DatabaseFiles::FreeNameAside() const
{
    const UtcTime now = UtcNow();
    char stamp[64];
    static_cast<void>(std::snprintf(stamp, sizeof stamp, ".damaged-%04d%02d%02dT%02d%02d%02d.%03dZ", now.year,
                                    now.month, now.day, now.hour, now.minute, now.second, now.millisecond));
    std::string name = m_path + stamp;
    while (Exists(name)) name += '+';
    return name;
}

// The database goes last: if the process ends in between, the next one finds it still damaged and moves it aside.
std::string DatabaseFiles::MoveAside() const
{
    std::string aside = FreeNameAside();
    if (!Rename(m_path + kIndexSuffix, aside + kIndexSuffix)) return {};
    if (!Rename(m_path + kLogSuffix, aside + kLogSuffix)) return {};
    if (rename(m_path.c_str(), aside.c_str()) != 0) return {};
    return aside;
}

void DatabaseFiles::WakeWatchers() const
{
    if (utimensat(AT_FDCWD, m_wakePath.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT)
        CreateShared(m_wakePath, m_directory);
}

FileLock::FileLock(const DatabaseFiles& files, Mode mode, std::int64_t deadlineMs) : m_fd(OpenLock(files))
{
    if (m_fd < 0) {
        m_error = errno;
        return;
    }
    const int operation = (mode == Mode::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    while (flock(m_fd, operation) != 0) {
        m_error = errno;
        if (m_error != EWOULDBLOCK || NowMs(CLOCK_MONOTONIC) >= deadlineMs) return;
        usleep(kLockPollUs);
    }
    m_error = 0;
}

FileLock::~FileLock()
{
    if (m_fd >= 0) close(m_fd);
}

}  // namespace host
