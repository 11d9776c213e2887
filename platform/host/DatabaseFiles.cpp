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

constexpr mode_t kFileMode = 0644;
constexpr useconds_t kLockPollUs = 2000;
constexpr const char* kLogSuffix = "-wal";
constexpr const char* kIndexSuffix = "-shm";

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// Which of the permissions to write the directory grants beyond its owner.
mode_t SharedWriteBits(const std::string& directory)
{
    struct stat status = {};
    if (stat(directory.c_str(), &status) != 0) return 0;
    return status.st_mode & (S_IWGRP | S_IWOTH);
}

// Best effort: where it fails (the file is another user's), the file has its mode already.
void Share(const std::string& path, const std::string& directory)
{
    const mode_t shared = SharedWriteBits(directory);
    if (shared != 0) static_cast<void>(chmod(path.c_str(), kFileMode | shared));
}

void CreateWakeFile(const std::string& path, const std::string& directory)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kFileMode);
    if (fd < 0) return;  // no one can be watching where nothing can be created
    close(fd);
    Share(path, directory);
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
    if (stat(m_path.c_str(), &status) != 0) return false;
    *identity = {status.st_dev, status.st_ino};
    return true;
}

bool DatabaseFiles::IsMissingOrEmpty() const
{
    struct stat status = {};
    if (stat(m_path.c_str(), &status) != 0) return errno == ENOENT;
    return S_ISREG(status.st_mode) && status.st_size == 0;
}

bool DatabaseFiles::HasLog() const { return Exists(m_path + kLogSuffix); }

std::int64_t DatabaseFiles::LogSize() const
{
    struct stat status = {};
    return stat((m_path + kLogSuffix).c_str(), &status) == 0 ? status.st_size : 0;
}

void DatabaseFiles::ShareLikeDirectory() const { Share(m_path, m_directory); }

void DatabaseFiles::RemoveRemains() const
{
    for (const char* suffix : {kIndexSuffix, kLogSuffix})
        static_cast<void>(unlink((m_path + suffix).c_str()));  // mostly missing
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
    if (utimensat(AT_FDCWD, m_wakePath.c_str(), nullptr, 0) != 0 && errno == ENOENT)
        CreateWakeFile(m_wakePath, m_directory);
}

FileLock::FileLock(const DatabaseFiles& files, Mode mode, std::int64_t deadlineMs)
    : m_fd(OpenAboveStderr(files.LockPath().c_str(), O_RDONLY | O_CREAT))
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
