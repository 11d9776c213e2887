/* SPDX-License-Identifier: Apache-2.0 */
#ifndef EXAMPLE_DLOG_H
#define EXAMPLE_DLOG_H
#ifdef __cplusplus
extern "C" {
#endif
int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
#ifdef __cplusplus
}
#endif
#endif
