// SPDX-License-Identifier: Apache-2.0
#include "Clock.h"

namespace host {
namespace {

constexpr int64_t kMsPerDay = 86400000;

// Calendar arithmetic counts in years that begin in March, so that the leap day is the last of its year, and in eras
// of 400 years, which all have the same number of days.
constexpr int64_t kDaysPerEra = 146097;
constexpr int64_t kDaysFromEraToEpoch = 719468;

void SetDate(int64_t daysSinceEpoch, UtcTime* time)
{
    const int64_t days = daysSinceEpoch + kDaysFromEraToEpoch;
    const int64_t era = days / kDaysPerEra;
    const int64_t dayOfEra = days % kDaysPerEra;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t marchMonth = (5 * dayOfYear + 2) / 153;

    time->day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
    time->month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
    time->year = static_cast<int>(yearOfEra + era * 400 + (time->month <= 2 ? 1 : 0));
}

}  // namespace

UtcTime UtcNow()
{
    const int64_t now = NowMs(CLOCK_REALTIME);
    const int64_t ofDay = now % kMsPerDay;
    UtcTime time = {};
    SetDate(now / kMsPerDay, &time);
    time.hour = static_cast<int>(ofDay / 3600000);
    time.minute = static_cast<int>(ofDay / 60000 % 60);
    time.second = static_cast<int>(ofDay / 1000 % 60);
    time.millisecond = static_cast<int>(ofDay % 1000);
    return time;
}

}  // namespace host
