// SPDX-License-Identifier: Apache-2.0
#include "Bus.h"

#include "Failure.h"
#include "JsonText.h"
#include "OptionalPlatform.h"
#include "QDInfoEventManager.h"
#include "srcwatch-protocol.h"

#include <memory>
#include <sstream>

namespace ctl {

namespace {

constexpr int kTimeoutMs = 5000;               // of questions to the bus, and to the service whether it answers
constexpr gint64 kReplyTimeoutUs = 5'000'000;  // of the library's senders

// The channel of the service, and its only method.
constexpr const char* kObjectPath = "/org/nalto/tv/qdinfo";
constexpr const char* kMethod = "qdinfo";

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

// A connection in the making, by another thread: a bus that hangs would have this one wait for ever.
struct Connecting {
    GDBusConnection* connection = nullptr;
    GError* error = nullptr;
    bool isDone = false;
    bool isLate = false;
};

void OnConnected(GObject* /*source*/, GAsyncResult* result, void* data)
{
    auto& connecting = *static_cast<Connecting*>(data);
    connecting.connection = g_bus_get_finish(result, &connecting.error);
    connecting.isDone = true;
}

gboolean OnLate(void* data)
{
    static_cast<Connecting*>(data)->isLate = true;
    return G_SOURCE_CONTINUE;
}

// Runs the main loop. What is late stays in memory, as it may still end.
std::shared_ptr<Connecting> Connect()
{
    auto connecting = std::make_shared<Connecting>();
    g_bus_get(G_BUS_TYPE_SYSTEM, nullptr, OnConnected, connecting.get());
    const unsigned late = g_timeout_add(kTimeoutMs, OnLate, connecting.get());
    while (!connecting->isDone && !connecting->isLate) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(late);
    static std::shared_ptr<Connecting> unfinished;
    if (!connecting->isDone) unfinished = connecting;
    return connecting;
}

// The request for the status, in the text form of the channel.
GVariant* StatusRequest() { return g_variant_new("(is)", SRCWATCH_REQUEST_STATUS, "0\t"); }

ServiceAnswer AnswerFrom(const GError* error)
{
    if (error == nullptr) return ServiceAnswer::kAnswered;
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED)) return ServiceAnswer::kDenied;
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT))
        return ServiceAnswer::kSilent;
    if (g_dbus_error_is_remote_error(error) == FALSE ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) ||  // it left before it answered
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER))
        return ServiceAnswer::kGone;
    return ServiceAnswer::kAnswered;  // by an error of its own
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
    const std::shared_ptr<Connecting> connecting = Connect();
    if (!connecting->isDone) throw Failure("the system bus does not answer in time", kTimedOut);
    const ErrorPtr error(connecting->error);
    Connection connection(connecting->connection);
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
    if (!reply) {
        const bool isLate = g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE;
        throw Failure(std::string("the system bus does not answer: ") + error->message, isLate ? kTimedOut : kFailed);
    }

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

ServiceAnswer AskService(GDBusConnection* connection, int milliseconds)
{
    GError* failure = nullptr;
    const VariantPtr answer(g_dbus_connection_call_sync(
        connection, SRCWATCH_BUS_NAME, kObjectPath, SRCWATCH_BUS_NAME, kMethod, StatusRequest(), nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, milliseconds, nullptr, &failure));
    return AnswerFrom(ErrorPtr(failure).get());
}

void BeginAskService(GDBusConnection* connection, int milliseconds, GCancellable* cancellable,
                     GAsyncReadyCallback callback, void* user_data)
{
    g_dbus_connection_call(connection, SRCWATCH_BUS_NAME, kObjectPath, SRCWATCH_BUS_NAME, kMethod, StatusRequest(),
                           nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, milliseconds, cancellable, callback, user_data);
}

ServiceAnswer EndAskService(GDBusConnection* connection, GAsyncResult* result)
{
    GError* failure = nullptr;
    const VariantPtr answer(g_dbus_connection_call_finish(connection, result, &failure));
    return AnswerFrom(ErrorPtr(failure).get());
}

void RequireService(GDBusConnection* connection)
{
    if (ServiceOwner(connection)) return;
    throw Failure("no detection service is running: " SRCWATCH_BUS_NAME " has no owner on the bus", kNoService);
}

void RequireService() { RequireService(ConnectBus().get()); }

void RequireHearingService(GDBusConnection* connection)
{
    RequireService(connection);
    if (srcwatch::ReportsWrites()) return;
    const Json::Value status = ParseReply(CallService(SRCWATCH_REQUEST_STATUS, srcwatch_event_s{}, ""));
    if (!status.isObject() || status["hears_commands"] != false) return;  // another service has other means
    throw Failure("the detection service cannot receive commands, as this platform does not report writes of settings");
}

void RequireHearingService() { RequireHearingService(ConnectBus().get()); }

// Any question will do: the bus handles the messages of a connection one after the other.
void SyncWithBus(GDBusConnection* connection) { static_cast<void>(ServiceOwner(connection)); }

std::string CallService(int type, const srcwatch_event_s& request, const std::string& extra)
{
    const Connection connection = ConnectBus();
    RequireService(connection.get());
    // The library's sender would ask the service twice, and wait for half a minute.
    if (AskService(connection.get(), kTimeoutMs) == ServiceAnswer::kSilent) {
        throw Failure("the detection service does not answer in time", kTimedOut);
    }

    qdinfo::CQDEventSender sender("");
    sender.AppendArgs(request);
    std::stringstream reply;
    const gint64 start = g_get_monotonic_time();
    const int called = extra.empty() ? sender.Call(type, reply) : sender.Call(type, std::stringstream(extra), reply);
    if (called == 1) return reply.str();
    if (g_get_monotonic_time() - start >= kReplyTimeoutUs) {
        throw Failure("the detection service does not answer in time; it may still do what was asked", kTimedOut);
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
