/* SPDX-License-Identifier: Apache-2.0 */
/* The platform's system information, as far as the library uses it. */
#ifndef SRCWATCH_PLATFORM_SYSTEM_INFO_H
#define SRCWATCH_PLATFORM_SYSTEM_INFO_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Keys of built-in system information. */
typedef enum {
    SYSTEM_INFO_KEY_NUM_OF_HDMI = 122 /**< number of HDMI inputs, integer */
} system_info_key_e;

/**
 * Reads an integer of the system information.
 * @return 0, or another value with *value untouched.
 * @note Callable while shared libraries are still being loaded.
 */
int system_info_get_value_int(system_info_key_e key, int* value);

/** Reads a feature switch by its full name. @return 0, or another value with *value untouched. */
int system_info_get_custom_bool(const char* key, bool* value);

#ifdef __cplusplus
}
#endif

#endif
