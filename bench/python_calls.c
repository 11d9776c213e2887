/* SPDX-License-Identifier: Apache-2.0 */
/* The C function, called as often as python_bench.py calls it from Python, in the same process. */
#include <srcwatch-api.h>

__attribute__((visibility("default"))) int QueryRepeatedly(int count);

int QueryRepeatedly(int count)
{
    char text[SRCWATCH_TEXT_SIZE];
    int failures = 0;
    for (int i = 0; i < count; ++i) failures += srcwatch_get_cec_name(text, 0) != SRCWATCH_OK;
    return failures;
}
