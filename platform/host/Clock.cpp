// SPDX-License-Identifier: Apache-2.0
#include "Clock.h"

#include <glib.h>

namespace host {
namespace {

constexpr std::int64_t kMsPerDay = 86400000;

constexpr std::int64_t kEpochInGDates = 719163;  // January 1st, 1970; January 1st of the year 1 is day 1

}  // namespace

UtcTime UtcNow()
{
    const std::int64_t now = NowMs(CLOCK_REALTIME);
    const std::int64_t ofDay = now % kMsPerDay;
    GDate date = {};
    g_date_set_julian(&date, static_cast<guint32>(now / kMsPerDay + kEpochInGDates));
    UtcTime time = {};
    time.year = g_date_get_year(&date);
    time.month = g_date_get_month(&date);
    time.day = g_date_get_day(&date);
    time.hour = static_cast<int>(ofDay / 3600000);
    time.minute = static_cast<int>(ofDay / 60000 % 60);
    time.second = static_cast<int>(ofDay / 1000 % 60);
    time.millisecond = static_cast<int>(ofDay % 1000);
    return time;
}

}  // namespace host
