// SPDX-License-Identifier: Apache-2.0
//
// The events of the channel, in words and as JSON.
#ifndef SRCWATCH_TOOLS_EVENTS_H
#define SRCWATCH_TOOLS_EVENTS_H

#include "Output.h"
#include "srcwatch-api.h"

#include <string>
#include <vector>

#include <json/value.h>

namespace ctl {

/// The types that have a name, in ascending order.
std::vector<int> NamedEventTypes();

/// Name of an event type; its number when it has none.
std::string EventTypeName(int type);

/// The type that a name or a number means. Throws a Failure of wrong usage when it is neither.
int ParseEventType(const std::string& text);

/// An event that has just arrived.
Json::Value EventToJson(const srcwatch_event_s& event);

/// The same in one line: time, name, what it says.
Row EventToRow(const srcwatch_event_s& event);

}  // namespace ctl

#endif
