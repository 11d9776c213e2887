/* SPDX-License-Identifier: Apache-2.0 */
/* The platform log, as far as the library uses it. */
#ifndef SRCWATCH_PLATFORM_DLOG_H
#define SRCWATCH_PLATFORM_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

/** Priorities of a log line, lowest first. */
enum { DLOG_VERBOSE = 2, DLOG_DEBUG = 3, DLOG_INFO = 4, DLOG_WARN = 5, DLOG_ERROR = 6, DLOG_FATAL = 7 };

/**
 * Writes one line to the platform log.
 *
 * @param log_id    Log buffer; 0 is the main one.
 * @param priority  One of the DLOG_ priorities.
 * @param tag       Name of the component that logs.
 * @param format    printf format of the line, its newline included; the format's arguments follow.
 * @return The number of bytes written, or a negative value; no caller depends on it.
 * @note Callable from any thread, and while shared libraries are still being loaded.
 */
/* NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the name is given */
int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
