// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_RECEIVERSTATE_H
#define SRCWATCH_RECEIVERSTATE_H

#include "EventText.h"
#include "QDInfoEventManager.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include <gio/gio.h>

namespace qdinfo {

/// The state that a receiver shares with its handlers. GLib passes them the receiver as a bare pointer, also while
/// another thread or their own callback deletes it and makes another in its place. So each looks up the state before
/// all else that may take its time, a lock or a line of the log, and holds a reference until it is done.
struct SRCWATCH_LOCAL CQDEventReciever::State {
    State(const std::string& name, bool service) : m_Name(name), m_bService(service)
    {
        g_weak_ref_init(&m_Borrowed, nullptr);
        Reset(m_OutStream);  // written to by callbacks of signals before any method call resets it
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { g_weak_ref_clear(&m_Borrowed); }

    /// The states of the existing receivers. Outlives static receivers of the host.
    static std::map<const void*, std::shared_ptr<State>>& Registry()
    {
        static auto& registry = *new std::map<const void*, std::shared_ptr<State>>;
        return registry;
    }
    static std::shared_ptr<State> Of(const void* receiver)
    {
        const std::lock_guard<std::mutex> lock(t_mutex);
        const auto found = Registry().find(receiver);
        return found != Registry().end() ? found->second : nullptr;
    }

    void HandleMessage(int type, const char* text);
    void m_ConvertStreamToEvent(srcwatch_event_s& event);
    void m_ProcessHandleEvent(srcwatch_event_s* event);

    // Guards the map, and keeps a receiver from ending while its handler registers it with GDBus. Taken last; nothing
    // that is called under it calls back.
    inline static std::mutex t_mutex;

    std::map<int, std::function<void(srcwatch_event_s*)>> m_EventCallbackTable;
    const std::string m_Name;
    std::stringstream m_InStream;
    std::stringstream m_OutStream;
    GDBusNodeInfo* m_pNodeInfo = nullptr;
    unsigned m_OwnerId = 0;
    const bool m_bService;
    GDBusConnection* m_pConnection = nullptr;  // client side: one reference
    GWeakRef m_Borrowed;                       // service side: GLib makes no new connection while a broken one is held
    unsigned m_SubscriptionId = 0;
    unsigned m_ObjectId = 0;
    std::atomic<bool> m_bEnded{false};
};

}  // namespace qdinfo

#endif
