// SPDX-License-Identifier: Apache-2.0
//
// Formats of log lines that are handed to a function, which logs the line: the compiler checks a format where it is
// made, and its arguments where it is used.
#ifndef SRCWATCH_LINEFORMAT_H
#define SRCWATCH_LINEFORMAT_H

#include "QDInfoCommon.h"

namespace qdinfo {

/// A format of the platform's log for arguments of just these types. QDLOG_FORMAT makes one.
template <typename... Args>
struct LineFormat {
    const char* text;
};

template <typename... Args>
LineFormat<Args...> FormatFor(Args... examples);  // only its type is used

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // QDLOG_FORMAT has checked it

template <typename... Args>
void LogLine(const CallSite& site, int priority, LineFormat<Args...> format, Args... args)
{
    __dlog_print(0, priority, "qdinfo", format.text, site.file, site.function, site.line, LogStamp(), args...);
}

#pragma GCC diagnostic pop

}  // namespace qdinfo

/// The format of a log line with this text, which is a literal, for arguments of the types of the examples. The
/// compiler checks the text against the examples, which are not evaluated.
#define QDLOG_FORMAT(text, ...)                                                                               \
    (static_cast<void>(sizeof(__dlog_print(0, 0, "", QDLOG_PREFIX text "\n", "", "", 0, 0L, ##__VA_ARGS__))), \
     decltype(qdinfo::FormatFor(__VA_ARGS__)){QDLOG_PREFIX text "\n"})

#endif
