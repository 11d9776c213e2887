// SPDX-License-Identifier: Apache-2.0
//
// A program with names of its own beside all of the library's, which it uses without their namespaces.
#include "QDInfoAPI.h"
#include "QDInfoActivityInfo.h"
#include "QDInfoCommon.h"
#include "QDInfoData.h"
#include "QDInfoEventManager.h"
#include "QDInfoServerData.h"
#include "QDInfoSettingUtil.h"
#include "srcwatch-protocol.h"

using namespace qdinfo;

struct Error {
    int code;
};
struct CallSite {
    int line;
};
struct Connection {};
struct State {};
int BaseName(const Error& error);
int LogStamp(const CallSite& site);

int Use(const Error& error, const CallSite& site, const Connection& connection, const State& state);

int Use(const Error& error, const CallSite& site, const Connection&, const State&)
{
    CQDEventSender("").SendEvent(BaseName(error));
    QDLOG(QDLOG_ERROR, "no argument");
    QDLOG(QDLOG_ERROR, "line %d", site.line);
    return LogStamp(site);
}
