// SPDX-License-Identifier: Apache-2.0
#pragma once

inline int LastPort() { return 7; }

bool IsPort(int port);

/// The same, as the library sees it.
int LastPortOfLibrary();

/// Calls action with the lock held.
void Lock(void (*action)());

/// Whether another thread holds the lock.
bool IsLocked();
