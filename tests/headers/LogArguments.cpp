// SPDX-License-Identifier: Apache-2.0
//
// Log calls whose arguments fit their formats; and for each WRONG_ macro one that does not, which must not compile.
#include "QDInfoCommon.h"

const char* Log(qdinfo::CallSite site);

const char* Log(qdinfo::CallSite site)
{
    QDLOG(QDLOG_ERROR, "none");
    QDLOG(QDLOG_ERROR, "text %s and number %d", "text", 1);
    QDLOG_AT(site, QDLOG_ERROR, "number %d", 1);
#ifdef WRONG_NUMBER_FOR_TEXT
    QDLOG(QDLOG_ERROR, "text %s", 1);
#endif
#ifdef WRONG_TEXT_FOR_NUMBER
    QDLOG(QDLOG_ERROR, "number %d", "text");
#endif
#ifdef WRONG_ARGUMENT_MISSING
    QDLOG(QDLOG_ERROR, "text %s and number %d", "text");
#endif
#ifdef WRONG_ARGUMENT_TOO_MANY
    QDLOG(QDLOG_ERROR, "text %s", "text", 1);
#endif
#ifdef WRONG_AT_SITE
    QDLOG_AT(site, QDLOG_ERROR, "number %d", "text");
#endif
#ifdef WRONG_EXAMPLE
    return QDLOG_FORMAT("number %d", "text");
#endif
    return QDLOG_FORMAT("number %d", 1);
}
