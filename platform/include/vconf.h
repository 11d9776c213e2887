/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The platform's settings store, as far as the library uses it: typed values under keys that begin with
 * "db/" (durable) or "memory/" (lost at power-off). All functions are callable from any thread.
 */
#ifndef SRCWATCH_PLATFORM_VCONF_H
#define SRCWATCH_PLATFORM_VCONF_H

#ifdef __cplusplus
extern "C" {
#endif

/** Reads an integer. @return 0, or a negative value with *value untouched (absent, of another type, store broken). */
int vconf_get_int(const char* key, int* value);

/** Writes an integer. @return 0, or a negative value with the old value kept. */
int vconf_set_int(const char* key, int value);

/** Reads a text. @return A new string that the caller releases with free(), or null (absent, of another type). */
char* vconf_get_str(const char* key);

/** Writes a text. @return 0, or a negative value with the old value kept. */
int vconf_set_str(const char* key, const char* value);

#ifdef __cplusplus
}
#endif

#endif
