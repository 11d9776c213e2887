// SPDX-License-Identifier: Apache-2.0
// The platform log, for the host platform's own lines.
#ifndef SRCWATCH_HOST_LOG_H
#define SRCWATCH_HOST_LOG_H

#include "dlog.h"

namespace host {

/// Writes a line under the host platform's own tag. An allocation failure loses the line, and nothing else.
void LogHost(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace host

#endif
