// SPDX-License-Identifier: Apache-2.0
#include "Requests.h"

#include "OptionalPlatform.h"
#include "QDInfoEventManager.h"
#include "srcwatch-protocol.h"
#include "srcwatch-version.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <utility>

#include <json/json.h>

namespace srcwatch {

namespace {

Json::Value Error(const std::string& text)
{
    Json::Value answer;
    answer["error"] = text;
    return answer;
}

constexpr int kRequests[] = {SRCWATCH_REQUEST_STATUS, SRCWATCH_REQUEST_RECORD,   SRCWATCH_REQUEST_FORGET,
                             SRCWATCH_REQUEST_DENY,   SRCWATCH_REQUEST_PROFILES, SRCWATCH_REQUEST_CAPTURE};

bool IsBroadcastRequest(GDBusMessage* message)
{
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_SIGNAL) return false;
    if (std::string(SRCWATCH_BUS_NAME) != g_dbus_message_get_interface(message)) return false;  // signals have one
    GVariant* const body = g_dbus_message_get_body(message);
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(is)"))) return false;
    int type = 0;
    g_variant_get_child(body, 0, "i", &type);
    return std::find(std::begin(kRequests), std::end(kRequests), type) != std::end(kRequests);
}

// A receiver calls back for signals as for method calls, and the event does not say which it was. So signals of a
// request's type are dropped before. Runs in GLib's thread.
GDBusMessage* DropBroadcastRequest(GDBusConnection* /*bus*/, GDBusMessage* message, gboolean isIncoming, gpointer)
{
    if (isIncoming == FALSE || !IsBroadcastRequest(message)) return message;
    g_object_unref(message);
    return nullptr;
}

}  // namespace

void Requests::Register(GDBusConnection* bus, qdinfo::CQDEventReciever& receiver)
{
    g_dbus_connection_add_filter(bus, DropBroadcastRequest, nullptr, nullptr);
    for (const int type : kRequests) receiver.RegisterEventCallback(type, OnRequest, this);
}

void Requests::OnRequest(void* self, srcwatch_event_s* event)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    *static_cast<std::stringstream*>(event->ptr_args[0])
        << Json::writeString(builder, static_cast<Requests*>(self)->Answer(event->type, event->args[0]));
}

Json::Value Requests::Answer(int type, int port)
{
    if (type == SRCWATCH_REQUEST_STATUS) return AnswerStatus();
    if (type == SRCWATCH_REQUEST_PROFILES) return AnswerProfiles();
    if (!m_ports.Has(port)) return Error("no such port: " + std::to_string(port));
    if (type == SRCWATCH_REQUEST_DENY) return AnswerDeny(port);
    if (type == SRCWATCH_REQUEST_FORGET) return AnswerForget(port);
    if (type == SRCWATCH_REQUEST_CAPTURE) return AnswerCapture(port);
    return AnswerRecord(port);
}

Json::Value Requests::AnswerStatus() const
{
    Json::Value answer;
    answer["version"] = SRCWATCH_VERSION;
    answer["inputs"] = m_ports.hdmiCount;
    answer["plugged"] = Json::arrayValue;
    for (const int port : m_ports.All()) {
        if (m_detector.IsPlugged(port)) answer["plugged"].append(port);
    }
    answer["profiles"] = static_cast<Json::UInt64>(m_detector.ProfileCount());
    const Scan& scan = m_commands.FirstSetupScan();
    answer["scan"]["state"] = scan.StateText();
    answer["scan"]["percent"] = scan.Percent();
    answer["scan"]["found"] = scan.DevicesFound();
    answer["twc"]["port"] = m_commands.TwcPort();
    if (!ReportsWrites()) answer["hears_commands"] = false;
    answer["unsaved"] = static_cast<Json::UInt64>(m_settings.PendingCount());
    return answer;
}

Json::Value Requests::AnswerProfiles() const
{
    Json::Value answer;
    answer["paths"] = Json::arrayValue;
    for (const std::string& path : m_detector.ProfilePaths()) answer["paths"].append(path);
    return answer;
}

Json::Value Requests::AnswerRecord(int port) const
{
    const std::optional<Json::Value> record = m_records.Stored(port);
    return record ? AnswerWith(port, *record) : Error("the settings store cannot be read");
}

Json::Value Requests::AnswerCapture(int port) const
{
    Json::Value answer = ToJson(m_detector.ReadCapture(port));
    answer["port"] = port;
    return answer;
}

Json::Value Requests::AnswerWith(int port, const Json::Value& record) const
{
    Json::Value answer;
    answer["port"] = port;
    answer["plugged"] = m_detector.IsPlugged(port);
    answer["record"] = record;
    return answer;
}

Json::Value Requests::AnswerDeny(int port)
{
    const Record before = m_records.Get(port);
    if (!before.HasDevice()) return Error("nothing was detected on port " + std::to_string(port));
    Record record = before;
    if (record.denyCount < std::numeric_limits<int>::max()) ++record.denyCount;
    static_cast<void>(m_records.Set(port, record));  // the reply is the same if the count has reached its limit
    Json::Value answer = AnswerIfSaved(port, before);
    if (!answer.isMember("error")) m_detector.LogDenial(port);
    return answer;
}

Json::Value Requests::AnswerForget(int port)
{
    const Record before = m_records.Get(port);
    m_records.Clear(port);
    return AnswerIfSaved(port, before);
}

// A request that fails changes nothing. One that is stored has succeeded, also if the store cannot be read then.
Json::Value Requests::AnswerIfSaved(int port, const Record& before)
{
    if (m_records.IsSaved(port)) return AnswerWith(port, m_records.Stored(port).value_or(m_records.Document(port)));
    static_cast<void>(m_records.Set(port, before));  // equal if the request would have changed nothing
    return Error("the record cannot be saved");
}

}  // namespace srcwatch
