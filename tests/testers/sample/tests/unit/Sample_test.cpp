// SPDX-License-Identifier: Apache-2.0
#include "Sample.h"

#include <initializer_list>
#include <thread>

static bool locked = false;

static void LookFromAnotherThread()
{
    std::thread([] { locked = IsLocked(); }).join();
}

// Each line is one that a tester's test takes away.
int main()
{
    bool right = true;
    for (const int port : {0, 1, 7}) right = right && IsPort(port);
    right = right && !IsPort(-1);
    right = right && !IsPort(8);
    right = right && !IsPort(9);
    right = right && LastPortOfLibrary() == 7;
    right = right && !IsLocked();
    Lock(LookFromAnotherThread);
    right = right && locked;
    return right ? 0 : 1;
}
