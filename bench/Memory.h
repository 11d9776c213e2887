// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_BENCH_MEMORY_H
#define SRCWATCH_BENCH_MEMORY_H

namespace bench {

/// Prints the memory, in KiB, that this process shares with no other, and waits for the end of the input. Pages of a
/// library count as shared only while another process has them too, so two of a kind are to run for a true figure.
/// Gives the result for main.
int TellMemory();

}  // namespace bench

#endif
