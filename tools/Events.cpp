// SPDX-License-Identifier: Apache-2.0
#include "Events.h"

#include "Handle.h"
#include "Ports.h"

#include <cstring>

#include <glib.h>

namespace ctl {

namespace {

std::string TextOf(const char (&text)[100]) { return std::string(text, strnlen(text, sizeof text)); }

std::string PortText(int port) { return "port " + std::to_string(port); }

Row DescribeConnection(const srcwatch_event_s& event)
{
    return {PortText(event.args[0]), event.args[1] != 0 ? "plugged" : "unplugged"};
}

Row DescribeDetected(const srcwatch_event_s& event)
{
    return {PortText(event.args[0]),
            DeviceTypeText(event.args[1]),
            event.args[2] != 0 ? "changed" : "unchanged",
            "device \"" + TextOf(event.str_args[0]) + "\"",
            "brand \"" + TextOf(event.str_args[1]) + "\"",
            "provider \"" + TextOf(event.str_args[2]) + "\""};
}

Row DescribeScanProgress(const srcwatch_event_s& event)
{
    return {std::to_string(event.args[0]) + " %", PortText(event.args[1])};
}

Row DescribeScanFinished(const srcwatch_event_s& event)
{
    return {"result " + std::to_string(event.args[0]), std::to_string(event.args[1]) + " device(s) found"};
}

Row DescribeNothing(const srcwatch_event_s& /*event*/) { return {}; }

struct NamedType {
    int type;
    const char* name;
    Row (*describe)(const srcwatch_event_s& event);
};
constexpr NamedType kNamedTypes[] = {
    {SRCWATCH_EVENT_CONNECTION, "connection", DescribeConnection},
    {SRCWATCH_EVENT_DETECTED, "detected", DescribeDetected},
    {SRCWATCH_EVENT_SCAN_PROGRESS, "scan-progress", DescribeScanProgress},
    {SRCWATCH_EVENT_SCAN_FINISHED, "scan-finished", DescribeScanFinished},
    {SRCWATCH_EVENT_SERVICE_STARTED, "service-started", DescribeNothing},
    {SRCWATCH_EVENT_SERVICE_STOPPED, "service-stopped", DescribeNothing},
    {SRCWATCH_EVENT_RECORDS_SAVED, "records-saved", DescribeNothing},
};

const NamedType* FindType(int type)
{
    for (const NamedType& named : kNamedTypes) {
        if (named.type == type) return &named;
    }
    return nullptr;
}

// Everything that an event without a name carries.
Row DescribeAll(const srcwatch_event_s& event)
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
    static_cast<void>(
        std::snprintf(milliseconds, sizeof milliseconds, ".%03d", g_date_time_get_microsecond(time.get()) / 1000));
    return text.get() + std::string(milliseconds);
}

}  // namespace

Names NamedEventTypes()
{
    Names names;
    for (const NamedType& named : kNamedTypes) names.emplace_back(named.name, named.type);
    return names;
}

std::string EventTypeName(int type)
{
    const NamedType* const named = FindType(type);
    return named != nullptr ? named->name : std::to_string(type);
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
    for (Cell& cell : named != nullptr ? named->describe(event) : DescribeAll(event)) row.push_back(std::move(cell));
    return row;
}

}  // namespace ctl
