// SPDX-License-Identifier: Apache-2.0
//
// The platform as benchmarks want it: settings in memory, every read counted, log dropped, eight HDMI inputs. A program
// that contains it may switch over to the host platform, so that both are measured by the same code in one run.
#ifndef SRCWATCH_BENCH_MEMORYPLATFORM_H
#define SRCWATCH_BENCH_MEMORYPLATFORM_H

#include <cstdint>
#include <string>

namespace bench {

/// From now on settings and log are those of the host platform, or those in memory again.
void UseHostPlatform(bool on);

void SetText(const std::string& key, std::string text);
const std::string& Text(const std::string& key);

/// How often a text was read from memory so far.
std::int64_t MemoryReads();

}  // namespace bench

#endif
