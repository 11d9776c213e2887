/* SPDX-License-Identifier: Apache-2.0 */
#ifndef EXAMPLE_VCONF_H
#define EXAMPLE_VCONF_H
#ifdef __cplusplus
extern "C" {
#endif
int vconf_get_int(const char* key, int* value);
int vconf_set_int(const char* key, int value);
char* vconf_get_str(const char* key);
int vconf_set_str(const char* key, const char* value);
#ifdef __cplusplus
}
#endif
#endif
