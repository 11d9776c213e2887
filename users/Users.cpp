// SPDX-License-Identifier: Apache-2.0
#include "Users.h"

#include "Handle.h"

#include <algorithm>
#include <cstdio>

#include <glib.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace srcwatch {

namespace {

std::vector<gid_t> GroupsOf(const passwd& entry)
{
    int count = 64;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    if (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<std::size_t>(count));
        static_cast<void>(getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count));  // there is room now
    }
    groups.resize(static_cast<std::size_t>(count));
    return groups;
}

User FromEntry(const passwd& entry) { return {entry.pw_uid, entry.pw_gid, GroupsOf(entry), entry.pw_name}; }

unsigned BitsFor(const User& user, const struct stat& file)
{
    if (user.uid == file.st_uid) return file.st_mode >> 6 & 7;
    return user.IsMember(file.st_gid) ? file.st_mode >> 3 & 7 : file.st_mode & 7;
}

}  // namespace

bool User::IsMember(gid_t group) const
{
    return gid == group || std::find(groups.begin(), groups.end(), group) != groups.end();
}

User ThisUser()
{
    User user = UserOf(geteuid());
    user.gid = getegid();
    user.groups.resize(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    if (getgroups(static_cast<int>(user.groups.size()), user.groups.data()) < 0) user.groups.clear();
    return user;
}

User UserOf(uid_t uid)
{
    const passwd* entry = getpwuid(uid);
    return entry != nullptr ? FromEntry(*entry) : User{uid, uid, {}, std::to_string(uid)};
}

std::optional<gid_t> GroupNamed(const std::string& name)
{
    const group* entry = getgrnam(name.c_str());
    if (entry == nullptr) return std::nullopt;
    return entry->gr_gid;
}

std::string GroupName(gid_t group)
{
    const struct group* entry = getgrgid(group);
    return entry != nullptr ? entry->gr_name : std::to_string(group);
}

bool MayUse(const User& user, const std::string& path, unsigned access)
{
    struct stat file = {};
    if (user.uid == 0 || stat(path.c_str(), &file) != 0) return true;
    if (getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0) return true;
    return (BitsFor(user, file) & access) == access;
}

std::string DescribeOwner(const std::string& path)
{
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0) return "unknown";
    char mode[8];
    static_cast<void>(std::snprintf(mode, sizeof mode, " %04o", file.st_mode & 07777U));  // four digits
    return UserOf(file.st_uid).name + ":" + GroupName(file.st_gid) + mode;
}

std::string ShellQuoted(const std::string& path)
{
    constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%";
    if (path.find_first_not_of(kPlain) == std::string::npos) return path;
    const Handle<char, g_free> quoted(g_shell_quote(path.c_str()));
    return quoted.get();
}

}  // namespace srcwatch
