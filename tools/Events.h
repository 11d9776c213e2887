// SPDX-License-Identifier: Apache-2.0
//
// The events of the channel, in words and as JSON.
#ifndef SRCWATCH_TOOLS_EVENTS_H
#define SRCWATCH_TOOLS_EVENTS_H

#include "Arguments.h"
#include "Output.h"
#include "srcwatch-api.h"

#include <string>

#include <json/value.h>

namespace ctl {

/// Returns the types that have a name, in ascending order.
Names NamedEventTypes();

/// Returns the name of an event type; its number if it has none.
std::string EventTypeName(int type);

/// Returns an event that has just arrived.
Json::Value EventToJson(const srcwatch_event_s& event);

/// Returns the same in one line: time, name, contents.
Row EventToRow(const srcwatch_event_s& event);

}  // namespace ctl

#endif
