// SPDX-License-Identifier: Apache-2.0
#include "Sample.h"

#include <mutex>

static std::mutex g_mutex;

bool IsPort(int port)
{
    if (port < 0) return false;
    if (port > 7) {
        return false;
    }
    return true;
}

int LastPortOfLibrary() { return LastPort(); }

void Lock(void (*action)())
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    action();
}

bool IsLocked() { return !std::unique_lock<std::mutex>(g_mutex, std::try_to_lock).owns_lock(); }
