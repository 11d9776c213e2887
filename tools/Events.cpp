// SPDX-License-Identifier: Apache-2.0
#include "Events.h"

#include "Failure.h"
#include "Handle.h"
#include "Ports.h"

#include <cstring>

#include <glib.h>

namespace ctl {

namespace {

std::string TextOf(const char (&text)[100]) { return std::string(text, strnlen(text, sizeof text)); }

std::string PortText(int port) { return "port " + std::to_string(port); }

Row SayConnection(const srcwatch_event_s& event)
{
    return {PortText(event.args[0]), event.args[1] != 0 ? "plugged" : "unplugged"};
}

Row SayDetected(const srcwatch_event_s& event)
{
    return {PortText(event.args[0]),
            "type " + std::to_string(event.args[1]) + " (" + DeviceTypeName(event.args[1]) + ")",
            event.args[2] != 0 ? "changed" : "unchanged",
            "device \"" + TextOf(event.str_args[0]) + "\"",
            "brand \"" + TextOf(event.str_args[1]) + "\"",
            "provider \"" + TextOf(event.str_args[2]) + "\""};
}

Row SayScanProgress(const srcwatch_event_s& event)
{
    return {std::to_string(event.args[0]) + " %", PortText(event.args[1])};
}

Row SayScanFinished(const srcwatch_event_s& event)
{
    return {"result " + std::to_string(event.args[0]), std::to_string(event.args[1]) + " device(s) found"};
}

Row SayNothing(const srcwatch_event_s& /*event*/) { return {}; }

struct NamedType {
    int type;
    const char* name;
    Row (*say)(const srcwatch_event_s& event);
};
constexpr NamedType kNamedTypes[] = {
    {SRCWATCH_EVENT_CONNECTION, "connection", SayConnection},
    {SRCWATCH_EVENT_DETECTED, "detected", SayDetected},
    {SRCWATCH_EVENT_SCAN_PROGRESS, "scan-progress", SayScanProgress},
    {SRCWATCH_EVENT_SCAN_FINISHED, "scan-finished", SayScanFinished},
    {SRCWATCH_EVENT_SERVICE_STARTED, "service-started", SayNothing},
    {SRCWATCH_EVENT_SERVICE_STOPPED, "service-stopped", SayNothing},
    {SRCWATCH_EVENT_RECORDS_SAVED, "records-saved", SayNothing},
};

const NamedType* FindType(int type)
{
    for (const NamedType& named : kNamedTypes) {
        if (named.type == type) return &named;
    }
    return nullptr;
}

// All that an event of the service's own carries.
Row SayAll(const srcwatch_event_s& event)
{
    std::string numbers;
    for (const int number : event.args) numbers += (numbers.empty() ? "" : " ") + std::to_string(number);
    Row row{numbers};
    for (const auto& text : event.str_args) row.emplace_back("\"" + TextOf(text) + "\"");
    return row;
}

std::string FormatNow(GDateTime* (*now)(), const char* format)
{
    const srcwatch::Handle<GDateTime, g_date_time_unref> time(now());
    const srcwatch::Handle<char, g_free> text(g_date_time_format(time.get(), format));
    char milliseconds[16];
    (void)std::snprintf(milliseconds, sizeof milliseconds, ".%03d", g_date_time_get_microsecond(time.get()) / 1000);
    return text.get() + std::string(milliseconds);
}

}  // namespace

std::vector<int> NamedEventTypes()
{
    std::vector<int> types;
    for (const NamedType& named : kNamedTypes) types.push_back(named.type);
    return types;
}

std::string EventTypeName(int type)
{
    const NamedType* const named = FindType(type);
    return named != nullptr ? named->name : std::to_string(type);
}

int ParseEventType(const std::string& text)
{
    if (const std::optional<int> number = ParseInt(text)) return *number;
    std::string known;
    for (const NamedType& named : kNamedTypes) {
        if (text == named.name) return named.type;
        known += (known.empty() ? "" : ", ") + std::string(named.name);
    }
    throw Failure("'" + text + "' is no event type: a number, or one of " + known, kUsage);
}

Json::Value EventToJson(const srcwatch_event_s& event)
{
    Json::Value json;
    json["time"] = FormatNow(g_date_time_new_now_utc, "%Y-%m-%dT%H:%M:%S") + "Z";
    json["type"] = event.type;
    json["name"] = EventTypeName(event.type);
    for (const int number : event.args) json["args"].append(number);
    for (const auto& text : event.str_args) json["texts"].append(TextOf(text));
    return json;
}

Row EventToRow(const srcwatch_event_s& event)
{
    Row row{FormatNow(g_date_time_new_now_local, "%H:%M:%S"), EventTypeName(event.type)};
    const NamedType* const named = FindType(event.type);
    for (Cell& cell : named != nullptr ? named->say(event) : SayAll(event)) row.push_back(std::move(cell));
    return row;
}

}  // namespace ctl
