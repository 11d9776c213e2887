// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_HOST_CLOCK_H
#define SRCWATCH_HOST_CLOCK_H

#include <cstdint>

#include <time.h>

namespace host {

/// A calendar time in UTC, to the millisecond. Computed without the C library's time-zone lock, which a thread may hold
/// while another one forks.
struct UtcTime {
    int year, month, day, hour, minute, second, millisecond;
};

UtcTime UtcNow();

inline std::int64_t Milliseconds(const timespec& time)
{
    return static_cast<std::int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

inline std::int64_t NowMs(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return Milliseconds(now);
}

/// Returns monotonic milliseconds, a few old: a fifth of the cost of the exact clock.
inline std::int64_t CoarseNowMs() { return NowMs(CLOCK_MONOTONIC_COARSE); }

}  // namespace host

#endif
