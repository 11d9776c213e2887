// SPDX-License-Identifier: Apache-2.0
//
// The events of the channel, in words and as JSON.
#ifndef SRCWATCH_EXPLAIN_EVENTFORM_H
#define SRCWATCH_EXPLAIN_EVENTFORM_H

#include "srcwatch-api.h"

#include <string>
#include <utility>
#include <vector>

#include <glib.h>
#include <json/value.h>

namespace srcwatch {

/// Returns the types that have a name, with it, in ascending order.
std::vector<std::pair<std::string, int>> NamedEventTypes();

/// Returns the name of an event type; its number if it has none.
std::string EventTypeName(int type);

/// Returns an event that has just arrived.
Json::Value EventToJson(const srcwatch_event_s& event);

/// Returns what an event says, in a few words each: the port, what happened, and the like.
std::vector<std::string> EventWords(const srcwatch_event_s& event);

/// Returns a time in this format (see g_date_time_format()), with milliseconds behind it.
std::string FormatTime(GDateTime* time, const char* format);

}  // namespace srcwatch

#endif
