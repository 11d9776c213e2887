// SPDX-License-Identifier: Apache-2.0
#include "Events.h"

#include "EventForm.h"

#include <glib.h>

namespace panel {

Json::Value DescribeEvent(const srcwatch_event_s& event)
{
    Json::Value json = srcwatch::EventToJson(event);
    std::string text;
    for (const std::string& words : srcwatch::EventWords(event)) text += (text.empty() ? "" : ", ") + words;
    json["text"] = text;
    json["sent_ms"] = static_cast<double>(g_get_real_time()) / 1000;
    return json;
}

}  // namespace panel
