// SPDX-License-Identifier: Apache-2.0
#include "Bus.h"

#include "srcwatch-protocol.h"

#include <utility>

namespace panel {

namespace {

constexpr unsigned kRetryMilliseconds = 250;

}  // namespace

Bus::Bus(Listener listener) : m_listener(std::move(listener)), m_cancellable(g_cancellable_new()) { Connect(); }

Bus::~Bus()
{
    g_cancellable_cancel(m_cancellable.get());
    if (m_retry != 0) g_source_remove(m_retry);
    End();
}

void Bus::Connect() { g_bus_get(G_BUS_TYPE_SYSTEM, m_cancellable.get(), OnConnected, this); }

void Bus::ConnectLater() { m_retry = g_timeout_add(kRetryMilliseconds, OnRetry, this); }

gboolean Bus::OnRetry(void* self)
{
    auto& bus = *static_cast<Bus*>(self);
    bus.m_retry = 0;
    bus.Connect();
    return G_SOURCE_REMOVE;
}

// GLib returns the broken connection for as long as anything in the process holds it, such as a call that is under way.
void Bus::OnConnected(GObject* /*source*/, GAsyncResult* result, void* self)
{
    GError* failure = nullptr;
    Connection connection(g_bus_get_finish(result, &failure));
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (error && g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
    auto& bus = *static_cast<Bus*>(self);
    if (!connection || g_dbus_connection_is_closed(connection.get()) != FALSE) return bus.ConnectLater();
    bus.Begin(std::move(connection));
}

void Bus::Begin(Connection connection)
{
    m_connection = std::move(connection);
    g_dbus_connection_set_exit_on_close(m_connection.get(), FALSE);
    m_closed = g_signal_connect(m_connection.get(), "closed", G_CALLBACK(OnClosed), this);
    // It is refused only if there is a callback already.
    static_cast<void>(srcwatch_register_event_callback(OnEvent, this));
    m_nameWatch = g_bus_watch_name_on_connection(m_connection.get(), SRCWATCH_BUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                 OnAppeared, OnVanished, this, nullptr);
    m_listener.onChange();
}

void Bus::End()
{
    if (!m_connection) return;
    g_signal_handler_disconnect(m_connection.get(), m_closed);
    g_bus_unwatch_name(m_nameWatch);
    static_cast<void>(srcwatch_unregister_event_callback(OnEvent));  // it is registered
    m_connection.reset();
    m_hasService = false;
}

void Bus::OnClosed(GDBusConnection* /*connection*/, gboolean /*vanished*/, GError* /*error*/, void* self)
{
    auto& bus = *static_cast<Bus*>(self);
    bus.End();
    bus.ConnectLater();
    bus.m_listener.onChange();
}

void Bus::SetService(bool hasService)
{
    m_hasService = hasService;
    m_listener.onChange();
}

void Bus::OnAppeared(GDBusConnection* /*connection*/, const char* /*name*/, const char* /*owner*/, void* self)
{
    static_cast<Bus*>(self)->SetService(true);
}

void Bus::OnVanished(GDBusConnection* connection, const char* /*name*/, void* self)
{
    if (connection != nullptr) static_cast<Bus*>(self)->SetService(false);
}

void Bus::OnEvent(void* self, srcwatch_event_s* event) { static_cast<Bus*>(self)->m_listener.onEvent(*event); }

}  // namespace panel
