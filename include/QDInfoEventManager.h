// SPDX-License-Identifier: Apache-2.0
//
// The event channel on the D-Bus system bus: its sender and its receiver.
//
// The channel N uses the bus name and interface "org.nalto.tv.N", the object path "/org/nalto/tv/N", and the method and
// signal N, both with the body "(is)": event type and message. The library's own channel is "qdinfo".
#ifndef SRCWATCH_QDINFOEVENTMANAGER_H
#define SRCWATCH_QDINFOEVENTMANAGER_H

#include "srcwatch-api.h"

#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include <gio/gio.h>

namespace qdinfo {

/**
 * Sends events on a channel: as a signal to all receivers, or as a method call to the service.
 *
 * A sender keeps one current event, which AppendArgs() and ClearEvent() fill and every send sends. It connects to the
 * bus at its first use and keeps the process's shared connection (which is set not to end the process when the bus
 * dies) until it is destroyed. A connection that closed meanwhile is not replaced: use a new sender, after the main
 * loop has run, in which GLib learns that the shared connection has ended.
 *
 * Results are 1 for success and 0 for failure, with the reason in the log. Callable from any thread; at most one sender
 * of the process sends at a time. Text that is not valid UTF-8 is sent with U+FFFD in place of what is wrong.
 *
 * Blocking: a send, for the first connection to the bus. Call(), up to 5 s for the reply; the first Call() also asks
 * the service for its properties, which takes up to 25 s (the default of GDBus) when the service hangs. Other senders
 * wait meanwhile. The destructor waits until what was sent has left the process, and up to 2 s for a bus that hangs;
 * exit() does that for senders that still live then, _exit() does not.
 */
class SRCWATCH_API CQDEventSender {
public:
    /// @param name  The channel; "qdinfo" when empty.
    explicit CQDEventSender(std::string name);
    CQDEventSender(const CQDEventSender&) = delete;
    CQDEventSender& operator=(const CQDEventSender&) = delete;
    virtual ~CQDEventSender();

    /// Replaces the whole current event. Unlike all others it does not lock: not for a sender that threads share.
    void AppendArgs(const srcwatch_event_s& event);
    /// Sets args[0] to args[3], each reduced to 32 bits.
    void AppendArgs(long a0, long a1, long a2, long a3);
    /// Sets the three texts; each is cut after 99 bytes.
    void AppendArgs(const std::string& s0, const std::string& s1, const std::string& s2);
    /// Sets the four pointers, which are never transmitted.
    void AppendArgs(void* p0, void* p1, void* p2, void* p3);
    /// Sets the whole current event to zeros.
    void ClearEvent();

    /// Broadcasts the current event with this type, which it keeps.
    void SendEvent(long type);
    /// Broadcasts an event of this type and these numbers, which becomes the current one.
    void SendEvent(long type, long a0, long a1, long a2);

    /// Broadcasts the current event as one of this type, with the content of extra and a tab after it.
    int SendSignal(int type, const std::stringstream& extra);
    int SendSignal(int type);

    /// Calls the service with the current event as one of this type. The reply's text replaces the content of reply,
    /// which stays as it is on failure.
    int Call(int type, const std::stringstream& extra, std::stringstream& reply);
    int Call(int type, std::stringstream& reply);
    int Call(int type);

    /// Asks the bus once whether a service owns the channel's name; blocks up to 5 s.
    int IsServiceAvailable();

private:
    int m_Connect();
    int m_GetProxy();
    int m_Call(int type, const std::stringstream& extra, std::stringstream& reply);
    int m_SendSignal(int type, const std::stringstream& extra);
    int m_SendExternalEvent();
    void m_ConvertEventToStream();
    SRCWATCH_LOCAL std::string m_BuildMessage(const std::stringstream& extra);

    static std::recursive_mutex m_Mutex;  // held while a message is built and sent, by all senders of the process

    std::string m_Name;
    srcwatch_event_s m_Event;
    GDBusConnection* m_pConnection;  // one reference
    std::stringstream m_MsgStream;
    GDBusProxy* m_pProxy;  // one reference
    bool m_bUnflushed;     // a signal was queued, which may still be in this process
};

/**
 * Receives the events of a channel and calls the callbacks registered for their types.
 *
 * On the service side it also owns the channel's bus name, which a later service may take over, exports the object that
 * answers method calls, and broadcasts SRCWATCH_EVENT_SERVICE_STARTED and _STOPPED when the name is gained or lost.
 *
 * Events are delivered in the GLib main context that was thread-default where the receiver was constructed, so the host
 * must run a main loop there. Callbacks run with a lock held that all receivers of the process share; they may
 * register, unregister, send, delete this receiver, and end their thread. What a callback writes into the stream behind
 * ptr_args[0] is the reply to a method call; what the caller appended can be read from that behind ptr_args[1]. The
 * event and its streams are valid until the callback returns, even if the receiver is deleted meanwhile. Exceptions
 * that leave a callback are logged.
 *
 * Failures are only logged. When the bus dies, the process goes on, and no more events arrive: destroy the receiver,
 * let the main loop run, and construct a new one when the bus is back. GLib returns the broken connection for as long
 * as any part of the process holds it.
 */
class SRCWATCH_API CQDEventReciever {  // sic
public:
    /// @param name  The channel; "qdinfo" when empty.  @param service  True for the service side.
    CQDEventReciever(const std::string& name, bool service);
    CQDEventReciever(const CQDEventReciever&) = delete;
    CQDEventReciever& operator=(const CQDEventReciever&) = delete;
    /// Ends the receiver at once, without waiting: a callback that runs in another thread goes on until it returns.
    virtual ~CQDEventReciever();

    /// Registers callback(user_data, event) for events of a type. The first callback of a type stays.
    void RegisterEventCallback(int type, srcwatch_event_cb callback, void* user_data);
    /// Removes the callback of a type; -1 means all types.
    void UnregisterEventCallback(int type);

private:
    struct SRCWATCH_LOCAL State;

    SRCWATCH_LOCAL explicit CQDEventReciever(std::shared_ptr<State> state);
    void m_RegisterQDInfoServiceEvent();
    void m_RegisterQDInfoClientEvent();
    void m_UnRegisterQDInfoServiceEvent();
    void m_UnRegisterQDInfoClientEvent();

    static void m_BusAcquiredHandler(GDBusConnection* connection, const char* name, void* receiver);
    static void m_NameAcquiredHandler(GDBusConnection* connection, const char* name, void* receiver);
    static void m_NameLostHandler(GDBusConnection* connection, const char* name, void* receiver);
    static void m_SignalHandler(GDBusConnection* connection, const char* sender, const char* path,
                                const char* interface, const char* signal, GVariant* parameters, void* receiver);
    static void m_MethodCallHandler(GDBusConnection* connection, const char* sender, const char* path,
                                    const char* interface, const char* method, GVariant* parameters,
                                    GDBusMethodInvocation* invocation, void* receiver);

    // Held while a table changes and while a message is handled, callback included.
    static std::recursive_mutex m_Mutex;
    static const GDBusInterfaceVTable m_vTable;

    const std::shared_ptr<State> m_pState;  // shared with the handlers that run
};

}  // namespace qdinfo

#endif
