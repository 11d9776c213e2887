// SPDX-License-Identifier: Apache-2.0
#include "Paths.h"

#include "Guarded.h"
#include "Leaked.h"
#include "Log.h"
#include "srcwatch-host.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

constexpr mode_t kDirectoryMode = 0755;

// A relative path is meant from where the program was when it first used the platform.
std::string Absolute(const std::string& path)
{
    char current[PATH_MAX];
    if (path.front() == '/' || !getcwd(current, sizeof current)) return path;
    return std::string(current) + '/' + path;
}

std::string FromEnvironment(const char* name, const char* otherwise)
{
    const char* value = Environment(name);
    return Absolute(value ? value : otherwise);
}

bool IsDirectory(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

std::string ParentOf(const std::string& path)
{
    const size_t end = path.find_last_not_of('/');
    const size_t slash = path.find_last_of('/', end);
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

// A new directory's name survives a power cut only when its parent has been written.
void Sync(const std::string& directory)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)fsync(fd);  // where it is not possible, the directory is usable all the same
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
    return value && *value ? value : nullptr;
}

int EnsureDirectory(const std::string& path)
{
    if (IsDirectory(path.c_str())) return 0;

    const std::string parent = ParentOf(path);
    if (parent != path) {
        const int error = EnsureDirectory(parent);
        if (error) return error;
    }
    if (mkdir(path.c_str(), kDirectoryMode) == 0) {
        Sync(parent);
        return 0;
    }
    const int error = errno;
    if (error != EEXIST) return error;
    return IsDirectory(path.c_str()) ? 0 : ENOTDIR;  // another process was quicker, or something else is there
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
