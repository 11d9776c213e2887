/* SPDX-License-Identifier: Apache-2.0 */
/* An application as its developer writes it: C11, nothing but the installed header. Reads what service.cpp stored. */
#include <srcwatch-api.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    char name[SRCWATCH_TEXT_SIZE + 1] = {0};
    if (srcwatch_get_cec_name(name, 1) != SRCWATCH_OK || strcmp(name, "Living room box") != 0) {
        fprintf(stderr, "HDMI 2 reads \"%s\"\n", name);
        return 1;
    }
    if (srcwatch_get_cec_name(name, 8) != SRCWATCH_ERROR_PORT) {
        fprintf(stderr, "port 8 was not refused\n");
        return 1;
    }
    return 0;
}
