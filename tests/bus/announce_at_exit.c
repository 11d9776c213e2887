/* SPDX-License-Identifier: Apache-2.0
 *
 * An application in C that announces a change in main and in two exit handlers, of which one was registered before the
 * first announcement and one after it.
 */
#include "srcwatch-api.h"

#include <stdlib.h>

static void announce(void) { srcwatch_set_source_info(0, 0); }

int main(void)
{
    if (atexit(&announce) != 0) return 2;
    announce();
    if (atexit(&announce) != 0) return 2;
    return 0;
}
