// SPDX-License-Identifier: Apache-2.0
//
// Events on the D-Bus system bus. A message is one line of text without version, length or checksum: the form that
// every service and application of the channel uses.
#include "QDInfoEventManager.h"

#include "Channel.h"
#include "EventText.h"
#include "Handle.h"
#include "QDInfoCommon.h"
#include "ReceiverState.h"
#include "SystemBus.h"

#include <cstdio>
#include <exception>
#include <utility>

namespace qdinfo {
namespace {

constexpr int kCallTimeoutMs = 5000;
constexpr int kAllTypes = -1;

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Sender

std::recursive_mutex CQDEventSender::m_Mutex;

CQDEventSender::CQDEventSender(std::string name)
    : m_Name(std::move(name)), m_Event(), m_pConnection(nullptr), m_pProxy(nullptr), m_bUnflushed(false)
{
    if (m_Name.empty()) m_Name = kChannelName;
    Reset(m_MsgStream);
}

CQDEventSender::~CQDEventSender()
{
    // A queued signal would be lost with the process's last reference to the connection.
    if (m_bUnflushed) SystemBus::Flush(m_pConnection);
    g_clear_object(&m_pProxy);
    g_clear_object(&m_pConnection);
}

void CQDEventSender::AppendArgs(const srcwatch_event_s& event) { m_Event = event; }

void CQDEventSender::AppendArgs(long a0, long a1, long a2, long a3)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    std::int32_t* arg = m_Event.args;
    for (const long value : {a0, a1, a2, a3}) *arg++ = static_cast<std::int32_t>(value);
}

void CQDEventSender::AppendArgs(const std::string& s0, const std::string& s1, const std::string& s2)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    std::memset(m_Event.str_args, 0, sizeof(m_Event.str_args));
    auto* field = m_Event.str_args;
    for (const std::string* text : {&s0, &s1, &s2}) CopyToField(*field++, *text);
}

void CQDEventSender::AppendArgs(void* p0, void* p1, void* p2, void* p3)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    void** arg = m_Event.ptr_args;
    for (void* const value : {p0, p1, p2, p3}) *arg++ = value;
}

void CQDEventSender::ClearEvent()
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    m_Event = srcwatch_event_s();
}

void CQDEventSender::SendEvent(long type)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    m_Event.type = static_cast<std::int32_t>(type);
    m_SendExternalEvent();
}

void CQDEventSender::SendEvent(long type, long a0, long a1, long a2)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    m_Event = srcwatch_event_s();
    AppendArgs(a0, a1, a2, 0L);
    SendEvent(type);
}

int CQDEventSender::SendSignal(int type, const std::stringstream& extra)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    return m_SendSignal(type, extra);
}

int CQDEventSender::SendSignal(int type)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    return m_SendSignal(type, m_MsgStream);
}

int CQDEventSender::Call(int type, const std::stringstream& extra, std::stringstream& reply)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    return m_Call(type, extra, reply);
}

int CQDEventSender::Call(int type, std::stringstream& reply)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    return m_Call(type, m_MsgStream, reply);
}

int CQDEventSender::Call(int type)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    std::stringstream reply;
    return m_Call(type, m_MsgStream, reply);
}

int CQDEventSender::IsServiceAvailable()
{
    if (m_Connect() == 0) return 0;
    const Address address(m_Name);
    QDLOG(QDLOG_ERROR, "%s", address.busName.c_str());

    Error error;
    const Variant reply(g_dbus_connection_call_sync(
        m_pConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", address.busName.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs,
        nullptr, error.Out()));
    if (!reply) {
        QDLOG(QDLOG_ERROR, "sync call fail (%s, %d)", error.Message(), error.Code());
        return 0;
    }
    gboolean owned = FALSE;
    g_variant_get(reply.get(), "(b)", &owned);
    if (owned == FALSE) {
        QDLOG(QDLOG_ERROR, "IsServiceAvailable fail and over");  // Deliberate: there is one attempt.
        return 0;
    }
    QDLOG(QDLOG_ERROR, "IsServiceAvailable success");
    return 1;
}

int CQDEventSender::m_Connect()
{
    if (m_pConnection != nullptr) return 1;  // Deliberate: also one that is closed.
    Error error;
    m_pConnection = SystemBus::Connect(error);
    if (m_pConnection == nullptr) {
        QDLOG(QDLOG_ERROR, "Couldn't connect to DBus bus: '%s'", error.Message());
        return 0;
    }
    if (g_dbus_connection_is_closed(m_pConnection) != FALSE) {
        QDLOG(QDLOG_ERROR, "dbus connection is not open");
        return 0;
    }
    return 1;
}

int CQDEventSender::m_GetProxy()
{
    if (m_pProxy != nullptr) return 1;
    const Address address(m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    Error error;
    m_pProxy = g_dbus_proxy_new_sync(m_pConnection, G_DBUS_PROXY_FLAGS_NONE, nullptr, address.busName.c_str(),
                                     address.path.c_str(), address.busName.c_str(), nullptr, error.Out());
    if (m_pProxy == nullptr) {
        QDLOG(QDLOG_ERROR, "Couldn't create proxy for %s (%s)", address.busName.c_str(), error.Message());
        return 0;
    }
    return 1;
}

int CQDEventSender::m_Call(int type, const std::stringstream& extra, std::stringstream& reply)
{
    if (m_Connect() == 0 || m_GetProxy() == 0) return 0;
    const std::string message = m_BuildMessage(extra);
    if (message.empty()) {
        QDLOG(QDLOG_ERROR, " proxy call failed (%s)", kNoMemory);
        return 0;
    }
    QDLOG(QDLOG_ERROR, "sizeOfMsgData:%d  MsgData:%s", static_cast<int>(message.size()), message.c_str());

    Error error;
    const Variant result(g_dbus_proxy_call_sync(m_pProxy, m_Name.c_str(), EventBody(type, message).get(),
                                                G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, error.Out()));
    if (!result) {
        QDLOG(QDLOG_ERROR, " proxy call failed (%s)", error.Message());
        return 0;
    }
    if (g_variant_is_of_type(result.get(), G_VARIANT_TYPE("(s)")) == FALSE) {
        QDLOG(QDLOG_ERROR, " proxy call failed (%s)", "the reply is not a text");
        return 0;
    }
    const char* text = nullptr;
    g_variant_get(result.get(), "(&s)", &text);
    QDLOG(QDLOG_ERROR, "Message from Server: '%s'", text);
    Clear(reply);
    reply.str(text);
    return 1;
}

int CQDEventSender::m_SendSignal(int type, const std::stringstream& extra)
{
    if (m_Connect() == 0) return 0;
    const Address address(m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    Error error;
    if (!Emit(m_pConnection, address, m_Name, type, m_BuildMessage(extra), error)) {
        QDLOG(QDLOG_ERROR, "Error while sending signal: '%s'", error.Message());
        return 0;
    }
    m_bUnflushed = true;
    QDLOG(QDLOG_ERROR, "Send signal success");
    return 1;
}

int CQDEventSender::m_SendExternalEvent()
{
    if (m_Connect() == 0) return 0;
    const Address address(m_Name);
    QDLOG(QDLOG_DEBUG, "%s %s", address.path.c_str(), address.busName.c_str());
    Error error;
    if (!Emit(m_pConnection, address, m_Name, m_Event.type, m_BuildMessage(m_MsgStream), error)) {
        QDLOG(QDLOG_ERROR, "Error while sending signal: '%s'", error.Message());
        return 0;
    }
    m_bUnflushed = true;
    QDLOG(QDLOG_DEBUG, "Send external event success");
    return 1;
}

// The current event as message, with the content of extra behind it unless extra is the message stream itself. Empty
// without memory for it, which the stream does not report.
std::string CQDEventSender::m_BuildMessage(const std::stringstream& extra)
{
    Clear(m_MsgStream);
    m_ConvertEventToStream();
    if (&extra != &m_MsgStream) m_MsgStream << extra.str() << kFieldSeparator;
    if (!m_MsgStream.good()) return std::string();
    std::string message = m_MsgStream.str();
    MakeValidUtf8(message);  // the bus takes nothing else
    return message;
}

void CQDEventSender::m_ConvertEventToStream()
{
    WriteItems(m_MsgStream, m_Event.args);
    const EventWords words = WordsOf(m_Event);
    QDLOG(QDLOG_DEBUG, "%s %s %s", words[0].c_str(), words[1].c_str(), words[2].c_str());
    WriteItems(m_MsgStream, words);
}

// ---------------------------------------------------------------------------------------------------------------------
// Receiver

std::recursive_mutex CQDEventReciever::m_Mutex;

const GDBusInterfaceVTable CQDEventReciever::m_vTable = {&CQDEventReciever::m_MethodCallHandler, nullptr, nullptr, {}};

CQDEventReciever::CQDEventReciever(std::shared_ptr<State> state) : m_pState(std::move(state))
{
    const std::lock_guard<std::mutex> lock(State::t_mutex);
    State::Registry().emplace(this, m_pState);
}

// Once the constructor above is done, the destructor runs even if this one throws.
CQDEventReciever::CQDEventReciever(const std::string& name, bool service)
    : CQDEventReciever(std::make_shared<State>(name.empty() ? kChannelName : name, service))
{
    if (service) {
        m_RegisterQDInfoServiceEvent();
    } else {
        m_RegisterQDInfoClientEvent();
    }
}

CQDEventReciever::~CQDEventReciever()
{
    {
        const std::lock_guard<std::mutex> lock(State::t_mutex);
        State::Registry().erase(this);
        m_pState->m_bEnded = true;
    }
    if (m_pState->m_bService) {
        m_UnRegisterQDInfoServiceEvent();
    } else {
        m_UnRegisterQDInfoClientEvent();
    }
    QDLOG(QDLOG_ERROR, "m_EventCallbackTable");
    // No handler looks up an ended receiver's table; the last one that still runs destroys it.
    QDLOG(QDLOG_ERROR, "end");
}

void CQDEventReciever::RegisterEventCallback(int type, srcwatch_event_cb callback, void* user_data)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    QDLOG(QDLOG_ERROR, "register eventtype: %d", type);
    const auto added = m_pState->m_EventCallbackTable.try_emplace(type);
    if (!added.second) return QDLOG(QDLOG_ERROR, "register eventtype: %d existed", type);
    if (callback == nullptr) return;  // Deliberate: an entry that holds no callable.
    added.first->second = [callback, user_data](srcwatch_event_s* event) { callback(user_data, event); };
}

void CQDEventReciever::UnregisterEventCallback(int type)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    if (type == kAllTypes) {
        m_pState->m_EventCallbackTable.clear();
    } else {
        m_pState->m_EventCallbackTable.erase(type);
    }
}

void CQDEventReciever::m_RegisterQDInfoServiceEvent()
{
    State& state = *m_pState;
    const Address address(state.m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());

    char xml[2048];
    // Deliberate: a longer text is cut silently, and then does not parse.
    static_cast<void>(std::snprintf(xml, sizeof(xml),
                                    "<node name='%s'>\t <interface name='%s'>\t     <method name='%s'>"
                                    "\t         <arg type='i' name='type' direction='in'/>"
                                    "\t         <arg type='s' name='messagein' direction='in'/>"
                                    "\t         <arg type='s' name='messageout' direction='out'/>"
                                    "\t     </method>\t </interface></node>",
                                    address.path.c_str(), address.busName.c_str(), state.m_Name.c_str()));
    QDLOG(QDLOG_ERROR, "interface xml : %s", xml);
    {
        const std::lock_guard<std::mutex> lock(State::t_mutex);  // a handler of another thread reads it
        state.m_pNodeInfo = g_dbus_node_info_new_for_xml(xml, nullptr);
    }
    if (state.m_pNodeInfo == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");

    constexpr auto kReplaceable =
        static_cast<GBusNameOwnerFlags>(G_BUS_NAME_OWNER_FLAGS_ALLOW_REPLACEMENT | G_BUS_NAME_OWNER_FLAGS_REPLACE);
    state.m_OwnerId = g_bus_own_name(G_BUS_TYPE_SYSTEM, address.busName.c_str(), kReplaceable, &m_BusAcquiredHandler,
                                     &m_NameAcquiredHandler, &m_NameLostHandler, this, nullptr);
    if (state.m_OwnerId == 0) QDLOG(QDLOG_ERROR, "Assertion failed");
}

void CQDEventReciever::m_RegisterQDInfoClientEvent()
{
    State& state = *m_pState;
    Error error;
    state.m_pConnection = SystemBus::Connect(error);
    if (state.m_pConnection == nullptr)
        return QDLOG(QDLOG_ERROR, "Couldn't connect to DBus bus: '%s'", error.Message());
    const Address address(state.m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    state.m_SubscriptionId = Subscribe(state.m_pConnection, state.m_Name, &m_SignalHandler, this);
    QDLOG(QDLOG_ERROR, "xxxxx2 g_dbus_connection_signal_subscribe :%d", static_cast<int>(state.m_SubscriptionId));
    if (state.m_SubscriptionId == 0) QDLOG(QDLOG_ERROR, "Assertion failed");
}

void CQDEventReciever::m_UnRegisterQDInfoServiceEvent()
{
    State& state = *m_pState;
    // GDBus's thread may release a broken connection at any moment.
    const Connection connection(static_cast<GDBusConnection*>(g_weak_ref_get(&state.m_Borrowed)));
    if (state.m_SubscriptionId != 0 && connection != nullptr) {
        g_dbus_connection_signal_unsubscribe(connection.get(), state.m_SubscriptionId);
        QDLOG(QDLOG_ERROR, "xxxxx4 g_dbus_connection_signal_unsubscribe :%d", static_cast<int>(state.m_SubscriptionId));
    }
    if (state.m_ObjectId != 0 && connection != nullptr) {
        g_dbus_connection_unregister_object(connection.get(), state.m_ObjectId);
    }
    if (state.m_OwnerId != 0) g_bus_unown_name(state.m_OwnerId);
    g_clear_pointer(&state.m_pNodeInfo, g_dbus_node_info_unref);
}

void CQDEventReciever::m_UnRegisterQDInfoClientEvent()
{
    State& state = *m_pState;
    if (state.m_SubscriptionId != 0) {
        g_dbus_connection_signal_unsubscribe(state.m_pConnection, state.m_SubscriptionId);
        QDLOG(QDLOG_ERROR, "xxxxx3 g_dbus_connection_signal_unsubscribe :%d", static_cast<int>(state.m_SubscriptionId));
    }
    g_clear_object(&state.m_pConnection);
}

void CQDEventReciever::m_BusAcquiredHandler(GDBusConnection* connection, const char* name, void* receiver)
{
    const std::shared_ptr<State> state = State::Of(receiver);
    if (receiver == nullptr || connection == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    if (state == nullptr || state->m_bEnded) return;
    const Address address(state->m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    SystemBus::Adopt(connection);

    unsigned objectId = 0;
    {
        const std::lock_guard<std::mutex> registering(State::t_mutex);
        if (state->m_bEnded) return;
        objectId = g_dbus_connection_register_object(
            connection, address.path.c_str(), state->m_pNodeInfo->interfaces[0], &m_vTable, receiver, nullptr, nullptr);
        if (objectId > 0) {
            g_weak_ref_set(&state->m_Borrowed, connection);
            state->m_ObjectId = objectId;
            state->m_SubscriptionId = Subscribe(connection, state->m_Name, &m_SignalHandler, receiver);
        }
    }
    if (objectId < 1) return QDLOG(QDLOG_ERROR, "Assertion failed");
    const auto id = static_cast<int>(state->m_SubscriptionId);
    if (id == 0) QDLOG(QDLOG_ERROR, "Subscribing for signal failed");
    QDLOG(QDLOG_ERROR, "xxxxx g_dbus_connection_signal_subscribe : %s, %d", name, id);
}

void CQDEventReciever::m_NameAcquiredHandler(GDBusConnection*, const char*, void* receiver)
{
    const std::shared_ptr<State> state = State::Of(receiver);
    QDLOG(QDLOG_ERROR, "Registered on DBus");
    if (receiver == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");
    if (state != nullptr) CQDEventSender(state->m_Name).SendEvent(SRCWATCH_EVENT_SERVICE_STARTED);
}

void CQDEventReciever::m_NameLostHandler(GDBusConnection*, const char*, void* receiver)
{
    const std::shared_ptr<State> state = State::Of(receiver);
    QDLOG(QDLOG_ERROR, "HANDLER: name_lost_handler");
    if (receiver == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");
    if (state != nullptr) CQDEventSender(state->m_Name).SendEvent(SRCWATCH_EVENT_SERVICE_STOPPED);
}

void CQDEventReciever::m_SignalHandler(GDBusConnection*, const char*, const char*, const char*, const char*,
                                       GVariant* parameters, void* receiver)
{
    const std::shared_ptr<State> state = State::Of(receiver);
    if (receiver == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    if (state == nullptr || state->m_bEnded) return;
    QDLOG(QDLOG_DEBUG, "Received signal");
    // Any process may emit the signal with another body.
    if (parameters == nullptr || g_variant_is_of_type(parameters, G_VARIANT_TYPE("(is)")) == FALSE)
        return QDLOG(QDLOG_ERROR, "Assertion failed");
    int type = 0;
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &type, &text);

    state->HandleMessage(type, text);  // Deliberate: the reply stream keeps what callbacks write on this path.
    Clear(state->m_InStream);
    QDLOG(QDLOG_DEBUG, "signal end");
}

void CQDEventReciever::m_MethodCallHandler(GDBusConnection* connection, const char*, const char*, const char*,
                                           const char* method, GVariant* parameters, GDBusMethodInvocation* invocation,
                                           void* receiver)
{
    const std::shared_ptr<State> state = State::Of(receiver);
    // Dropped without a reply on every early return; returning a value takes it over.
    srcwatch::Handle<GDBusMethodInvocation, g_object_unref> owned(invocation);
    if (receiver == nullptr) return QDLOG(QDLOG_ERROR, "Assertion failed");
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    if (state == nullptr || state->m_bEnded || state->m_Name != method) return;
    QDLOG(QDLOG_ERROR, "Received method call");
    if (parameters == nullptr || g_variant_is_of_type(parameters, G_VARIANT_TYPE("(is)")) == FALSE)
        return QDLOG(QDLOG_ERROR, "Assertion failed");
    int type = 0;
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &type, &text);
    QDLOG(QDLOG_ERROR, "type:%d in str: %s", type, text);

    Reset(state->m_OutStream);
    state->HandleMessage(type, text);
    Clear(state->m_InStream);
    std::string reply = state->m_OutStream.str();
    MakeValidUtf8(reply);
    QDLOG(QDLOG_ERROR, "Replying");
    const Connection held(g_object_ref(connection));
    g_dbus_method_invocation_return_value(owned.release(), g_variant_new("(s)", reply.c_str()));
    if (state->m_bEnded)
        SystemBus::Flush(connection);  // the receiver may have held the last reference to the connection
}

// Decodes a message and calls the callback of its type.
void CQDEventReciever::State::HandleMessage(int type, const char* text)
{
    Reset(m_InStream);  // a callback may run the main loop: a message within another's
    m_InStream.str(text);
    srcwatch_event_s event{};
    event.type = type;
    m_ConvertStreamToEvent(event);
    m_ProcessHandleEvent(&event);
}

void CQDEventReciever::State::m_ConvertStreamToEvent(srcwatch_event_s& event)
{
    if (!m_InStream.good()) return;
    const EventWords words = ReadItems(m_InStream, event);
    QDLOG(QDLOG_DEBUG, "param:%s %s %s", words[0].c_str(), words[1].c_str(), words[2].c_str());
    SetTexts(event, words);
    event.ptr_args[0] = &m_OutStream;
    event.ptr_args[1] = &m_InStream;
}

void CQDEventReciever::State::m_ProcessHandleEvent(srcwatch_event_s* event)
{
    if (event == nullptr) return QDLOG(QDLOG_ERROR, "pEvent NULL");
    if (m_bEnded) return;  // by another thread, since the handler looked it up
    const auto found = m_EventCallbackTable.find(event->type);
    if (found == m_EventCallbackTable.end()) {
        // Deliberate: as the unsigned 32-bit number.
        QDLOG(QDLOG_ERROR, "type:%lu not found", static_cast<unsigned long>(static_cast<std::uint32_t>(event->type)));
        return;
    }
    const auto callback = found->second;  // a copy: the callback may remove its own entry
    if (!callback) return QDLOG(QDLOG_ERROR, "Function is no callable");
    try {
        callback(event);
    } catch (const std::exception& e) {  // no exception may unwind through GLib
        QDLOG(QDLOG_ERROR, "Exception Handled by m_ProcessHandleEvent: %s", e.what());
    } catch (...) {
        if (std::current_exception() == nullptr) throw;  // not an exception: the callback ends its thread
        QDLOG(QDLOG_ERROR, "Exception Handled by m_ProcessHandleEvent: %s", "unknown exception");
    }
}

}  // namespace qdinfo
