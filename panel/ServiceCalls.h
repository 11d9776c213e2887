// SPDX-License-Identifier: Apache-2.0
//
// Requests to the detection service, each in a thread of its own: a service that hangs holds nobody up.
#ifndef SRCWATCH_PANEL_SERVICECALLS_H
#define SRCWATCH_PANEL_SERVICECALLS_H

#include "Handle.h"

#include <functional>
#include <string>

#include <gio/gio.h>
#include <json/value.h>

namespace panel {

/// The object that the service replied, or the reason for which there is none.
struct ServiceReply {
    Json::Value object;
    std::string reason;

    bool IsReply() const { return reason.empty(); }
};

class ServiceCalls {
public:
    using Callback = std::function<void(const ServiceReply& reply)>;

    ServiceCalls() : m_cancellable(g_cancellable_new()) {}
    ServiceCalls(const ServiceCalls&) = delete;
    ServiceCalls& operator=(const ServiceCalls&) = delete;
    /// Callbacks that have not been called are not called any more.
    ~ServiceCalls() { g_cancellable_cancel(m_cancellable.get()); }

    /// Sends a request of srcwatch-protocol.h about a port; requests about none ignore it. The callback is called in
    /// the main loop, at once if too many calls are waiting.
    void Call(int request, int port, Callback callback);

private:
    struct Task;
    static void Run(GTask* task, void* source, void* data, GCancellable* cancellable);
    static void OnDone(GObject* source, GAsyncResult* result, void* data);

    const srcwatch::Handle<GCancellable, g_object_unref> m_cancellable;
    int m_waiting = 0;
};

}  // namespace panel

#endif
