// SPDX-License-Identifier: Apache-2.0
//
// The users of the machine, and what they may do with a file.
#ifndef SRCWATCH_USERS_USERS_H
#define SRCWATCH_USERS_USERS_H

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace srcwatch {

/// The user and the group that the packages create.
constexpr const char* kServiceAccount = "srcwatch";

struct User {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
    std::string name;  ///< the number where there is no name

    bool IsMember(gid_t group) const;
};

/// Returns the user of this process, with the groups that the process has.
User ThisUser();

/// Returns the user as the machine knows it; of a number that has no name, one without groups.
User UserOf(uid_t uid);

std::optional<gid_t> GroupNamed(const std::string& name);

/// Returns the name of a group, or its number.
std::string GroupName(gid_t group);

/// Returns false if the mode of a file forbids a user what R_OK, W_OK and X_OK say. A file that is absent or has an
/// access control list forbids nothing here.
bool MayUse(const User& user, const std::string& path, unsigned access);

/// Returns the owner, the group and the mode of a file: "root:root 0644".
std::string DescribeOwner(const std::string& path);

/// Returns a path as a shell takes it.
std::string ShellQuoted(const std::string& path);

}  // namespace srcwatch

#endif
