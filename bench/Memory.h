// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_BENCH_MEMORY_H
#define SRCWATCH_BENCH_MEMORY_H

namespace bench {

/// Prints the memory, in KiB, that this process shares with no other, and waits for the end of the input. Pages of a
/// library count as shared only while another process has them too, so a true figure needs two of a kind.
/// @return The result for main.
int PrintMemory();

}  // namespace bench

#endif
