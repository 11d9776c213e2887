// SPDX-License-Identifier: Apache-2.0
#include "ChannelMessages.h"

#include "Handle.h"
#include "srcwatch-protocol.h"

#include <cstring>

namespace ctl {

namespace {

constexpr const char* kMember = "qdinfo";  // the signal and the method of the channel

std::string TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

bool HasBody(GDBusMessage* message, const char* type)
{
    GVariant* const body = g_dbus_message_get_body(message);
    return body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE(type)) != FALSE;
}

Json::Value EventEntry(GDBusMessage* message)
{
    int type = 0;
    const char* text = nullptr;
    g_variant_get(g_dbus_message_get_body(message), "(i&s)", &type, &text);
    Json::Value entry;
    entry["type"] = type;
    entry["message"] = text;
    return entry;
}

}  // namespace

bool MayBeOfChannel(GDBusMessage* message)
{
    switch (g_dbus_message_get_message_type(message)) {
        case G_DBUS_MESSAGE_TYPE_SIGNAL:
        case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
            return TextOrEmpty(g_dbus_message_get_interface(message)) == SRCWATCH_BUS_NAME &&
                   TextOrEmpty(g_dbus_message_get_member(message)) == kMember;
        default:
            return true;
    }
}

std::optional<Json::Value> ChannelMessages::ReplyEntry(GDBusMessage* message)
{
    const auto call = m_unanswered.find(
        {TextOrEmpty(g_dbus_message_get_destination(message)), g_dbus_message_get_reply_serial(message)});
    if (call == m_unanswered.end()) return std::nullopt;
    Json::Value entry;
    entry["kind"] = "reply";
    entry["call"] = call->second;
    m_unanswered.erase(call);
    const char* text = "";
    if (HasBody(message, "(s)")) g_variant_get(g_dbus_message_get_body(message), "(&s)", &text);
    if (const char* const error = g_dbus_message_get_error_name(message)) {
        entry["error"] = error;
        entry["text"] = text;
    } else {
        entry["reply"] = text;
    }
    return entry;
}

std::optional<Json::Value> ChannelMessages::EntryOf(GDBusMessage* message)
{
    if (!MayBeOfChannel(message)) return std::nullopt;
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    const bool isCall = type == G_DBUS_MESSAGE_TYPE_METHOD_CALL;
    if (!isCall && type != G_DBUS_MESSAGE_TYPE_SIGNAL) return ReplyEntry(message);
    if (!HasBody(message, "(is)")) return std::nullopt;
    Json::Value entry = EventEntry(message);
    entry["kind"] = isCall ? "call" : "event";
    if (isCall) {
        entry["call"] = ++m_calls;
        m_unanswered[{TextOrEmpty(g_dbus_message_get_sender(message)), g_dbus_message_get_serial(message)}] = m_calls;
    }
    return entry;
}

}  // namespace ctl
