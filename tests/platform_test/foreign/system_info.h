/* SPDX-License-Identifier: Apache-2.0 */
/* System information one of whose functions has the linkage of C++. */
#ifndef PLANTED_SYSTEM_INFO_H
#define PLANTED_SYSTEM_INFO_H
typedef enum { SYSTEM_INFO_KEY_NUM_OF_HDMI = 122 } system_info_key_e;
extern "C" int system_info_get_value_int(system_info_key_e key, int* value);
int system_info_get_custom_bool(const char* key, bool* value);
#endif
