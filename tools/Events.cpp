// SPDX-License-Identifier: Apache-2.0
#include "Events.h"

#include "Handle.h"
#include "Ports.h"

#include <cstring>

#include <glib.h>

namespace ctl {

namespace {

std::string TextOf(const char (&text)[100]) { return std::string(text, strnlen(text, sizeof text)); }

std::string PortText(const Json::Value& event) { return "port " + CellText(event["port"]); }

// ---------------------------------------------------------------------------------------------------------------------
// What an event of a named type carries, as members of its JSON and as cells

Json::Value DecodeConnection(const srcwatch_event_s& event)
{
    Json::Value json;
    json["port"] = event.args[0];
    json["connected"] = event.args[1] != 0;
    return json;
}

Row DescribeConnection(const Json::Value& event)
{
    return {PortText(event), event["connected"].asBool() ? "plugged" : "unplugged"};
}

Json::Value DecodeDetected(const srcwatch_event_s& event)
{
    Json::Value json;
    json["port"] = event.args[0];
    json["device_type"] = event.args[1];
    json["type_name"] = DeviceTypeName(event.args[1]);
    json["changed"] = event.args[2] != 0;
    json["device"] = TextOf(event.str_args[0]);
    json["brand"] = TextOf(event.str_args[1]);
    json["provider"] = TextOf(event.str_args[2]);
    return json;
}

Row DescribeDetected(const Json::Value& event)
{
    Row row{PortText(event), DeviceTypeText(event["device_type"].asInt()),
            event["changed"].asBool() ? "changed" : "unchanged"};
    for (const char* const name : {"device", "brand", "provider"}) {
        row.emplace_back(std::string(name) + " \"" + event[name].asString() + "\"");
    }
    return row;
}

Json::Value DecodeScanProgress(const srcwatch_event_s& event)
{
    Json::Value json;
    json["percent"] = event.args[0];
    json["port"] = event.args[1];
    return json;
}

Row DescribeScanProgress(const Json::Value& event) { return {CellText(event["percent"]) + " %", PortText(event)}; }

Json::Value DecodeScanFinished(const srcwatch_event_s& event)
{
    Json::Value json;
    json["result"] = event.args[0];
    json["found"] = event.args[1];
    return json;
}

Row DescribeScanFinished(const Json::Value& event)
{
    return {"result " + CellText(event["result"]), CellText(event["found"]) + " device(s) found"};
}

Json::Value DecodeNothing(const srcwatch_event_s& /*event*/) { return Json::objectValue; }

Row DescribeNothing(const Json::Value& /*event*/) { return {}; }

struct NamedType {
    int type;
    const char* name;
    Json::Value (*decode)(const srcwatch_event_s& event);
    Row (*describe)(const Json::Value& decoded);
};
constexpr NamedType kNamedTypes[] = {
    {SRCWATCH_EVENT_CONNECTION, "connection", DecodeConnection, DescribeConnection},
    {SRCWATCH_EVENT_DETECTED, "detected", DecodeDetected, DescribeDetected},
    {SRCWATCH_EVENT_SCAN_PROGRESS, "scan-progress", DecodeScanProgress, DescribeScanProgress},
    {SRCWATCH_EVENT_SCAN_FINISHED, "scan-finished", DecodeScanFinished, DescribeScanFinished},
    {SRCWATCH_EVENT_SERVICE_STARTED, "service-started", DecodeNothing, DescribeNothing},
    {SRCWATCH_EVENT_SERVICE_STOPPED, "service-stopped", DecodeNothing, DescribeNothing},
    {SRCWATCH_EVENT_RECORDS_SAVED, "records-saved", DecodeNothing, DescribeNothing},
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
    const NamedType* const named = FindType(event.type);
    Json::Value json = named != nullptr ? named->decode(event) : Json::objectValue;
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
    for (Cell& cell : named != nullptr ? named->describe(named->decode(event)) : DescribeAll(event))
        row.push_back(std::move(cell));
    return row;
}

}  // namespace ctl
