// SPDX-License-Identifier: Apache-2.0
#include "EventForm.h"

#include "Handle.h"
#include "Words.h"

#include <cstdio>
#include <cstring>

#include <glib.h>

namespace srcwatch {

namespace {

using Words = std::vector<std::string>;

std::string TextOf(const char (&text)[100]) { return std::string(text, strnlen(text, sizeof text)); }

std::string PortText(const Json::Value& event) { return "port " + event["port"].asString(); }

// ---------------------------------------------------------------------------------------------------------------------
// What an event of a named type carries, as members of its JSON and in words

Json::Value DecodeConnection(const srcwatch_event_s& event)
{
    Json::Value json;
    json["port"] = event.args[0];
    json["connected"] = event.args[1] != 0;
    return json;
}

Words DescribeConnection(const Json::Value& event)
{
    return {PortText(event), event["connected"].asBool() ? "plugged" : "unplugged"};
}

Json::Value DecodeDetected(const srcwatch_event_s& event)
{
    Json::Value json;
    json["port"] = event.args[0];
    json["device_type"] = event.args[1];
    json["type_name"] = NameOfType(event.args[1]);
    json["changed"] = event.args[2] != 0;
    json["device"] = TextOf(event.str_args[0]);
    json["brand"] = TextOf(event.str_args[1]);
    json["provider"] = TextOf(event.str_args[2]);
    return json;
}

Words DescribeDetected(const Json::Value& event)
{
    Words words{PortText(event), NumberAndNameOfType(event["device_type"].asInt()),
                event["changed"].asBool() ? "changed" : "unchanged"};
    for (const char* const name : {"device", "brand", "provider"}) {
        words.push_back(std::string(name) + " \"" + event[name].asString() + "\"");
    }
    return words;
}

Json::Value DecodeScanProgress(const srcwatch_event_s& event)
{
    Json::Value json;
    json["percent"] = event.args[0];
    json["port"] = event.args[1];
    return json;
}

Words DescribeScanProgress(const Json::Value& event) { return {event["percent"].asString() + " %", PortText(event)}; }

Json::Value DecodeScanFinished(const srcwatch_event_s& event)
{
    Json::Value json;
    json["result"] = event.args[0];
    json["found"] = event.args[1];
    return json;
}

Words DescribeScanFinished(const Json::Value& event)
{
    return {"result " + event["result"].asString(), event["found"].asString() + " device(s) found"};
}

Json::Value DecodeNothing(const srcwatch_event_s& /*event*/) { return Json::objectValue; }

Words DescribeNothing(const Json::Value& /*event*/) { return {}; }

struct NamedType {
    int type;
    const char* name;
    Json::Value (*decode)(const srcwatch_event_s& event);
    Words (*describe)(const Json::Value& decoded);
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
Words DescribeAll(const srcwatch_event_s& event)
{
    std::string numbers;
    for (const int number : event.args) numbers += (numbers.empty() ? "" : " ") + std::to_string(number);
    Words words{numbers};
    for (const auto& text : event.str_args) words.push_back("\"" + TextOf(text) + "\"");
    return words;
}

}  // namespace

std::vector<std::pair<std::string, int>> NamedEventTypes()
{
    std::vector<std::pair<std::string, int>> names;
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
    const Handle<GDateTime, g_date_time_unref> now(g_date_time_new_now_utc());
    json["time"] = FormatTime(now.get(), "%Y-%m-%dT%H:%M:%S") + "Z";
    json["type"] = event.type;
    json["name"] = EventTypeName(event.type);
    for (const int number : event.args) json["args"].append(number);
    for (const auto& text : event.str_args) json["texts"].append(TextOf(text));
    return json;
}

std::vector<std::string> EventWords(const srcwatch_event_s& event)
{
    const NamedType* const named = FindType(event.type);
    return named != nullptr ? named->describe(named->decode(event)) : DescribeAll(event);
}

std::string FormatTime(GDateTime* time, const char* format)
{
    const Handle<char, g_free> text(g_date_time_format(time, format));
    char milliseconds[16];
    static_cast<void>(  // it fits
        std::snprintf(milliseconds, sizeof milliseconds, ".%03d", g_date_time_get_microsecond(time) / 1000));
    return text.get() + std::string(milliseconds);
}

}  // namespace srcwatch
