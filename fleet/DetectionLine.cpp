// SPDX-License-Identifier: Apache-2.0
#include "DetectionLine.h"

#include "DeviceType.h"
#include "Handle.h"

#include <glib.h>
#include <json/writer.h>

namespace srcwatch {

namespace {

// A member that is a list of three texts; the library ignores any other.
Json::Value ThreeTexts(const Json::Value& entry, const char* name)
{
    Json::Value texts(Json::arrayValue);
    const Json::Value& list = entry[name];
    const bool isUsed = list.isArray() && list.size() == 3;
    for (Json::ArrayIndex i = 0; i < 3; ++i) {
        texts.append(isUsed && list[i].isConvertibleTo(Json::stringValue) ? list[i].asString() : "");
    }
    return texts;
}

int Number(const Json::Value& entry, const char* name, int otherwise)
{
    const Json::Value number = entry.get(name, otherwise);
    return number.isConvertibleTo(Json::intValue) ? number.asInt() : otherwise;
}

const char* OccasionText(Occasion occasion)
{
    switch (occasion) {
        case Occasion::kDetected:
            return "detected";
        case Occasion::kDenied:
            return "denied";
        case Occasion::kRemembered:
            break;
    }
    return "remembered";
}

// In UTC, as RFC 3339 has it.
std::string TimeText(std::chrono::system_clock::time_point time)
{
    using std::chrono::microseconds;
    const auto sinceEpoch = std::chrono::duration_cast<microseconds>(time.time_since_epoch());
    const Handle<GDateTime, g_date_time_unref> epoch(g_date_time_new_from_unix_utc(0));
    const Handle<GDateTime, g_date_time_unref> date(g_date_time_add(epoch.get(), sinceEpoch.count()));
    const Handle<gchar, g_free> text(g_date_time_format(date.get(), "%Y-%m-%dT%H:%M:%S.%fZ"));
    return text.get();
}

// An AKSV has 40 bits, so without a secret key all of them could be tried.
Json::Value HashedAksv(const std::string& key, const Json::Value& aksv)
{
    if (key.empty() || !aksv.isString() || aksv.asString().empty()) return Json::nullValue;
    const Handle<gchar, g_free> hash(g_compute_hmac_for_string(
        G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(key.data()), key.size(), aksv.asCString(), -1));
    return hash.get();
}

}  // namespace

Json::Value DescribeDetection(const Json::Value& entry)
{
    const Json::Value spd = ThreeTexts(entry, "spd");
    const Json::Value result = ThreeTexts(entry, "result");
    const Json::Value& vendorId = entry["vendor_id"];
    const int method = Number(entry, "pri", 0);
    Json::Value json;
    json["t"] = Number(entry, "t", -1);
    json["spd_vendor"] = spd[0];
    json["spd_product"] = spd[1];
    json["osd_name"] = spd[2];
    json["vendor_id"] = vendorId.isString() ? vendorId : "";
    json["method"] = method;
    json["method_name"] = DetectionMethodText(method);
    json["type"] = result[2];
    json["result"].append(result[0]);
    json["result"].append(result[1]);
    return json;
}

Json::Value DetectionLine(const Origin& origin, const Detection& detection, std::chrono::system_clock::time_point time)
{
    Json::Value line = DescribeDetection(detection.entry);
    line["event"] = OccasionText(detection.occasion);
    line["time"] = TimeText(time);
    line["tv"] = origin.tv;
    line["firmware"] = origin.firmware;
    line["port"] = detection.port;
    line["denied"] = detection.denied ? Json::Value(*detection.denied) : Json::Value();
    line["aksv_hash"] = HashedAksv(origin.aksvKey, detection.entry["aksv"]);
    return line;
}

std::string LineText(const Json::Value& line)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, line);
}

}  // namespace srcwatch
