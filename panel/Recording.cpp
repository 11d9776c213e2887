// SPDX-License-Identifier: Apache-2.0
#include "Recording.h"

#include "EventForm.h"
#include "Evidence.h"
#include "InputName.h"
#include "Json.h"

#include <charconv>
#include <sstream>

namespace panel {

namespace {

constexpr std::size_t kFileLimit = 16UL * 1024 * 1024;
constexpr Json::ArrayIndex kMostEntries = 5000;
constexpr std::size_t kLongestText = 200;

std::string Short(const std::string& text)
{
    return text.size() > kLongestText ? ValidText(text.substr(0, kLongestText)) + "..." : text;
}

std::string TextOfInput(const Json::Value& entry)
{
    const bool isPlugged = !entry["capture"].isNull();
    return srcwatch::InputName(entry["port"].asInt()) + (isPlugged ? ": a device" : ": no device");
}

std::string TextOf(const Json::Value& entry)
{
    const std::string kind = entry["kind"].asString();
    if (kind == "setting") return entry["key"].asString() + " = " + ToText(entry["value"]);
    if (kind == "event") return srcwatch::EventTypeName(entry["type"].asInt());
    if (kind == "input") return TextOfInput(entry);
    if (kind == "call") return "call " + entry["call"].asString() + " of type " + entry["type"].asString();
    if (kind == "reply") return "reply to call " + entry["call"].asString();
    return "all settings and inputs";
}

int FirstNumber(const std::string& message)
{
    int number = 0;
    static_cast<void>(std::from_chars(message.data(), message.data() + message.size(), number));  // 0 if it is none
    return number;
}

// The first number of an event about a port is the port.
Json::Value PortOf(const Json::Value& entry)
{
    if (entry["kind"] == "input") return entry["port"];
    const bool isOfPort = entry["kind"] == "event" &&
                          (entry["type"] == SRCWATCH_EVENT_CONNECTION || entry["type"] == SRCWATCH_EVENT_DETECTED);
    return isOfPort ? Json::Value(FirstNumber(entry["message"].asString())) : Json::Value();
}

Json::Value LineOf(const Json::Value& entry, double at)
{
    Json::Value line;
    line["at"] = at;
    line["kind"] = entry["kind"];
    line["port"] = PortOf(entry);
    line["text"] = Short(TextOf(entry));
    return line;
}

}  // namespace

std::optional<std::string> ReadRecording(const std::string& path, std::string& fault)
{
    const auto bytes = srcwatch::ReadBoundedFile(path, kFileLimit);
    fault = bytes ? srcwatch::InOneLine(bytes->remarks) : "no such recording";
    if (!bytes || !bytes->value) return std::nullopt;
    return std::string(bytes->value->begin(), bytes->value->end());
}

std::unique_ptr<srcwatch::EntrySource> EntriesOf(const std::string& text)
{
    return std::make_unique<srcwatch::RecordingReader>(std::make_unique<std::istringstream>(text));
}

Recording ParseRecording(const std::string& text)
{
    Recording recording;
    const std::unique_ptr<srcwatch::EntrySource> entries = EntriesOf(text);
    while (const auto entry = entries->Next()) {
        recording.length = entry->at;
        if (recording.timeline.size() < kMostEntries) recording.timeline.append(LineOf(entry->json, entry->at));
    }
    recording.fault = entries->Fault();
    return recording;
}

}  // namespace panel
