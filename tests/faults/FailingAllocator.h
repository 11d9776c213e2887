// SPDX-License-Identifier: Apache-2.0
//
// The allocator of a test program, for the libraries in it too: malloc and the like, and through them operator new. It
// fails on demand, in the thread that asks for it, and counts what is in use.
#ifndef SRCWATCH_TESTS_FAILINGALLOCATOR_H
#define SRCWATCH_TESTS_FAILINGALLOCATOR_H

namespace srcwatch_test {

enum class Shortage {
    kOnce,     // one allocation fails, those after it do not
    kLasting,  // it fails, and so do all after it
};

/// From now on the allocation of this number (1 is the next one) fails in this thread.
void BeginShortage(long number, Shortage shortage);
/// Ends it. @return True if an allocation has failed.
bool EndShortage();

/// Blocks of memory in use in the process.
long BlocksInUse();

}  // namespace srcwatch_test

#endif
