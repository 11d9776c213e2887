/* SPDX-License-Identifier: Apache-2.0 */
#ifndef EXAMPLE_SYSTEM_INFO_H
#define EXAMPLE_SYSTEM_INFO_H
#include <stdbool.h>
#ifdef __cplusplus
extern "C" {
#endif
typedef enum { SYSTEM_INFO_KEY_NUM_OF_HDMI = 122 } system_info_key_e;
int system_info_get_value_int(system_info_key_e key, int* value);
int system_info_get_custom_bool(const char* key, bool* value);
#ifdef __cplusplus
}
#endif
#endif
