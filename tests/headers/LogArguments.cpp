// SPDX-License-Identifier: Apache-2.0
//
// Log calls whose arguments fit their formats; and for each WRONG_ macro one that does not, which must not compile.
#include "LineFormat.h"
#include "QDInfoCommon.h"

namespace qdinfo {

void Take(LineFormat<int, const char*> format);
void Log(const CallSite& site, LineFormat<int, const char*> format, LineFormat<> plain);

void Log(const CallSite& site, LineFormat<int, const char*> format, LineFormat<> plain)
{
    QDLOG(QDLOG_ERROR, "none");
    QDLOG(QDLOG_ERROR, "text %s and number %d", "text", 1);
    QDLOG_AT(site, QDLOG_ERROR, "number %d", 1);
    LogLine(site, QDLOG_ERROR, format, 1, "text");
    LogLine(site, QDLOG_ERROR, plain);
    Take(QDLOG_FORMAT("number %d and text %s", 0, ""));
    LogLine(site, QDLOG_ERROR, QDLOG_FORMAT("none"));
#if defined(WRONG_SWAPPED)
    QDLOG(QDLOG_ERROR, "text %s and number %d", 1, "text");
#elif defined(WRONG_MISSING)
    QDLOG(QDLOG_ERROR, "text %s and number %d", "text");
#elif defined(WRONG_SURPLUS)
    QDLOG(QDLOG_ERROR, "text %s", "text", 1);
#elif defined(WRONG_SWAPPED_AT)
    QDLOG_AT(site, QDLOG_ERROR, "text %s and number %d", 1, "text");
#elif defined(WRONG_MISSING_AT)
    QDLOG_AT(site, QDLOG_ERROR, "text %s and number %d", "text");
#elif defined(WRONG_SURPLUS_AT)
    QDLOG_AT(site, QDLOG_ERROR, "text %s", "text", 1);
#elif defined(WRONG_SWAPPED_EXAMPLES)
    Take(QDLOG_FORMAT("text %s and number %d", 0, ""));
#elif defined(WRONG_MISSING_EXAMPLE)
    static_cast<void>(QDLOG_FORMAT("number %d and text %s", 0));
#elif defined(WRONG_SURPLUS_EXAMPLE)
    Take(QDLOG_FORMAT("number %d", 0, ""));
#elif defined(WRONG_FORMAT_OF_OTHER_TYPES)
    Take(QDLOG_FORMAT("text %s and number %d", "", 0));
#elif defined(WRONG_SWAPPED_ARGUMENTS)
    LogLine(site, QDLOG_ERROR, format, "text", 1);
#elif defined(WRONG_MISSING_ARGUMENT)
    LogLine(site, QDLOG_ERROR, format, 1);
#elif defined(WRONG_SURPLUS_ARGUMENT)
    LogLine(site, QDLOG_ERROR, plain, 1);
#endif
}

}  // namespace qdinfo
