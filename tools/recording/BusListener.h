// SPDX-License-Identifier: Apache-2.0
//
// Everything that passes on the event channel, heard on a connection of its own.
#ifndef SRCWATCH_TOOLS_BUSLISTENER_H
#define SRCWATCH_TOOLS_BUSLISTENER_H

#include "Handle.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include <gio/gio.h>

namespace ctl {

class BusListener {
public:
    /// Messages are handled in the default main context, behind the sources that are there already: what a sender wrote
    /// to the settings before it sent is handled first, if a watch of them is there.
    /// @param onMessage  Gets messages; no exception may leave it.
    /// @param onClosed   Is called when the connection is lost.
    /// Throws a Failure if the bus cannot be reached.
    BusListener(std::function<void(GDBusMessage*)> onMessage, std::function<void()> onClosed);
    BusListener(const BusListener&) = delete;
    BusListener& operator=(const BusListener&) = delete;
    ~BusListener();

    /// Returns why only events are received, and no calls; empty if they are.
    const std::string& WhyNoCalls() const { return m_whyNoCalls; }

private:
    using Message = srcwatch::Handle<GDBusMessage, g_object_unref>;
    // What arrived and is not handled yet. GDBus's thread fills it, and may do so while the listener ends.
    struct Queue {
        std::mutex mutex;
        std::deque<Message> messages;
    };
    struct Source;

    static GDBusMessage* Filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, void* queue);
    static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error, void* self);
    static gboolean Prepare(GSource* source, int* timeout);
    static gboolean Check(GSource* source);
    static gboolean Dispatch(GSource* source, GSourceFunc callback, void* data);
    void Connect();
    void Listen();
    bool CallBus(const char* interface, const char* method, GVariant* arguments, std::string& why);
    void HandleMessages();

    const std::function<void(GDBusMessage*)> m_onMessage;
    const std::function<void()> m_onClosed;
    srcwatch::Handle<GDBusConnection, g_object_unref> m_connection;
    unsigned m_filter = 0;
    GSource* m_source = nullptr;
    std::string m_whyNoCalls;
    std::size_t m_ready = 0;  // messages that came before the sources were last polled
    const std::shared_ptr<Queue> m_queue = std::make_shared<Queue>();
};

}  // namespace ctl

#endif
