// SPDX-License-Identifier: Apache-2.0
// Process-wide objects that are made at their first use and never destroyed, so that they serve static constructors
// and exit handlers alike.
#ifndef SRCWATCH_HOST_LEAKED_H
#define SRCWATCH_HOST_LEAKED_H

#include <atomic>
#include <memory>

namespace host {

/// Returns the process's one T. Lock-free, because a lock that another thread holds during fork() stays held in the
/// child. Several threads may construct a T at the same time; all get the one that was first, so a constructor has no
/// lasting effects outside its object.
template <typename T>
T& Leaked()
{
    static std::atomic<T*> instance{nullptr};
    T* current = instance.load(std::memory_order_acquire);
    if (current != nullptr) return *current;

    auto fresh = std::make_unique<T>();
    if (instance.compare_exchange_strong(current, fresh.get(), std::memory_order_acq_rel)) return *fresh.release();
    return *current;
}

}  // namespace host

#endif
