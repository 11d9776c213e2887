// SPDX-License-Identifier: Apache-2.0
#include "StoreCauses.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace ctl {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLibrary = "libsqlite3.so.0";
constexpr std::size_t kLongestPath = 504;    // of a database, for SQLite
constexpr std::uint64_t kLeastFree = 65536;  // bytes that a save may need
constexpr const char* kSuffixes[] = {"", "-wal", "-shm", "-journal", ".lock", ".changed"};

StorePlace MakePlace(const char* variable, const char* otherwise, const char* database)
{
    const char* value = std::getenv(variable);
    std::error_code error;  // of a working directory that is gone
    const std::string path = value != nullptr && *value != '\0' ? value : otherwise;
    std::string absolute = fs::absolute(path, error).string();
    while (absolute.size() > 1 && absolute.back() == '/') absolute.pop_back();
    return {variable, error ? path : absolute, database};
}

// The directory, those above it, and from the root on.
std::vector<std::string> Components(const std::string& directory)
{
    std::vector<std::string> components;
    fs::path whole;
    for (const fs::path& part : fs::path(directory)) {
        whole /= part;
        components.push_back(whole.string());
    }
    return components;
}

bool Exists(const std::string& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

// The nearest that is there: the directory itself, or that in which it would be created.
std::string NearestExisting(const std::string& directory)
{
    const std::vector<std::string> components = Components(directory);
    const auto found = std::find_if(components.rbegin(), components.rend(), Exists);
    return found == components.rend() ? "/" : *found;
}

std::optional<Cause> ObstacleOfDirectory(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return std::nullopt;
        return Cause{path + " is not a directory", "move " + ShellQuoted(path) + " away"};
    }
    if (errno == ENAMETOOLONG) return Cause{"a name in " + path + " is too long", "use shorter names"};
    if (!Exists(path)) return std::nullopt;
    if (errno == ELOOP) return Cause{path + " is a link that leads back to itself", "rm " + ShellQuoted(path)};
    if (errno == ENOENT) return Cause{path + " is a link to nothing", "rm " + ShellQuoted(path)};
    return std::nullopt;
}

const char* KindOf(const struct stat& file)
{
    return S_ISLNK(file.st_mode)    ? "a link"
           : S_ISDIR(file.st_mode)  ? "a directory"
           : S_ISFIFO(file.st_mode) ? "a pipe"
                                    : "a device or socket";
}

// The lock file and the wake-up file may have other names: nothing is written to them.
bool MayHaveOtherNames(const std::string& suffix) { return suffix.empty() || suffix[0] == '.'; }

std::optional<Cause> ObstacleOfFile(const std::string& path, const std::string& suffix)
{
    struct stat file = {};
    if (lstat(path.c_str(), &file) != 0) return std::nullopt;
    const std::string remedy = "move " + ShellQuoted(path) + " away";
    if (!S_ISREG(file.st_mode)) return Cause{path + " is " + KindOf(file) + ", not a file", remedy};
    if (file.st_nlink > 1 && !MayHaveOtherNames(suffix)) return Cause{path + " is also another file", remedy};
    return std::nullopt;
}

// From a line of /proc/locks: "1: POSIX  ADVISORY  WRITE 1234 08:01:5678 120 120"; 0 if it is not a lock of the file.
int HolderIn(const std::string& line, const struct stat& file)
{
    std::istringstream words(line);
    std::string number;
    std::string kind;
    std::string manner;
    std::string mode;
    int pid = 0;
    std::string identity;
    if (!(words >> number >> kind >> manner >> mode >> pid >> identity) || mode != "WRITE") return 0;
    std::array<char, 64> expected{};
    static_cast<void>(std::snprintf(expected.data(), expected.size(), "%02x:%02x:%ju", major(file.st_dev),
                                    minor(file.st_dev), static_cast<std::uintmax_t>(file.st_ino)));
    return identity == expected.data() ? pid : 0;
}

int HolderOf(const std::string& path)
{
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0) return 0;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        const int pid = HolderIn(line, file);
        if (pid > 0 && pid != getpid()) return pid;
    }
    return 0;
}

std::optional<Cause> FindLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    return Cause{"this process may write files of " + std::to_string(limit.rlim_cur) + " bytes only",
                 "start it without that limit (ulimit -f unlimited)"};
}

Cause NewerSchema(const StorePlace& place)
{
    return {"a later version of this software created " + place.Path(),
            "install that version, or move " + ShellQuoted(place.Path()) + " away to begin without settings"};
}

Cause Locked(const StorePlace& place)
{
    if (const std::optional<Cause> lock = FindLock(place)) return *lock;
    return {"other processes kept " + place.Path() + " locked for a second",
            "run this again; if it stays so, end the processes that 'fuser " + ShellQuoted(place.Path()) + "' names"};
}

std::string JoinGroup(const User& user, gid_t group)
{
    const std::string name = GroupName(group);
    if (UserOf(user.uid).IsMember(group)) return "log in again: the user " + user.name + " has since joined " + name;
    return "usermod -aG " + name + " " + user.name + ", and log in again";
}

// What lets this user use one directory or file.
std::string LetUse(const User& user, const std::string& path)
{
    struct stat file = {};
    const bool isKnown = stat(path.c_str(), &file) == 0;
    constexpr unsigned kReadWrite = S_IRGRP | S_IWGRP;
    if (isKnown && file.st_gid != 0 && (file.st_mode & kReadWrite) == kReadWrite && !user.IsMember(file.st_gid))
        return JoinGroup(user, file.st_gid);
    return "let the user " + user.name + " read and write " + path;
}

}  // namespace

StorePlace DurablePlace() { return MakePlace("SRCWATCH_STATE_DIR", "/var/lib/srcwatch", "settings.db"); }

StorePlace VolatilePlace() { return MakePlace("SRCWATCH_RUN_DIR", "/run/srcwatch", "volatile.db"); }

std::optional<Cause> FindMissingLibrary()
{
    // The platform uses it until the process ends.
    if (dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) != nullptr) return std::nullopt;
    return Cause{std::string("SQLite cannot be loaded: ") + dlerror(),
                 "install SQLite 3 where the loader finds " + std::string(kLibrary) + " (Debian: libsqlite3-0)"};
}

std::optional<Cause> FindObstacle(const StorePlace& place)
{
    if (place.Path().size() > kLongestPath) {
        return Cause{"the path of " + place.Path() + " has more than " + std::to_string(kLongestPath) + " bytes",
                     std::string("set ") + place.variable + " to a shorter one"};
    }
    for (const std::string& component : Components(place.directory)) {
        if (std::optional<Cause> obstacle = ObstacleOfDirectory(component)) return obstacle;
    }
    for (const char* suffix : kSuffixes) {
        if (std::optional<Cause> obstacle = ObstacleOfFile(place.Path(suffix), suffix)) return obstacle;
    }
    return std::nullopt;
}

std::optional<Cause> FindShortage(const StorePlace& place)
{
    const std::string directory = NearestExisting(place.directory);
    struct statvfs system = {};
    if (statvfs(directory.c_str(), &system) != 0) return std::nullopt;
    if ((system.f_flag & ST_RDONLY) != 0) {
        return Cause{"the file system of " + directory + " is mounted read-only",
                     "mount the file system of " + directory + " for writing"};
    }
    const std::uint64_t isFree = static_cast<std::uint64_t>(system.f_bavail) * system.f_frsize;
    if (system.f_blocks != 0 && isFree < kLeastFree) {
        return Cause{"the file system of " + directory + " is full: " + std::to_string(isFree) + " bytes are free",
                     "free space on the file system of " + directory};
    }
    return std::nullopt;
}

std::optional<Cause> FindLock(const StorePlace& place)
{
    for (const char* suffix : {"-shm", "", ".lock"}) {
        const int pid = HolderOf(place.Path(suffix));
        if (pid == 0) continue;
        const std::string process = "process " + std::to_string(pid);
        return Cause{process + " keeps " + place.Path() + " locked",
                     "continue " + process + " if it is stopped (kill -CONT " + std::to_string(pid) + "), or end it"};
    }
    return std::nullopt;
}

std::optional<Cause> FindForbiddenAbove(const StorePlace& place, const User& user)
{
    for (const std::string& path : Components(fs::path(place.directory).parent_path().string())) {
        if (MayUse(user, path, X_OK)) continue;
        return Cause{"the user " + user.name + " may not enter " + path + " (" + DescribeOwner(path) + ")",
                     "as root: chmod o+x " + ShellQuoted(path)};
    }
    return std::nullopt;
}

std::optional<Cause> FindForbidden(const StorePlace& place, const User& user)
{
    const std::string directory = NearestExisting(place.directory);
    if (!MayUse(user, directory, R_OK | W_OK | X_OK)) {
        return Cause{"the user " + user.name + " may not use " + directory + " (" + DescribeOwner(directory) + ")",
                     LetUse(user, directory)};
    }
    for (const std::string suffix : kSuffixes) {
        const unsigned access = suffix == ".lock" ? R_OK : suffix == ".changed" ? W_OK : R_OK | W_OK;
        const std::string path = place.Path(suffix);
        if (MayUse(user, path, access)) continue;
        return Cause{"the user " + user.name + " may not use " + path + " (" + DescribeOwner(path) + ")",
                     LetUse(user, path)};
    }
    return std::nullopt;
}

Cause CauseOf(int result, const StorePlace& place, const User& user)
{
    if (result == -ENOTSUP) return NewerSchema(place);
    if (result == -EBUSY) return Locked(place);
    if (const std::optional<Cause> library = FindMissingLibrary()) return *library;
    if (const std::optional<Cause> obstacle = FindObstacle(place)) return *obstacle;
    if (const std::optional<Cause> forbidden = FindForbiddenAbove(place, user)) return *forbidden;
    if (const std::optional<Cause> forbidden = FindForbidden(place, user)) return *forbidden;
    if (const std::optional<Cause> shortage = FindShortage(place)) return *shortage;
    if (const std::optional<Cause> limit = FindLimit()) return *limit;
    if (result == -ENOSPC) return {"the disk is full", "free space on the file system of " + place.directory};
    return {strerrordesc_np(-result), "'srcwatchctl --log settings list' shows which file, and why"};
}

std::string GiveTo(const User& user, const StorePlace& place)
{
    std::error_code error;
    const fs::path canonical = fs::canonical(place.directory, error);
    const std::string directory = ShellQuoted(error ? place.directory : canonical.string());
    return "as root: chown -R " + user.name + ":" + GroupName(user.gid) + " " + directory + " && chmod -R u+rwX " +
           directory;
}

std::optional<std::vector<std::string>> FindPutAside(const StorePlace& place)
{
    const std::string beginning = std::string(place.database) + ".damaged-";
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator it(place.directory, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        const bool isCompanion =
            name.size() > 4 && (name.rfind("-wal") == name.size() - 4 || name.rfind("-shm") == name.size() - 4);
        if (name.rfind(beginning, 0) == 0 && !isCompanion) found.push_back(it->path().string());
    }
    if (error && error != std::errc::no_such_file_or_directory) return std::nullopt;
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace ctl
