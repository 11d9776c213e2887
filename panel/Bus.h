// SPDX-License-Identifier: Apache-2.0
//
// Whether there is a system bus and a detection service on it, and the events of the service.
#ifndef SRCWATCH_PANEL_BUS_H
#define SRCWATCH_PANEL_BUS_H

#include "Handle.h"
#include "srcwatch-api.h"

#include <functional>

#include <gio/gio.h>

namespace panel {

class Bus {
public:
    struct Listener {
        std::function<void()> onChange;  ///< of HasBus() or HasService()
        std::function<void(const srcwatch_event_s& event)> onEvent;
    };

    /// Connects, and connects again whenever the bus is lost. The listener is called in the main loop.
    explicit Bus(Listener listener);
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    ~Bus();

    bool HasBus() const { return m_connection != nullptr; }
    bool HasService() const { return m_hasService; }

private:
    using Connection = srcwatch::Handle<GDBusConnection, g_object_unref>;

    static void OnConnected(GObject* source, GAsyncResult* result, void* self);
    static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error, void* self);
    static void OnAppeared(GDBusConnection* connection, const char* name, const char* owner, void* self);
    static void OnVanished(GDBusConnection* connection, const char* name, void* self);
    static void OnEvent(void* self, srcwatch_event_s* event);
    static gboolean OnRetry(void* self);
    void Connect();
    void ConnectLater();
    void Begin(Connection connection);
    void End();
    void SetService(bool hasService);

    const Listener m_listener;
    const srcwatch::Handle<GCancellable, g_object_unref> m_cancellable;
    Connection m_connection;
    bool m_hasService = false;
    unsigned m_nameWatch = 0;
    unsigned long m_closed = 0;  // handler of the signal
    unsigned m_retry = 0;
};

}  // namespace panel

#endif
