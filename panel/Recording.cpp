// SPDX-License-Identifier: Apache-2.0
#include "Recording.h"

#include "EntryForm.h"
#include "EventForm.h"
#include "Evidence.h"
#include "InputName.h"
#include "Json.h"
#include "JsonText.h"

#include <algorithm>
#include <charconv>

namespace panel {

namespace {

constexpr std::size_t kFileLimit = 16UL * 1024 * 1024;
constexpr Json::ArrayIndex kMostEntries = 5000;
constexpr std::size_t kLongestText = 200;
constexpr double kLongest = 1e9;  // in seconds

// ---------------------------------------------------------------------------------------------------------------------
// The line of an entry

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

// ---------------------------------------------------------------------------------------------------------------------
// Reading

class Parser {
public:
    explicit Parser(const std::string& text) : m_text(text) {}

    Recording Read()
    {
        std::size_t number = 0;
        for (std::size_t begin = 0; begin < m_text.size() && m_recording.fault.empty();) {
            const std::size_t end = std::min(m_text.find('\n', begin), m_text.size());
            const std::string fault = Take(m_text.substr(begin, end - begin), ++number == 1);
            if (!fault.empty()) m_recording.fault = "line " + std::to_string(number) + ": " + fault;
            begin = end + 1;
        }
        if (number == 0) m_recording.fault = "it is empty";
        return m_recording;
    }

private:
    std::string Take(const std::string& line, bool isFirst)
    {
        const auto entry = srcwatch::ParseJson(line);
        std::string fault = entry ? srcwatch::FaultOf(*entry) : "it is not JSON";
        if (!fault.empty()) return fault;
        const bool isSnapshot = (*entry)["kind"] == "snapshot";
        if (isFirst && !isSnapshot) return "it is not a snapshot";
        if (isFirst) m_begin = (*entry)["at"].asDouble();
        const double passed = std::min((*entry)["at"].asDouble() - m_begin, kLongest);
        const double at = std::max(m_recording.length, passed);
        m_recording.length = at;
        if (isSnapshot) TakeSnapshot((*entry)["inputs"], at);
        if ((*entry)["kind"] == "input") TakeInput(*entry, at);
        if (m_recording.timeline.size() < kMostEntries) m_recording.timeline.append(LineOf(*entry, at));
        return "";
    }

    void TakeInput(const Json::Value& input, double at)
    {
        auto device = input["capture"].isNull() ? std::nullopt : srcwatch::CaptureOf(input["capture"]);
        m_recording.changes.push_back({at, input["port"].asInt(), std::move(device)});
    }

    // What is not in it is unplugged.
    void TakeSnapshot(const Json::Value& inputs, double at)
    {
        for (const auto& plugged : m_recording.PluggedAt(at)) {
            m_recording.changes.push_back({at, plugged.first, std::nullopt});
        }
        for (const Json::Value& input : inputs) TakeInput(input, at);
    }

    const std::string& m_text;
    Recording m_recording;
    double m_begin = 0;
};

}  // namespace

std::map<int, const InputChange*> Recording::PluggedAt(double seconds) const
{
    std::map<int, const InputChange*> plugged;
    for (const InputChange& change : changes) {
        if (change.at > seconds) break;
        if (change.device) {
            plugged[change.port] = &change;
        } else {
            plugged.erase(change.port);
        }
    }
    return plugged;
}

Recording ParseRecording(const std::string& text) { return Parser(text).Read(); }

Recording ReadRecording(const std::string& path)
{
    const auto bytes = srcwatch::ReadBoundedFile(path, kFileLimit);
    Recording none;
    none.fault = bytes ? srcwatch::InOneLine(bytes->remarks) : "no such recording";
    if (!bytes || !bytes->value) return none;
    return ParseRecording({bytes->value->begin(), bytes->value->end()});
}

}  // namespace panel
