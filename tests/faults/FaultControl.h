// SPDX-License-Identifier: Apache-2.0
//
// What a test and the faulty system calls of a program share: which calls are to fail, and what became of them.
#ifndef SRCWATCH_TESTS_FAULTCONTROL_H
#define SRCWATCH_TESTS_FAULTCONTROL_H

#include <atomic>
#include <cstdint>

namespace srcwatch_test {

/// The variables of a program that is started with libsrcwatch-faults.so: the file that holds its FaultControl, the
/// directories and files whose calls count, separated by colons, and those among them that the program stores in.
constexpr const char* kFaultControlVariable = "SRCWATCH_TEST_FAULTS";
constexpr const char* kFaultPathsVariable = "SRCWATCH_TEST_FAULT_PATHS";
constexpr const char* kFaultStoresVariable = "SRCWATCH_TEST_FAULT_STORES";

/// In place of an errno value: calls do not return, as on a file system that has gone.
constexpr int kHang = -1;

/// What a system call does. An error fails only those calls that may meet it.
enum class CallKind {
    kOpen,
    kCreate,
    kList,
    kRead,
    kWrite,
    kSync,
    kResize,
    kLock,
    kMap,
    kExamine,
    kChange,
    kAddName,
    kWatch,
    kWatchQueue,
};

/// Lies in a file that both map. Everything is zero at first: no call fails.
struct FaultControl {
    std::atomic<int> isArmed;  ///< calls are counted from then on; set last
    std::atomic<int> error;    ///< of those that may meet this errno value
    std::atomic<int> first;    ///< the number of the first call that fails, from 1; 0 for none
    std::atomic<int> length;   ///< how many fail; 0 for all of the time below
    std::atomic<std::int64_t> milliseconds;

    std::atomic<int> calls;                    ///< counted so far
    std::atomic<int> failed;                   ///< of these
    std::atomic<std::int64_t> firstFailureMs;  ///< by CLOCK_MONOTONIC
    std::atomic<std::int64_t> lastFailureMs;
    char where[512];  ///< the first that failed
};

}  // namespace srcwatch_test

#endif
