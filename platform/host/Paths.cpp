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
    const std::string absolute = std::filesystem::absolute(path, isGone);
    return isGone ? path : absolute;
}

bool IsDirectory(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// A new directory's name survives a power cut only if its parent has been written.
void Sync(const std::string& directory)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    static_cast<void>(fsync(fd));  // where it is not possible, the directory is usable all the same
    close(fd);
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
    : stateDir(FromEnvironment("SRCWATCH_STATE_DIR", "/var/lib/srcwatch")),
      runDir(FromEnvironment("SRCWATCH_RUN_DIR", "/run/srcwatch")),
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
        Sync(parent);
        return 0;
    }
    const int error = errno;
    if (error != EEXIST) return error;
    return IsDirectory(path.c_str()) ? 0 : ENOTDIR;  // created by another process meanwhile, or something else
}

int OpenAboveStderr(const char* path, int flags)
{
    const int fd = open(path, flags | O_CLOEXEC, kFileMode);
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
