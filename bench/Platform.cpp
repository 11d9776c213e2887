// SPDX-License-Identifier: Apache-2.0
//
// The platform in memory as benchmarks want it: eight HDMI inputs, calls counted and not kept.
#include "MemoryPlatform.h"

void srcwatch_test::ConfigurePlatform(Platform& platform)
{
    platform.keepsCalls = false;
    platform.hdmiCount = {0, 8};
}
