// SPDX-License-Identifier: Apache-2.0
// What the host platform does when the process forks.
#ifndef SRCWATCH_HOST_FORK_H
#define SRCWATCH_HOST_FORK_H

namespace host {

/// Has the modules below take part in every later fork(). To be called before any of them takes a lock or opens
/// something that a child must not inherit; cheap when repeated.
void TakePartInForks();

/// Each module's part: before the fork in the parent, and after it in parent and child.
void SettingsStoreBeforeFork();
void SettingsStoreAfterFork();
void SettingsWatchBeforeFork();
void SettingsWatchAfterFork(bool isChild);
void SystemInfoBeforeFork();
void SystemInfoAfterFork();

}  // namespace host

#endif
