// SPDX-License-Identifier: Apache-2.0
// srcwatch_host_examine: what is wrong with the platform, from what can be seen of its files, and what helps.
#include "DatabaseFiles.h"
#include "Guarded.h"
#include "Paths.h"
#include "Schema.h"
#include "SettingsStore.h"
#include "Sqlite.h"
#include "SystemInfo.h"
#include "Users.h"
#include "system_info.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace host {
namespace {

using srcwatch::DescribeOwner;
using srcwatch::GroupName;
using srcwatch::ShellQuoted;
using srcwatch::ThisUser;
using srcwatch::User;
using srcwatch::UserOf;

constexpr int kMostInputs = 8;
constexpr std::size_t kLongestPath = 504;    // of a database, for SQLite
constexpr std::uint64_t kLeastFree = 65536;  // bytes that a save may need

// What a check found.
struct Finding {
    std::string detail;
    std::string remedy;  // empty if nothing is wrong
};
using MaybeFinding = std::optional<Finding>;

Finding Because(const std::string& what, const Finding& cause) { return {what + ": " + cause.detail, cause.remedy}; }

// ---------------------------------------------------------------------------------------------------------------------
// Configuration

Finding WhyNoInputs(const std::string& path, const std::string& entry)
{
    const std::string user = ThisUser().name;
    const std::string unknown = "the number of HDMI inputs is not known: " + path + ": ";
    const std::string allow = "let the user " + user + " read " + path;
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0) return {unknown + strerrordesc_np(errno), errno == ENOENT ? entry : allow};
    if (!S_ISREG(file.st_mode)) return {path + " is not a file", "move it away, and " + entry};
    if (access(path.c_str(), R_OK) != 0) return {"the user " + user + " may not read " + path, allow};
    return {unknown + FindFaultOfInputs(), entry};
}

Finding CheckInputs()
{
    const std::string& path = GetPaths().confPath;
    const std::string entry = "put 'inputs=4', or what the TV has, into the group [hdmi] of " + path;
    int count = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) != 0) return WhyNoInputs(path, entry);
    if (count >= 1 && count <= kMostInputs) return {std::to_string(count) + " HDMI input(s)", ""};
    return {std::to_string(count) + " HDMI inputs are not possible: 1 to " + std::to_string(kMostInputs), entry};
}

// ---------------------------------------------------------------------------------------------------------------------
// Why settings cannot be used, each by one kind of cause

// The directory, those above it, and from the root on.
std::vector<std::string> Components(const std::string& directory)
{
    std::vector<std::string> components;
    std::filesystem::path whole;
    for (const std::filesystem::path& part : std::filesystem::path(directory)) {
        whole /= part;
        components.push_back(whole);
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

MaybeFinding ObstacleOfDirectory(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) return std::nullopt;
        return Finding{path + " is not a directory", "move " + ShellQuoted(path) + " away"};
    }
    if (errno == ENAMETOOLONG) return Finding{"a name in " + path + " is too long", "use shorter names"};
    if (!Exists(path)) return std::nullopt;
    if (errno == ELOOP) return Finding{path + " is a link that leads back to itself", "rm " + ShellQuoted(path)};
    if (errno == ENOENT) return Finding{path + " is a link to nothing", "rm " + ShellQuoted(path)};
    return std::nullopt;
}

MaybeFinding ObstacleOfFile(const PlannedFile& planned)
{
    const int error = planned.FindObstacle();
    if (error == 0) return std::nullopt;
    struct stat file = {};
    const bool isPipe = lstat(planned.path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode);
    const char* const what = error == EMLINK   ? "also another file"
                             : error == ELOOP  ? "a link, not a file"
                             : error == EISDIR ? "a directory, not a file"
                             : isPipe          ? "a pipe, not a file"
                                               : "a device or socket, not a file";
    return Finding{planned.path + " is " + what, "move " + ShellQuoted(planned.path) + " away"};
}

MaybeFinding FindLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    return Finding{"this process may write files of " + std::to_string(limit.rlim_cur) + " bytes only",
                   "start it without that limit (ulimit -f unlimited)"};
}

Finding NewerSchema(const std::string& path)
{
    return {"a later version of this software created " + path,
            "install that version, or move " + ShellQuoted(path) + " away to begin without settings"};
}

Finding Locked(const DatabaseFiles& files)
{
    const pid_t holder = files.FindLockHolder();
    if (holder <= 0) {
        return {
            "other processes kept " + files.Path() + " locked for a second",
            "run this again; if it stays so, end the processes that 'fuser " + ShellQuoted(files.Path()) + "' names"};
    }
    const std::string number = std::to_string(holder);
    return {"process " + number + " keeps " + files.Path() + " locked",
            "continue process " + number + " if it is stopped (kill -CONT " + number + "), or end it"};
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

MaybeFinding FindForbiddenUse(const User& user, const std::string& path, unsigned access)
{
    if (MayUse(user, path, access)) return std::nullopt;
    return Finding{"the user " + user.name + " may not use " + path + " (" + DescribeOwner(path) + ")",
                   LetUse(user, path)};
}

MaybeFinding FindMissingSqlite()
{
    if (LoadSqlite() != nullptr) return std::nullopt;
    return Finding{
        "SQLite cannot be loaded: " + WhyNoSqlite(),
        "install SQLite 3 where the loader finds " + std::string(kSqliteLibrary) + " (Debian: libsqlite3-0)"};
}

MaybeFinding FindObstacle(Family family)
{
    const DatabaseFiles& files = FilesOf(family);
    if (files.Path().size() > kLongestPath) {
        return Finding{
            "the path of " + files.Path() + " has more than " + std::to_string(kLongestPath) + " bytes",
            std::string("set ") + (family == kDurable ? kStateVariable : kRunVariable) + " to a shorter one"};
    }
    for (const std::string& component : Components(files.Directory())) {
        if (MaybeFinding obstacle = ObstacleOfDirectory(component)) return obstacle;
    }
    for (const PlannedFile& file : files.Planned()) {
        if (MaybeFinding obstacle = ObstacleOfFile(file)) return obstacle;
    }
    return std::nullopt;
}

MaybeFinding FindShortage(Family family)
{
    const std::string directory = NearestExisting(DirectoryOf(family));
    struct statvfs system = {};
    if (statvfs(directory.c_str(), &system) != 0) return std::nullopt;
    if ((system.f_flag & ST_RDONLY) != 0) {
        return Finding{"the file system of " + directory + " is mounted read-only",
                       "mount the file system of " + directory + " for writing"};
    }
    const std::uint64_t isFree = static_cast<std::uint64_t>(system.f_bavail) * system.f_frsize;
    if (system.f_blocks != 0 && isFree < kLeastFree) {
        return Finding{"the file system of " + directory + " is full: " + std::to_string(isFree) + " bytes are free",
                       "free space on the file system of " + directory};
    }
    return std::nullopt;
}

MaybeFinding FindForbiddenAbove(Family family, const User& user)
{
    for (const std::string& path : Components(std::filesystem::path(DirectoryOf(family)).parent_path())) {
        if (MayUse(user, path, X_OK)) continue;
        return Finding{"the user " + user.name + " may not enter " + path + " (" + DescribeOwner(path) + ")",
                       "as root: chmod o+x " + ShellQuoted(path)};
    }
    return std::nullopt;
}

MaybeFinding FindForbidden(Family family, const User& user)
{
    const std::string directory = NearestExisting(DirectoryOf(family));
    MaybeFinding forbidden = FindForbiddenUse(user, directory, R_OK | W_OK | X_OK);
    for (const PlannedFile& file : FilesOf(family).Planned()) {
        if (!forbidden) forbidden = FindForbiddenUse(user, file.path, file.access);
    }
    return forbidden;
}

Finding CauseOf(int result, Family family, const User& user)
{
    if (result == -ENOTSUP) return NewerSchema(FilesOf(family).Path());
    if (result == -EBUSY) return Locked(FilesOf(family));
    if (const MaybeFinding library = FindMissingSqlite()) return *library;
    if (const MaybeFinding obstacle = FindObstacle(family)) return *obstacle;
    if (const MaybeFinding forbidden = FindForbiddenAbove(family, user)) return *forbidden;
    if (const MaybeFinding forbidden = FindForbidden(family, user)) return *forbidden;
    if (const MaybeFinding shortage = FindShortage(family)) return *shortage;
    if (const MaybeFinding limit = FindLimit()) return *limit;
    if (result == -ENOSPC) return {"the disk is full", "free space on the file system of " + DirectoryOf(family)};
    return {strerrordesc_np(-result), "'srcwatchctl --log settings list' shows which file, and why"};
}

// ---------------------------------------------------------------------------------------------------------------------
// The checks of the settings

// Of a setting that no program uses.
std::string KeyIn(Family family)
{
    return (family == kDurable ? kDurablePrefix : kVolatilePrefix) + ("srcwatch-host/" + std::to_string(getpid()));
}

// Returns 0 or why the settings of a family cannot be read.
int Read(Family family)
{
    int number = 0;
    const int result = ReadNumber(KeyIn(family).c_str(), &number);
    return result == -ENOENT ? 0 : result;
}

// The setting is removed again in any case. Returns 0 or why that failed.
int Write(Family family)
{
    const std::string key = KeyIn(family);
    const srcwatch_host_value value = {nullptr, getpid(), 0};
    int number = 0;
    int result = WriteValue(key.c_str(), &value);
    if (result == 0) result = ReadNumber(key.c_str(), &number);
    const int removed = WriteValue(key.c_str(), nullptr);
    if (result == 0 && number != getpid()) return -EIO;
    return result != 0 ? result : removed;
}

Finding CheckUse(const char* done, int (*use)(Family), const std::string& verdict)
{
    std::string places;
    for (const Family family : kFamilies) {
        const int result = use(family);
        if (result < 0)
            return Because(FilesOf(family).Path() + " cannot be " + done, CauseOf(result, family, ThisUser()));
        places += (places.empty() ? "" : ", ") + DirectoryOf(family);
    }
    return {verdict + " in " + places, ""};
}

std::string SettingsText()
{
    int count = 0;
    const auto add = [](const char*, const srcwatch_host_value*, void* counted) { ++*static_cast<int*>(counted); };
    // What cannot be listed could not be read before, either.
    static_cast<void>(srcwatch_host_list_settings(add, &count));
    return std::to_string(count) + " setting(s)";
}

Finding CheckDirectory(Family family)
{
    if (const MaybeFinding obstacle = FindObstacle(family)) return *obstacle;
    if (const MaybeFinding shortage = FindShortage(family)) return *shortage;
    const std::string& directory = DirectoryOf(family);
    if (access(directory.c_str(), F_OK) != 0 && errno == ENOENT)
        return {directory + " is created when it is first used", ""};
    return {directory + ": " + DescribeOwner(directory), ""};
}

// What gives settings to a user.
std::string GiveTo(const User& user, const std::string& path)
{
    std::error_code error;
    const std::string canonical = std::filesystem::canonical(path, error);
    const std::string directory = ShellQuoted(error ? path : canonical);
    return "as root: chown -R " + user.name + ":" + GroupName(user.gid) + " " + directory + " && chmod -R u+rwX " +
           directory;
}

// The service's user may use the files, whoever runs this.
Finding CheckOwnership(uid_t serviceUser)
{
    if (serviceUser == static_cast<uid_t>(-1)) return {"the user of the service is not known", ""};
    const User service = UserOf(serviceUser);
    for (const Family family : kFamilies) {
        if (access(DirectoryOf(family).c_str(), F_OK) != 0) continue;
        const std::string what = "the service cannot use its settings";
        if (const MaybeFinding above = FindForbiddenAbove(family, service)) return Because(what, *above);
        const MaybeFinding forbidden = FindForbidden(family, service);
        if (forbidden) return {what + ": " + forbidden->detail, GiveTo(service, DirectoryOf(family))};
    }
    return {"the user " + service.name + " may use the settings", ""};
}

Finding CheckDamage()
{
    for (const Family family : kFamilies) {
        std::vector<std::string> kept;
        if (FilesOf(family).FindKeptRemains(&kept) != 0) {
            return Because("unknown: " + DirectoryOf(family) + " cannot be listed",
                           CauseOf(-EACCES, family, ThisUser()));
        }
        if (kept.empty()) continue;
        return {std::to_string(kept.size()) + " database(s) were damaged and put aside, the last as " + kept.back(),
                "what was readable in it is in use: 'srcwatchctl settings list' shows it, and 'srcwatchctl settings "
                "restore FILE' brings back a backup; then move " +
                    ShellQuoted(kept.back()) + " elsewhere"};
    }
    if (srcwatch_host_check_settings() == -EUCLEAN)
        return {"a database is damaged", "'srcwatchctl settings repair' recovers what is readable"};
    return {"no damaged database", ""};
}

template <typename Report>
void Examine(uid_t serviceUser, Report report)
{
    report("hdmi-count", CheckInputs());
    report("sqlite", FindMissingSqlite().value_or(Finding{"SQLite can be loaded", ""}));
    report("state-directory", CheckDirectory(kDurable));
    report("run-directory", CheckDirectory(kVolatile));
    report("settings-readable", CheckUse("read", Read, SettingsText()));
    report("settings-writable", CheckUse("written", Write, "a setting was written, read and removed"));
    report("settings-owner", CheckOwnership(serviceUser));
    report("settings-damaged", CheckDamage());
}

}  // namespace
}  // namespace host

SRCWATCH_HOST_API int srcwatch_host_examine(uid_t service_user,
                                            void (*callback)(const srcwatch_host_finding* finding, void* user_data),
                                            void* user_data)
{
    if (callback == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [service_user, callback, user_data] {
        host::Examine(service_user, [callback, user_data](const char* check, const host::Finding& finding) {
            const char* const remedy = finding.remedy.empty() ? nullptr : finding.remedy.c_str();
            const srcwatch_host_finding found = {check, finding.detail.c_str(), remedy};
            callback(&found, user_data);
        });
        return 0;
    });
}
