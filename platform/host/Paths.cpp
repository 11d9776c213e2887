// SPDX-License-Identifier: Apache-2.0
#include "Paths.h"

#include "Guarded.h"
#include "Leaked.h"
#include "Log.h"
#include "srcwatch-host.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;

// A relative path is resolved where the program is when it first uses the platform.
std::string FromEnvironment(const char* name, const char* otherwise)
{
    const char* value = Environment(name);
    const std::string path = value != nullptr ? value : otherwise;
    std::error_code isGone;  // the working directory
    std::string absolute = std::filesystem::absolute(path, isGone);
    while (absolute.size() > 1 && absolute.back() == '/') absolute.pop_back();
    return isGone ? path : absolute;
}

bool IsDirectory(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsEmpty(DIR* directory)
{
    int entries = 0;
    while (readdir(directory) != nullptr) entries++;
    return entries <= 2;  // itself and its parent
}

// An empty directory of this user's only: who may write to the parent can put another one in the place of the new one.
void GiveToOwnerOfParent(const std::string& parent, const std::string& path)
{
    const int above = open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (above < 0) return;
    const std::string name = std::filesystem::path(path).filename();
    const int fd = openat(above, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR* directory = fd < 0 ? nullptr : fdopendir(fd);
    struct stat status = {};
    if (directory != nullptr && fstat(fd, &status) == 0 && status.st_uid == geteuid() && IsEmpty(directory))
        static_cast<void>(GiveToOwnerOf(above, fd));  // it is usable by root all the same
    if (directory != nullptr) closedir(directory);
    close(above);
}

const char* UsableDirectory(const std::string& path)
{
    const int error = EnsureDirectory(path);
    if (error == 0) return path.c_str();

    LogHost(DLOG_ERROR, "cannot create the directory %s: %s", path.c_str(), strerrordesc_np(error));
    return nullptr;
}

}  // namespace

Paths::Paths()
    : stateDir(FromEnvironment(kStateVariable, "/var/lib/srcwatch")),
      runDir(FromEnvironment(kRunVariable, "/run/srcwatch")),
      confPath(FromEnvironment("SRCWATCH_PLATFORM_CONF", "/etc/srcwatch/platform.conf"))
{
}

const Paths& GetPaths() { return Leaked<Paths>(); }

const char* Environment(const char* name)
{
    const char* value = secure_getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

int EnsureDirectory(const std::string& path)
{
    if (IsDirectory(path.c_str())) return 0;

    const std::string parent = std::filesystem::path(path).parent_path();
    if (parent != path) {
        const int error = EnsureDirectory(parent);
        if (error != 0) return error;
    }
    if (mkdir(path.c_str(), kDirectoryMode) == 0) {
        if (geteuid() == 0) GiveToOwnerOfParent(parent, path);
        SyncDirectory(parent);
        return 0;
    }
    const int error = errno;
    if (error != EEXIST) return error;
    return IsDirectory(path.c_str()) ? 0 : ENOTDIR;  // created by another process meanwhile, or something else
}

void SyncDirectory(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    static_cast<void>(fsync(fd));  // where it is not possible, the directory is usable all the same
    close(fd);
}

bool GiveToOwnerOf(int directory, int file)
{
    struct stat status = {};
    return geteuid() == 0 && fstat(directory, &status) == 0 && fchown(file, status.st_uid, status.st_gid) == 0;
}

int OpenAboveStderr(const char* path, int flags, int directory)
{
    const int fd = openat(directory, path, flags | O_CLOEXEC, kFileMode);
    if (fd < 0 || fd > STDERR_FILENO) return fd;

    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

}  // namespace host

SRCWATCH_HOST_API const char* srcwatch_host_state_dir(void)
{
    return host::Guarded<const char*>(nullptr, [] { return host::UsableDirectory(host::GetPaths().stateDir); });
}

SRCWATCH_HOST_API const char* srcwatch_host_run_dir(void)
{
    return host::Guarded<const char*>(nullptr, [] { return host::UsableDirectory(host::GetPaths().runDir); });
}

SRCWATCH_HOST_API const char* srcwatch_host_conf_path(void)
{
    return host::Guarded<const char*>(nullptr, [] { return host::GetPaths().confPath.c_str(); });
}
