// SPDX-License-Identifier: Apache-2.0
#include "GioProbe.h"

#include <utility>

#include <dlfcn.h>

namespace srcwatch_test {

GioProbe& TheGioProbe()
{
    static auto& probe = *new GioProbe;
    return probe;
}

namespace {

// The function of GIO behind the one defined here.
template <typename Function>
Function* Next(Function*, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string Text(const char* text) { return text != nullptr ? text : "-"; }

template <typename... Items>
void Keep(const char* function, const Items&... items)
{
    std::string call = function;
    ((call += " " + items), ...);
    TheGioProbe().calls.push_back(call);
}

std::string Number(long number) { return std::to_string(number); }

std::string TypeOf(GVariant* variant) { return variant != nullptr ? g_variant_get_type_string(variant) : "-"; }

void HandleMethodCall(GDBusConnection* connection, const char* sender, const char* path, const char* interface,
                      const char* method, GVariant* parameters, GDBusMethodInvocation* invocation, void* receiver)
{
    GioProbe& probe = TheGioProbe();
    if (probe.methodCall == nullptr) return;  // a test that is over
    GVariant* body = probe.body ? g_variant_ref_sink(probe.body()) : g_variant_ref(parameters);
    probe.methodCall(connection, sender, path, interface, probe.method != nullptr ? probe.method : method, body,
                     invocation, receiver);
    ++probe.methodCalls;
    g_variant_unref(body);
}

constexpr GDBusInterfaceVTable kVTable = {&HandleMethodCall, nullptr, nullptr, {}};

}  // namespace
}  // namespace srcwatch_test

using srcwatch_test::Keep;
using srcwatch_test::Next;
using srcwatch_test::Number;
using srcwatch_test::Text;
using srcwatch_test::TheGioProbe;
using srcwatch_test::TypeOf;

guint g_bus_own_name(GBusType bus, const gchar* name, GBusNameOwnerFlags flags, GBusAcquiredCallback busAcquired,
                     GBusNameAcquiredCallback nameAcquired, GBusNameLostCallback nameLost, gpointer data,
                     GDestroyNotify free)
{
    srcwatch_test::GioProbe& probe = TheGioProbe();
    Keep("own_name", Number(bus), Text(name), Number(flags), std::string(free == nullptr ? "-" : "free"));
    probe.busAcquired = busAcquired;
    probe.nameAcquired = nameAcquired;
    probe.nameLost = nameLost;
    probe.receiver = data;
    if (probe.failOwnName) return 0;
    return Next(&g_bus_own_name, "g_bus_own_name")(bus, name, flags, busAcquired, nameAcquired, nameLost, data, free);
}

guint g_dbus_connection_register_object(GDBusConnection* connection, const gchar* path, GDBusInterfaceInfo* interface,
                                        const GDBusInterfaceVTable* vtable, gpointer data, GDestroyNotify free,
                                        GError** error)
{
    srcwatch_test::GioProbe& probe = TheGioProbe();
    Keep("register_object", Text(path), Text(interface->name),
         std::string(vtable->get_property == nullptr && vtable->set_property == nullptr ? "-" : "properties"),
         std::string(data == probe.receiver ? "receiver" : "other"), std::string(free == nullptr ? "-" : "free"),
         std::string(error == nullptr ? "-" : "error"));
    probe.methodCall = vtable->method_call;
    const std::function<void()> before = std::exchange(probe.beforeRegisterObject, nullptr);
    if (before) before();
    if (probe.failRegisterObject) return 0;
    return Next(&g_dbus_connection_register_object, "g_dbus_connection_register_object")(
        connection, path, interface, &srcwatch_test::kVTable, data, free, error);
}

gboolean g_dbus_connection_unregister_object(GDBusConnection* connection, guint id)
{
    Keep("unregister_object");
    return Next(&g_dbus_connection_unregister_object, "g_dbus_connection_unregister_object")(connection, id);
}

guint g_dbus_connection_signal_subscribe(GDBusConnection* connection, const gchar* sender, const gchar* interface,
                                         const gchar* member, const gchar* path, const gchar* arg0,
                                         GDBusSignalFlags flags, GDBusSignalCallback callback, gpointer data,
                                         GDestroyNotify free)
{
    srcwatch_test::GioProbe& probe = TheGioProbe();
    Keep("signal_subscribe", Text(sender), Text(interface), Text(member), Text(path), Text(arg0), Number(flags),
         std::string(free == nullptr ? "-" : "free"));
    probe.signal = callback;
    probe.receiver = data;
    if (probe.failSubscribe) return 0;
    return Next(&g_dbus_connection_signal_subscribe, "g_dbus_connection_signal_subscribe")(
        connection, sender, interface, member, path, arg0, flags, callback, data, free);
}

void g_dbus_connection_signal_unsubscribe(GDBusConnection* connection, guint id)
{
    Keep("signal_unsubscribe");
    const std::function<void()> before = std::exchange(TheGioProbe().beforeUnsubscribe, nullptr);
    if (before) before();
    Next(&g_dbus_connection_signal_unsubscribe, "g_dbus_connection_signal_unsubscribe")(connection, id);
}

void g_bus_unown_name(guint id)
{
    Keep("unown_name");
    const std::function<void()> before = std::exchange(TheGioProbe().beforeUnownName, nullptr);
    if (before) before();
    Next(&g_bus_unown_name, "g_bus_unown_name")(id);
}

gboolean g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                       const gchar* interface, const gchar* member, GVariant* body, GError** error)
{
    Keep("emit_signal", Text(destination), Text(path), Text(interface), Text(member), TypeOf(body));
    return Next(&g_dbus_connection_emit_signal, "g_dbus_connection_emit_signal")(connection, destination, path,
                                                                                 interface, member, body, error);
}

gboolean g_dbus_connection_flush_sync(GDBusConnection* connection, GCancellable* cancellable, GError** error)
{
    Keep("flush");
    return Next(&g_dbus_connection_flush_sync, "g_dbus_connection_flush_sync")(connection, cancellable, error);
}

GVariant* g_dbus_connection_call_sync(GDBusConnection* connection, const gchar* name, const gchar* path,
                                      const gchar* interface, const gchar* method, GVariant* body,
                                      const GVariantType* reply, GDBusCallFlags flags, gint timeout,
                                      GCancellable* cancellable, GError** error)
{
    Keep("call", Text(name), Text(path), Text(interface), Text(method), TypeOf(body),
         reply != nullptr ? std::string(g_variant_type_peek_string(reply), g_variant_type_get_string_length(reply))
                          : std::string("-"),
         Number(flags), Number(timeout), std::string(cancellable == nullptr ? "-" : "cancellable"));
    return Next(&g_dbus_connection_call_sync, "g_dbus_connection_call_sync")(
        connection, name, path, interface, method, body, reply, flags, timeout, cancellable, error);
}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection* connection, GDBusProxyFlags flags, GDBusInterfaceInfo* info,
                                  const gchar* name, const gchar* path, const gchar* interface,
                                  GCancellable* cancellable, GError** error)
{
    Keep("proxy_new", Number(flags), std::string(info == nullptr ? "-" : "info"), Text(name), Text(path),
         Text(interface), std::string(cancellable == nullptr ? "-" : "cancellable"));
    return Next(&g_dbus_proxy_new_sync, "g_dbus_proxy_new_sync")(connection, flags, info, name, path, interface,
                                                                 cancellable, error);
}

GVariant* g_dbus_proxy_call_sync(GDBusProxy* proxy, const gchar* method, GVariant* body, GDBusCallFlags flags,
                                 gint timeout, GCancellable* cancellable, GError** error)
{
    Keep("proxy_call", Text(method), TypeOf(body), Number(flags), Number(timeout),
         std::string(cancellable == nullptr ? "-" : "cancellable"));
    return Next(&g_dbus_proxy_call_sync, "g_dbus_proxy_call_sync")(proxy, method, body, flags, timeout, cancellable,
                                                                   error);
}
