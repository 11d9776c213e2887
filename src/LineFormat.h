// SPDX-License-Identifier: Apache-2.0
//
// Log lines of helpers, which name the place of their callers; and formats of lines that are handed to a function,
// which logs the line: the compiler checks a format where it is made, and its arguments where it is used.
#ifndef SRCWATCH_LINEFORMAT_H
#define SRCWATCH_LINEFORMAT_H

#include "QDInfoCommon.h"

namespace qdinfo {

/// The place that a log line names. A helper that logs for its callers takes one, by default its caller's own.
struct CallSite {
    const char* file;
    const char* function;
    int line;

    static constexpr CallSite Here(const char* path = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                                   int line = __builtin_LINE())
    {
        return CallSite{detail::BaseName(path), function, line};
    }
};

/// A format of the platform's log for arguments of just these types. QDLOG_FORMAT makes one.
template <typename... Args>
struct LineFormat {
    const char* text;
};

template <typename... Args>
LineFormat<Args...> FormatFor(const char* text, Args... examples);  // only its type is used

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // QDLOG_FORMAT has checked it

template <typename... Args>
void LogLine(const CallSite& site, int priority, LineFormat<Args...> format, Args... args)
{
    __dlog_print(0, priority, "qdinfo", format.text, site.file, site.function, site.line, detail::LogStamp(), args...);
}

#pragma GCC diagnostic pop

}  // namespace qdinfo

/// QDLOG_AT(site, priority, text, ...) is QDLOG for another place than this one.
#define QDLOG_AT(site, ...) QDLOG_LINE((site).file, (site).function, (site).line, __VA_ARGS__)

/// The format of a log line with this text, which is a literal, for arguments of the types of the examples, which are
/// not evaluated: QDLOG_FORMAT(text, ...). The compiler checks the text against them.
#define QDLOG_FORMAT(...)                                                                                            \
    (static_cast<void>(sizeof(                                                                                       \
         __dlog_print(0, 0, "", QDLOG_PREFIX QDLOG_TEXT(__VA_ARGS__) "\n", "", "", 0, 0L QDLOG_REST(__VA_ARGS__)))), \
     decltype(qdinfo::FormatFor(__VA_ARGS__)){QDLOG_PREFIX QDLOG_TEXT(__VA_ARGS__) "\n"})

#endif
