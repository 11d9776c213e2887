// SPDX-License-Identifier: Apache-2.0
// The boundary to C callers.
#ifndef SRCWATCH_HOST_GUARDED_H
#define SRCWATCH_HOST_GUARDED_H

#include <new>

#define SRCWATCH_HOST_API __attribute__((visibility("default")))

namespace host {

/// Runs body and returns its result, or otherwise if memory ran out: no exception reaches a C caller.
template <typename Result, typename Body>
Result Guarded(Result otherwise, Body body)
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return otherwise;
    }
}

}  // namespace host

#endif
