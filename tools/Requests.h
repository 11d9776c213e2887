// SPDX-License-Identifier: Apache-2.0
//
// Method calls to the detection service.
#ifndef SRCWATCH_TOOLS_REQUESTS_H
#define SRCWATCH_TOOLS_REQUESTS_H

#include "srcwatch-api.h"

#include <string>

#include <json/value.h>

namespace ctl {

/// Call the service and return its reply. Throws a Failure when there is no service, no bus or no reply in time.
std::string CallService(int type, const srcwatch_event_s& request, const std::string& extra);

/// The same for the requests that the service documents, which reply with a JSON object. Throws a Failure with the
/// service's words when it refuses.
Json::Value CallForDocument(int type, const srcwatch_event_s& request, const std::string& extra);

}  // namespace ctl

#endif
