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

void AfterForkInParent()
{
    SystemInfoAfterFork();
    SettingsStoreAfterFork();
    SettingsWatchAfterForkInParent();
}

void AfterForkInChild()
{
    SystemInfoAfterFork();
    SettingsStoreAfterFork();
    SettingsWatchAfterForkInChild();
}

void Register() { (void)pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild); }  // fails only without memory

pthread_once_t g_registered = PTHREAD_ONCE_INIT;  // unlike a static's guard, it works again in a forked child

}  // namespace

void TakePartInForks() { (void)pthread_once(&g_registered, Register); }

}  // namespace host
