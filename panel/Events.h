// SPDX-License-Identifier: Apache-2.0
//
// The events of the channel as pages show them.
#ifndef SRCWATCH_PANEL_EVENTS_H
#define SRCWATCH_PANEL_EVENTS_H

#include "srcwatch-api.h"

#include <json/value.h>

namespace panel {

/// Returns an event that has just arrived, in words, with what it carries and when it was here.
Json::Value DescribeEvent(const srcwatch_event_s& event);

}  // namespace panel

#endif
