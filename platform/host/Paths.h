// SPDX-License-Identifier: Apache-2.0
// Where the host platform keeps its files.
#ifndef SRCWATCH_HOST_PATHS_H
#define SRCWATCH_HOST_PATHS_H

#include <string>

#include <fcntl.h>

namespace host {

/// The variables that name other directories.
constexpr const char* kStateVariable = "SRCWATCH_STATE_DIR";
constexpr const char* kRunVariable = "SRCWATCH_RUN_DIR";

/// Absolute paths, read from the environment once.
struct Paths {
    Paths();

    std::string stateDir;
    std::string runDir;
    std::string confPath;
};

const Paths& GetPaths();

/// Returns the value of an environment variable, or null if it is unset or empty. Programs that run with raised
/// privileges see none: who starts them must not choose the files they write.
const char* Environment(const char* name);

/// Creates a directory and its parents where missing, for all to read (0755). What root creates belongs to the owner of
/// the directory above. @return 0 or an errno value.
int EnsureDirectory(const std::string& path);

/// Gives a new file to the owner and the group of the directory that it was created in, if root created it: they are to
/// use it, too. @return True if it has been given.
bool GiveToOwnerOf(int directory, int file);

/// Has what was created or renamed in a directory survive a power cut.
void SyncDirectory(const std::string& path);

/// Opens a file, for all to read (0644) if it is created, with a close-on-exec descriptor that is none of the standard
/// ones: other code writes to those. A relative path is one in the open directory. @return The descriptor, or -1 with
/// errno set.
int OpenAboveStderr(const char* path, int flags, int directory = AT_FDCWD);

}  // namespace host

#endif
