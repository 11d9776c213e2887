/* SPDX-License-Identifier: Apache-2.0 */
/* Settings whose integers are declared with another type than the library's. */
#ifndef PLANTED_VCONF_H
#define PLANTED_VCONF_H
extern "C" {
int vconf_get_int(const char* key, int* value);
int vconf_set_int(const char* key, long value);
char* vconf_get_str(const char* key);
int vconf_set_str(const char* key, const char* value);
}
#endif
