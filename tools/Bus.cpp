// SPDX-License-Identifier: Apache-2.0
#include "Bus.h"

#include "Failure.h"
#include "JsonText.h"
#include "QDInfoEventManager.h"
#include "srcwatch-protocol.h"

#include <sstream>

namespace ctl {

namespace {

constexpr int kTimeoutMs = 5000;               // of questions to the bus
constexpr gint64 kReplyTimeoutUs = 5'000'000;  // of the library's senders

using ErrorPtr = srcwatch::Handle<GError, g_error_free>;
using VariantPtr = srcwatch::Handle<GVariant, g_variant_unref>;

// Asks the bus itself about a name.
VariantPtr AskBus(GDBusConnection* connection, const char* method, const char* name, const char* replyType,
                  GError** error)
{
    return VariantPtr(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        g_variant_new("(s)", name), G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, kTimeoutMs, nullptr, error));
}

std::optional<unsigned> NumberOf(GVariant* dictionary, const char* key)
{
    guint32 number = 0;
    if (!g_variant_lookup(dictionary, key, "u", &number)) return std::nullopt;
    return number;
}

}  // namespace

Connection ConnectBus()
{
    GError* failure = nullptr;
    Connection connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure));
    const ErrorPtr error(failure);
    if (!connection) throw Failure(std::string("cannot reach the system bus: ") + error->message);
    if (g_dbus_connection_is_closed(connection.get())) throw Failure("the connection to the system bus is closed");
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

std::optional<BusOwner> ServiceOwner(GDBusConnection* connection)
{
    GError* failure = nullptr;
    const VariantPtr reply = AskBus(connection, "GetNameOwner", SRCWATCH_BUS_NAME, "(s)", &failure);
    const ErrorPtr error(failure);
    if (!reply && g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER)) return std::nullopt;
    if (!reply) throw Failure(std::string("the system bus does not answer: ") + error->message);

    BusOwner owner;
    const char* name = nullptr;
    g_variant_get(reply.get(), "(&s)", &name);
    owner.uniqueName = name;

    const VariantPtr credentials = AskBus(connection, "GetConnectionCredentials", name, "(a{sv})", nullptr);
    if (!credentials) return owner;  // it has left in the meantime
    const VariantPtr dictionary(g_variant_get_child_value(credentials.get(), 0));
    owner.pid = NumberOf(dictionary.get(), "ProcessID");
    owner.uid = NumberOf(dictionary.get(), "UnixUserID");
    return owner;
}

void RequireService(GDBusConnection* connection)
{
    if (ServiceOwner(connection)) return;
    throw Failure("no detection service is running: " SRCWATCH_BUS_NAME " has no owner on the bus");
}

// Any question will do: the bus handles the messages of a connection one after the other.
void SyncWithBus(GDBusConnection* connection) { static_cast<void>(ServiceOwner(connection)); }

std::string CallService(int type, const srcwatch_event_s& request, const std::string& extra)
{
    const Connection connection = ConnectBus();
    RequireService(connection.get());

    qdinfo::CQDEventSender sender("");
    sender.AppendArgs(request);
    std::stringstream reply;
    const gint64 start = g_get_monotonic_time();
    const int called = extra.empty() ? sender.Call(type, reply) : sender.Call(type, std::stringstream(extra), reply);
    if (called == 1) return reply.str();
    if (g_get_monotonic_time() - start >= kReplyTimeoutUs) {
        throw Failure("the detection service does not answer in time", kTimedOut);
    }
    throw Failure("the call to the detection service failed; --log shows why");
}

Json::Value ParseReply(const std::string& reply)
{
    Json::Value document = srcwatch::ParseJson(reply).value_or(Json::nullValue);
    if (document.isObject() && document["error"].isString()) {
        throw Failure("the detection service refused: " + document["error"].asString());
    }
    return document;
}

}  // namespace ctl
