// SPDX-License-Identifier: Apache-2.0
//
// The service's lines in the platform log.
#ifndef SRCWATCH_SERVICE_LOG_H
#define SRCWATCH_SERVICE_LOG_H

#include <dlog.h>

namespace srcwatch {

/// Priorities of the platform's log. A platform's header need not name them.
enum LogPriority { kLogInfo = 4, kLogWarn = 5, kLogError = 6 };

}  // namespace srcwatch

/// Logs one line. The format is a literal, so the compiler checks the arguments. Texts from outside go through
/// Printable() first.
#define SWLOG(priority, format, ...) __dlog_print(0, srcwatch::priority, "srcwatch-service", format "\n", ##__VA_ARGS__)

#endif
