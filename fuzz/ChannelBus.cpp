// SPDX-License-Identifier: Apache-2.0
#include "ChannelBus.h"

#include "Fuzz.h"

#include <memory>

#include <gio/gio.h>

namespace fuzz {
namespace {

constexpr char kName[] = "org.nalto.tv.qdinfo";
constexpr char kPath[] = "/org/nalto/tv/qdinfo";
constexpr char kMember[] = "qdinfo";
constexpr char kSender[] = ":1.1";

struct Bus {
    GBusAcquiredCallback acquired = nullptr;
    void* owner = nullptr;
    GDBusSignalCallback signal = nullptr;
    void* subscriber = nullptr;
    const GDBusInterfaceVTable* object = nullptr;
    void* exporter = nullptr;
    Body emitted;
    std::string reply;
    bool replied = false;
};

Bus& TheBus()
{
    static Bus& bus = *new Bus;
    return bus;
}

// Nothing looks into the connection: every function that takes one stands below.
GDBusConnection* TheConnection()
{
    static void* const connection = g_object_new(G_TYPE_OBJECT, nullptr);
    return static_cast<GDBusConnection*>(connection);
}

struct Unref {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};

// In the wire's own form and on memory of just this size: a text of any bytes, and no byte behind its end.
std::unique_ptr<GVariant, Unref> VariantOf(const Body& body)
{
    const std::size_t size = sizeof(body.type) + body.text.size() + 1;
    auto* const bytes = static_cast<char*>(std::malloc(size));
    std::memcpy(bytes, &body.type, sizeof(body.type));
    std::memcpy(bytes + sizeof(body.type), body.text.c_str(), body.text.size() + 1);
    return std::unique_ptr<GVariant, Unref>(
        g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE("(is)"), bytes, size, TRUE, &std::free, bytes)));
}

}  // namespace

void AcquireBus()
{
    Require(TheBus().acquired != nullptr, "the receiver asked for its name");
    TheBus().acquired(TheConnection(), kName, TheBus().owner);
    Require(TheBus().signal != nullptr && TheBus().object != nullptr, "the receiver listens and exports its object");
}

void DeliverSignal(const Body& body)
{
    const auto variant = VariantOf(body);
    TheBus().signal(TheConnection(), kSender, kPath, kName, kMember, variant.get(), TheBus().subscriber);
}

std::string CallMethod(const Body& body)
{
    const auto variant = VariantOf(body);
    void* const invocation = g_object_new(G_TYPE_OBJECT, nullptr);
    TheBus().replied = false;
    TheBus().object->method_call(TheConnection(), kSender, kPath, kName, kMember, variant.get(),
                                 static_cast<GDBusMethodInvocation*>(invocation), TheBus().exporter);
    Require(TheBus().replied, "a call is answered");
    return TheBus().reply;
}

const Body& Emitted() { return TheBus().emitted; }

}  // namespace fuzz

using fuzz::TheBus;

GDBusConnection* g_bus_get_sync(GBusType, GCancellable*, GError**)
{
    g_object_ref(fuzz::TheConnection());
    return fuzz::TheConnection();
}

guint g_bus_own_name(GBusType, const char*, GBusNameOwnerFlags, GBusAcquiredCallback acquired, GBusNameAcquiredCallback,
                     GBusNameLostCallback, gpointer receiver, GDestroyNotify)
{
    TheBus().acquired = acquired;
    TheBus().owner = receiver;
    return 1;
}

void g_bus_unown_name(guint) {}

gboolean g_dbus_connection_is_closed(GDBusConnection*) { return FALSE; }

void g_dbus_connection_set_exit_on_close(GDBusConnection*, gboolean) {}

gboolean g_dbus_connection_flush_sync(GDBusConnection*, GCancellable*, GError**) { return TRUE; }

guint g_dbus_connection_register_object(GDBusConnection*, const char*, GDBusInterfaceInfo*,
                                        const GDBusInterfaceVTable* object, gpointer receiver, GDestroyNotify, GError**)
{
    TheBus().object = object;
    TheBus().exporter = receiver;
    return 1;
}

gboolean g_dbus_connection_unregister_object(GDBusConnection*, guint) { return TRUE; }

guint g_dbus_connection_signal_subscribe(GDBusConnection*, const char*, const char*, const char*, const char*,
                                         const char*, GDBusSignalFlags, GDBusSignalCallback callback, gpointer receiver,
                                         GDestroyNotify)
{
    TheBus().signal = callback;
    TheBus().subscriber = receiver;
    return 1;
}

void g_dbus_connection_signal_unsubscribe(GDBusConnection*, guint) {}

gboolean g_dbus_connection_emit_signal(GDBusConnection*, const char*, const char*, const char*, const char*,
                                       GVariant* parameters, GError**)
{
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &TheBus().emitted.type, &text);
    TheBus().emitted.text = text;
    return TRUE;
}

void g_dbus_method_invocation_return_value(GDBusMethodInvocation* invocation, GVariant* parameters)
{
    g_variant_ref_sink(parameters);
    const char* text = nullptr;
    g_variant_get(parameters, "(&s)", &text);
    TheBus().reply = text;
    TheBus().replied = true;
    g_variant_unref(parameters);
    g_object_unref(invocation);
}
