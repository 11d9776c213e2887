// SPDX-License-Identifier: Apache-2.0
#include "Fork.h"

#include <pthread.h>

namespace host {
namespace {

// No thread holds two modules' locks at once, so the order is free.
void BeforeFork()
{
    SettingsWatchBeforeFork();
    SettingsStoreBeforeFork();
    SystemInfoBeforeFork();
}

template <bool IsChild>
void AfterFork()
{
    SystemInfoAfterFork();
    SettingsStoreAfterFork();
    SettingsWatchAfterFork(IsChild);
}

// Fails only without memory, and then a fork has to do without.
void Register() { static_cast<void>(pthread_atfork(BeforeFork, AfterFork<false>, AfterFork<true>)); }

pthread_once_t g_registered = PTHREAD_ONCE_INIT;  // unlike a static's guard, it works again in a forked child

}  // namespace

void TakePartInForks() { static_cast<void>(pthread_once(&g_registered, Register)); }  // never fails

}  // namespace host
