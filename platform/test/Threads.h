// SPDX-License-Identifier: Apache-2.0
//
// Threads that call the platform at once.
#ifndef SRCWATCH_PLATFORM_TEST_THREADS_H
#define SRCWATCH_PLATFORM_TEST_THREADS_H

#include "Promise.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace conformance {

constexpr int kThreads = 4;

/// Runs an action in all threads at once, and throws Broken if one of them did.
inline void InThreads(const std::function<void(int thread)>& action)
{
    std::mutex mutex;
    std::string reason;  // guarded by the mutex
    const auto run = [&](int thread) {
        try {
            action(thread);
        } catch (const std::exception& e) {
            const std::lock_guard<std::mutex> lock(mutex);
            reason = e.what();
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(run, thread);
    for (std::thread& thread : threads) thread.join();
    Require(reason.empty(), reason);
}

}  // namespace conformance

#endif
