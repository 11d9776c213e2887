// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFiles.h"

#include "Clock.h"
#include "Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace host {
namespace {

constexpr mode_t kSharedMode = 0664;
constexpr int kOpenPlain = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;  // no link, and waits for nobody
constexpr useconds_t kLockPollUs = 2000;
constexpr const char* kLogSuffix = "-wal";
constexpr const char* kIndexSuffix = "-shm";
constexpr const char* kJournalSuffix = "-journal";
constexpr const char* kDamagedSuffix = ".damaged-";
constexpr off_t kLogHeader = 32;  // bytes; a log that is not longer holds nothing
constexpr const char* kWriteLockByte = "120";

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
// directory. @return 0 or an errno value; to set owner and mode is best effort.
int CreateShared(const std::string& path, const std::string& directory)
{
    const int place = open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (place < 0) return errno;
    const std::string name = std::filesystem::path(path).filename();
    int fd = OpenAboveStderr(name.c_str(), kOpenPlain | O_CREAT | O_EXCL, place);
    const bool isNew = fd >= 0;
    if (isNew) static_cast<void>(GiveToOwnerOf(place, fd));
    if (fd < 0) fd = OpenAboveStderr(name.c_str(), kOpenPlain, place);
    const int error = fd < 0 ? errno : 0;

    struct stat file = {};
    struct stat parent = {};
    const bool isKnown = fd >= 0 && fstat(fd, &file) == 0 && fstat(place, &parent) == 0;
    if (isKnown && (isNew || IsOwn(file)) && file.st_gid == parent.st_gid && (parent.st_mode & S_IWGRP) != 0)
        static_cast<void>(fchmod(fd, kSharedMode));
    if (fd >= 0) close(fd);
    close(place);
    return error;
}

int OpenLock(const DatabaseFiles& files)
{
    const int fd = OpenAboveStderr(files.LockPath().c_str(), kOpenPlain);
    if (fd >= 0 || errno != ENOENT) return fd;
    static_cast<void>(CreateShared(files.LockPath(), files.Directory()));  // where it fails, so does the next one
    return OpenAboveStderr(files.LockPath().c_str(), kOpenPlain);
}

// Mostly it is missing.
void RemoveFile(const std::string& path) { static_cast<void>(unlink(path.c_str())); }

std::string DirectoryOfFile(const std::string& path)
{
    const std::string directory = std::filesystem::path(path).parent_path();
    return directory.empty() ? "." : directory;
}

FileIdentity IdentityOf(const struct stat& file) { return {file.st_dev, file.st_ino}; }

// As /proc/locks writes device and inode; "absent" of a file that is not there.
std::string NameInLocks(const std::string& path)
{
    struct stat file = {};
    if (!Examine(path, &file)) return "absent";
    char name[64];
    static_cast<void>(std::snprintf(name, sizeof name, "%02x:%02x:%llu", major(file.st_dev), minor(file.st_dev),
                                    static_cast<unsigned long long>(file.st_ino)));
    return name;
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
      m_wakePath(m_path + ".changed"),
      m_copyPath(m_path + ".copy")
{
}

FilesSeen DatabaseFiles::Look() const
{
    FilesSeen seen;
    struct stat status = {};
    if (Examine(m_path, &status)) {
        seen.database = IdentityOf(status);
        seen.size = status.st_size;
    }
    if (Examine(m_path + kLogSuffix, &status)) seen.log = IdentityOf(status);
    if (Examine(m_path + kIndexSuffix, &status)) seen.index = IdentityOf(status);
    return seen;
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

// A log or an index that is also another file would overwrite it.
int PlannedFile::FindObstacle() const
{
    struct stat status = {};
    if (!Examine(path, &status)) return 0;
    if (S_ISREG(status.st_mode)) return status.st_nlink > 1 && role == Role::kCompanion ? EMLINK : 0;
    return S_ISLNK(status.st_mode) ? ELOOP : S_ISDIR(status.st_mode) ? EISDIR : ENXIO;
}

std::vector<PlannedFile> DatabaseFiles::Planned() const
{
    using Role = PlannedFile::Role;
    constexpr unsigned kReadWrite = R_OK | W_OK;
    return {{Role::kDatabase, m_path, kReadWrite},
            {Role::kCompanion, m_path + kLogSuffix, kReadWrite},
            {Role::kCompanion, m_path + kIndexSuffix, kReadWrite},
            {Role::kCompanion, m_path + kJournalSuffix, kReadWrite},
            {Role::kBeside, m_lockPath, R_OK},
            {Role::kBeside, m_wakePath, W_OK}};
}

int DatabaseFiles::FindObstacle() const
{
    for (const PlannedFile& file : Planned()) {
        const int error = file.role == PlannedFile::Role::kBeside ? 0 : file.FindObstacle();
        if (error != 0) return error;
    }
    return 0;
}

void DatabaseFiles::RemoveCompanions() const
{
    for (const char* suffix : {kIndexSuffix, kLogSuffix, kJournalSuffix}) RemoveFile(m_path + suffix);
}

bool DatabaseFiles::HasOrphanedLog() const
{
    struct stat status = {};
    return Examine(m_path + kLogSuffix, &status) && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_size > kLogHeader;
}

bool DatabaseFiles::HasRemains() const
{
    return Exists(RemainsPath()) || Exists(RemainsPath() + kLogSuffix) || HasOrphanedLog();
}

// The database goes first: as long as it is in its place, a process that opens it needs its log.
int DatabaseFiles::SetRemainsAside() const
{
    const std::string remains = RemainsPath();
    if (Exists(m_path) && Exists(remains)) static_cast<void>(KeepRemains());  // of an earlier recovery
    for (const char* suffix : {"", kLogSuffix, kIndexSuffix})
        if (!Rename(m_path + suffix, remains + suffix)) return errno;
    return 0;
}

std::string DatabaseFiles::FreeNameAside() const
{
    const UtcTime now = UtcNow();
    char stamp[64];
    static_cast<void>(std::snprintf(stamp, sizeof stamp, "%04d%02d%02dT%02d%02d%02d.%03dZ", now.year, now.month,
                                    now.day, now.hour, now.minute, now.second, now.millisecond));
    std::string name = m_path + kDamagedSuffix + stamp;
    while (Exists(name)) name += '+';
    return name;
}

std::string DatabaseFiles::KeepRemains() const
{
    std::string remains = RemainsPath();
    std::string aside = FreeNameAside();
    for (const char* suffix : {kIndexSuffix, kLogSuffix, ""})
        if (!Rename(remains + suffix, aside + suffix)) return remains;
    return aside;
}

// In the time stamp no hyphen follows, as before the suffix of a log or an index.
int DatabaseFiles::FindKeptRemains(std::vector<std::string>* paths) const
{
    const std::string beginning = m_path + kDamagedSuffix;
    std::error_code error;
    for (std::filesystem::directory_iterator it(m_directory, error), end; !error && it != end; it.increment(error)) {
        std::string path = it->path();
        if (path.rfind(beginning, 0) == 0 && path.find('-', beginning.size()) == std::string::npos)
            paths->push_back(std::move(path));
    }
    std::sort(paths->begin(), paths->end());
    return error == std::errc::no_such_file_or_directory ? 0 : error.value();
}

// A writer locks the byte 120 of the index, and another program the database; who creates it locks the lock file.
pid_t DatabaseFiles::FindLockHolder() const
{
    const std::string database = NameInLocks(m_path);
    const std::string index = NameInLocks(m_path + kIndexSuffix);
    const std::string lock = NameInLocks(m_lockPath);
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        // "1: POSIX ADVISORY WRITE 123 08:01:456 120 120"; of those who wait, "->" follows the number.
        std::istringstream words(line);
        std::string number, kind, strictness, mode, file, first;
        pid_t process = 0;
        words >> number >> kind >> strictness >> mode >> process >> file >> first;
        if (mode != "WRITE") continue;
        if (kind == "POSIX" && (file == database || (file == index && first == kWriteLockByte))) return process;
        if (kind == "FLOCK" && file == lock) return process;
    }
    return 0;
}

void DatabaseFiles::WakeWatchers() const
{
    if (utimensat(AT_FDCWD, m_wakePath.c_str(), nullptr, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT)
        static_cast<void>(CreateShared(m_wakePath, m_directory));  // without it, watchers look every two seconds
}

FileBeingMade::~FileBeingMade() { Remove(); }

void FileBeingMade::Remove() const
{
    for (const char* suffix : {"", kIndexSuffix, kLogSuffix, kJournalSuffix}) RemoveFile(m_path + suffix);
}

int FileBeingMade::Prepare() const
{
    Remove();
    return CreateShared(m_path, DirectoryOfFile(m_place));
}

int FileBeingMade::Place() const
{
    if (rename(m_path.c_str(), m_place.c_str()) != 0) return errno;
    SyncDirectory(DirectoryOfFile(m_place));
    return 0;
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
