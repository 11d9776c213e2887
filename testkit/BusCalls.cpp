// SPDX-License-Identifier: Apache-2.0
#include "BusCalls.h"

#include <stdexcept>
#include <string>

namespace srcwatch_test {

namespace {

using Connection = srcwatch::Handle<GDBusConnection, g_object_unref>;

Connection Connect()
{
    GError* error = nullptr;
    Connection connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    const srcwatch::Handle<GError, g_error_free> owner(error);
    if (!connection) throw std::runtime_error(std::string("no message bus: ") + error->message);
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

}  // namespace

Reply AskBus(const char* method, GVariant* arguments)
{
    const Reply owned(arguments != nullptr ? g_variant_ref_sink(arguments) : nullptr);
    const Connection connection = Connect();
    return Reply(g_dbus_connection_call_sync(connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                             "org.freedesktop.DBus", method, owned.get(), nullptr,
                                             G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
}

bool OwnsName(const char* name)
{
    const Connection connection = Connect();
    const Reply reply = AskBus("GetNameOwner", g_variant_new("(s)", name));
    if (!reply) return false;
    const char* owner = "";
    g_variant_get(reply.get(), "(&s)", &owner);
    return g_strcmp0(owner, g_dbus_connection_get_unique_name(connection.get())) == 0;
}

}  // namespace srcwatch_test
