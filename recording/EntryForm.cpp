// SPDX-License-Identifier: Apache-2.0
#include "EntryForm.h"

#include "Capture.h"
#include "Hex.h"
#include "InputName.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <cmath>

#include <glib.h>

namespace srcwatch {

namespace {

// Settings and the bus take no other texts.
bool IsText(const Json::Value& value)
{
    if (!value.isString()) return false;
    const std::string text = value.asString();
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

bool IsKey(const std::string& key) { return key.rfind("db/", 0) == 0 || key.rfind("memory/", 0) == 0; }

// Null is a setting that was removed; an object one whose text is not UTF-8, or too large to be read.
bool IsSetting(const Json::Value& value)
{
    if (value.isNull() || value.isInt() || IsText(value)) return true;
    if (!value.isObject() || value.size() != 1) return false;
    return value["unread"].isUInt64() || (IsText(value["hex"]) && FromHex(value["hex"].asString()));
}

bool IsSettings(const Json::Value& settings)
{
    if (!settings.isObject()) return false;
    const Json::Value::Members keys = settings.getMemberNames();
    return std::all_of(keys.begin(), keys.end(),
                       [&](const std::string& key) { return IsKey(key) && IsSetting(settings[key]); });
}

bool IsPort(int port) { return IsHdmiPort(port) || port == SRCWATCH_PORT_OPTICAL; }

bool IsInput(const Json::Value& input)
{
    const Json::Value& port = input["port"];
    if (!port.isInt() || !IsPort(port.asInt())) return false;
    return input["capture"].isNull() || CaptureOf(input["capture"]);
}

std::string FaultOfSnapshot(const Json::Value& entry)
{
    if (!entry["version"].isInt()) return "\"version\" is not a number";
    if (entry["version"].asInt() > kRecordingVersion) return "a later version of this program recorded it";
    if (entry.isMember("settings") && !IsSettings(entry["settings"])) return "\"settings\" are not settings";
    const Json::Value& inputs = entry["inputs"];
    if (inputs.isNull()) return "";
    return inputs.isArray() && std::all_of(inputs.begin(), inputs.end(), IsInput) ? "" : "\"inputs\" are not inputs";
}

std::string FaultOfSetting(const Json::Value& entry)
{
    if (!IsText(entry["key"]) || !IsKey(entry["key"].asString())) return "\"key\" is not a setting's key";
    return IsSetting(entry["value"]) ? "" : "\"value\" is not a setting's value";
}

std::string FaultOfEvent(const Json::Value& entry)
{
    if (!entry["type"].isInt()) return "\"type\" is not a number";
    return IsText(entry["message"]) ? "" : "\"message\" is not a text";
}

std::string FaultOfCall(const Json::Value& entry)
{
    return entry["call"].isInt() ? FaultOfEvent(entry) : "\"call\" is not a number";
}

std::string FaultOfReply(const Json::Value& entry)
{
    if (!entry["call"].isInt()) return "\"call\" is not a number";
    return entry["reply"].isString() || entry["error"].isString() ? "" : "there is neither \"reply\" nor \"error\"";
}

std::string FaultOfInput(const Json::Value& entry) { return IsInput(entry) ? "" : "it is not a port and its capture"; }

struct Kind {
    const char* name;
    std::string (*faultOf)(const Json::Value& entry);
};
constexpr Kind kKinds[] = {{"snapshot", FaultOfSnapshot}, {"setting", FaultOfSetting}, {"event", FaultOfEvent},
                           {"call", FaultOfCall},         {"reply", FaultOfReply},     {"input", FaultOfInput}};

}  // namespace

std::string FaultOf(const Json::Value& entry)
{
    if (!entry.isObject()) return "it is not a JSON object";
    if (!entry["at"].isNumeric() || !std::isfinite(entry["at"].asDouble())) return "\"at\" is not a number of seconds";
    for (const Kind& kind : kKinds) {
        if (entry["kind"] == kind.name) return kind.faultOf(entry);
    }
    return "\"kind\" is not that of an entry";
}

}  // namespace srcwatch
