// SPDX-License-Identifier: Apache-2.0
#include "Tv.h"

#include "DetectionLine.h"
#include "DeviceType.h"
#include "InputName.h"
#include "JsonText.h"
#include "QDInfoNames.h"
#include "RecordFields.h"
#include "Statistics.h"
#include "StoredValues.h"
#include "Words.h"
#include "srcwatch.hpp"

#include <algorithm>
#include <array>

#include <json/json.h>

namespace panel {

namespace {

// A document of the store, null if there is none that can be read. Returns nothing if the store fails.
std::optional<Json::Value> ReadDocument(const char* key)
{
    std::string text;
    const srcwatch::ReadResult result = srcwatch::ReadText(key, text);
    if (result == srcwatch::ReadResult::kFailed) return std::nullopt;
    if (result != srcwatch::ReadResult::kRead) return Json::Value();
    return srcwatch::ParseJson(text).value_or(Json::Value());
}

Json::Value MemberOf(const Json::Value& document, const char* name)
{
    return document.isObject() ? document[name] : Json::Value();
}

// Each member is as it was stored; 0 or empty where it is absent.
Json::Value DescribeRecord(const Json::Value& stored)
{
    if (!stored.isObject()) return Json::nullValue;
    Json::Value record = EmptyRecord();
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) {
        if (!stored[field.key].isNull()) record[field.key] = stored[field.key];
    }
    return record;
}

// ---------------------------------------------------------------------------------------------------------------------
// Statistics

int TypeOfText(const std::string& text)
{
    const auto* const type = std::find_if(std::begin(srcwatch::kDeviceTypes), std::end(srcwatch::kDeviceTypes),
                                          [&](const srcwatch::DeviceTypeName& each) { return text == each.text; });
    return type != std::end(srcwatch::kDeviceTypes) ? type->type : 0;
}

Json::Value DescribeEntry(const Json::Value& entry)
{
    const Json::Value detection = srcwatch::DescribeDetection(entry);
    Json::Value line;
    line["time_text"] = detection["t"].asInt() < 0 ? "" : detection["t"].asString() + " ms";
    line["type"] = TypeOfText(detection["type"].asString());
    line["method"] = detection["method"];
    line["milliseconds"] = detection["t"].asInt() < 0 ? Json::Value() : detection["t"];
    line["name"] = detection["result"][0];
    return line;
}

Json::Value CountsToJson(const std::map<int, int>& counts, const char* name)
{
    Json::Value json(Json::arrayValue);
    for (const auto& [number, count] : counts) {
        Json::Value line;
        line[name] = number;
        line["count"] = count;
        json.append(line);
    }
    return json;
}

// Upper ends of the classes of times; what is longer than all of them counts with the last.
constexpr std::array kTimeClasses = {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000};

int TimeClassOf(int milliseconds)
{
    const auto* const found = std::lower_bound(kTimeClasses.begin(), kTimeClasses.end(), milliseconds);
    return found != kTimeClasses.end() ? *found : kTimeClasses.back();
}

class Counts {
public:
    Counts()
    {
        for (const int end : kTimeClasses) m_times[end] = 0;
    }

    void Add(const Json::Value& line)
    {
        ++m_total;
        ++m_types[line["type"].asInt()];
        ++m_methods[line["method"].asInt()];
        if (line["milliseconds"].isInt()) ++m_times[TimeClassOf(line["milliseconds"].asInt())];
    }

    Json::Value ToJson() const
    {
        Json::Value json;
        json["total"] = m_total;
        json["types"] = CountsToJson(m_types, "type");
        json["methods"] = CountsToJson(m_methods, "method");
        json["times"] = CountsToJson(m_times, "milliseconds");
        return json;
    }

private:
    int m_total = 0;
    std::map<int, int> m_types;
    std::map<int, int> m_methods;
    std::map<int, int> m_times;
};

void AddStatistics(const Json::Value& document, Stored& stored)
{
    Counts counts;
    const Json::Value entries = MemberOf(document, "Auto");
    for (const Json::Value& entry : entries.isArray() ? entries : Json::Value(Json::arrayValue)) {
        if (!entry.isObject() || !entry["port"].isInt()) continue;
        const Json::Value line = DescribeEntry(entry);
        counts.Add(line);
        const auto history = stored.histories.find(entry["port"].asInt());
        if (history != stored.histories.end()) history->second.append(line);
    }
    stored.statistics = counts.ToJson();
}

}  // namespace

Json::Value EmptyRecord()
{
    Json::Value record;
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) {
        record[field.key] = field.isNumber ? Json::Value(0) : Json::Value("");
    }
    return record;
}

std::vector<int> Ports()
{
    std::vector<int> ports;
    for (int port = 0; port < std::min(get_hdmi_count(), srcwatch::kHdmiPorts); ++port) ports.push_back(port);
    ports.push_back(srcwatch::optical_port);
    return ports;
}

bool HasPort(int port)
{
    const std::vector<int> ports = Ports();
    return std::find(ports.begin(), ports.end(), port) != ports.end();
}

Json::Value DescribeTypes()
{
    Json::Value types(Json::arrayValue);
    for (const srcwatch::DeviceTypeName& each : srcwatch::kDeviceTypes) {
        Json::Value type;
        type["type"] = each.type;
        type["text"] = each.text;
        type["name"] = each.name;
        type["icon"] = srcwatch::WordOfType(each.name);
        types.append(type);
    }
    return types;
}

Json::Value DescribeMethods()
{
    Json::Value methods(Json::arrayValue);
    for (int method = SRCWATCH_METHOD_NONE; method <= SRCWATCH_METHOD_FAULTY; ++method) {
        methods.append(srcwatch::DetectionMethodText(method));
    }
    return methods;
}

std::optional<Stored> ReadStored(const std::vector<int>& ports)
{
    const auto hdmi = ReadDocument(qdinfo::kSourceActivityKey);
    const auto optical = hdmi ? ReadDocument(qdinfo::kOpticalActivityKey) : std::nullopt;
    const auto statistics = optical ? ReadDocument(qdinfo::kStatisticsKey) : std::nullopt;
    if (!statistics) return std::nullopt;
    const Json::Value list = MemberOf(*hdmi, "activity");
    Stored stored;
    for (const int port : ports) {
        const bool isListed = list.isArray() && port != srcwatch::optical_port;
        const Json::Value record =
            isListed ? list.get(static_cast<Json::ArrayIndex>(port), Json::Value()) : Json::Value();
        stored.records[port] = DescribeRecord(port == srcwatch::optical_port ? MemberOf(*optical, "activity") : record);
        stored.histories[port] = Json::arrayValue;
    }
    AddStatistics(*statistics, stored);
    return stored;
}

Json::Value DescribeDevice(int port)
{
    const auto device = srcwatch::device(port);
    if (!device || !device->is_present()) return Json::nullValue;
    Json::Value json;
    json["type"] = static_cast<int>(device->type);
    json["type_name"] = to_string(device->type);
    json["name"] = device->name;
    json["detail"] = device->detail;
    return json;
}

Json::Value DescribeFeatures()
{
    const srcwatch::Features features = srcwatch::features();
    Json::Value json;
    json["hotplug_enabled"] = features.hotplug_enabled;
    json["hotplug_running"] = features.hotplug_running;
    json["mvpd_enabled"] = features.mvpd_enabled;
    json["notification_running"] = features.notification_running;
    json["no_device"] = features.no_device;
    return json;
}

Json::Value DescribeTwc()
{
    const int status = srcwatch_is_TWC();
    Json::Value json;
    json["status"] = status;
    json["text"] = srcwatch::TwcStateName(status);
    return json;
}

Json::Value DescribeScan()
{
    const auto progress = srcwatch::Scan().progress();
    Json::Value json;
    json["stage"] = progress ? to_string(progress->stage) : "unknown";
    json["percent"] = progress ? progress->percent : 0;
    return json;
}

}  // namespace panel
