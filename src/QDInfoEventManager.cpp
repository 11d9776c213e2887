// SPDX-License-Identifier: Apache-2.0
//
// Events on the D-Bus system bus: one line of text a message, without version, length or checksum, as every service and
// application of the channel speaks it.
#include "QDInfoEventManager.h"

#include "QDInfoCommon.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <locale>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

namespace qdinfo {
namespace {

constexpr int kCallTimeoutMs = 5000;
constexpr int kAllTypes = -1;
constexpr char kSpace = ' ';
constexpr char kSpaceInMessage = '#';

// Where a channel is on the bus. Its interface has the name of its bus name, its method and its signal that of the
// channel.
struct Address {
    explicit Address(const std::string& channel) : path("/org/nalto/tv/" + channel), busName("org.nalto.tv." + channel)
    {
    }

    std::string path;
    std::string busName;
};

class Error {
public:
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { g_clear_error(&m_error); }

    GError** Out() { return &m_error; }
    // GIO refuses a name that D-Bus does not allow without an error.
    const char* Message() const { return m_error != nullptr ? m_error->message : "invalid argument"; }
    int Code() const { return m_error != nullptr ? m_error->code : 0; }

private:
    GError* m_error = nullptr;
};

struct VariantUnref {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantUnref>;

using Connection = std::unique_ptr<GDBusConnection, decltype(&g_object_unref)>;

GDBusConnection* ConnectToSystemBus(Error& error)
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error.Out());
    // The end of the bus is not the end of the host process.
    if (connection != nullptr) g_dbus_connection_set_exit_on_close(connection, FALSE);
    return connection;
}

// The connection of the signals that may still be in this process: a sender that lives when the process exits has no
// destructor that flushes. Only ever set while the senders' lock is held.
GWeakRef g_unflushed;  // zeros are an empty one
std::atomic<pid_t> g_unflushedProcess{0};

// Waits until what was queued has left the process; a failure has no remedy. In a forked child nobody would write it.
void Flush(GDBusConnection* connection)
{
    if (g_unflushedProcess != getpid()) return;
    static_cast<void>(g_dbus_connection_flush_sync(connection, nullptr, nullptr));
}

void FlushAtExit()
{
    const Connection connection(static_cast<GDBusConnection*>(g_weak_ref_get(&g_unflushed)), &g_object_unref);
    if (connection != nullptr) Flush(connection.get());
    g_weak_ref_clear(&g_unflushed);  // the library may be about to be unloaded
}

void RememberUnflushed(GDBusConnection* connection)
{
    if (g_unflushedProcess == 0) static_cast<void>(std::atexit(&FlushAtExit));  // a failure has no remedy
    g_unflushedProcess = getpid();
    g_weak_ref_set(&g_unflushed, connection);
}

void MakeValidUtf8(std::string& text)
{
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE) return;
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), &g_free);
    text = valid.get();
}

Variant EventBody(int type, const std::string& message)
{
    return Variant(g_variant_ref_sink(g_variant_new("(is)", type, message.c_str())));
}

void Empty(std::stringstream& stream)
{
    stream.clear();
    stream.str(std::string());
}

// Of a stream as it is made in the "C" locale. Outlives static receivers of the host.
const std::ios& PlainFormat()
{
    static const std::ios& plain = *[] {
        auto* made = new std::ios(nullptr);
        made->imbue(std::locale::classic());
        return made;
    }();
    return plain;
}

// Numbers are written and read without the host's digit grouping. Also undoes what a callback may have done to a stream
// of the receiver: its format, locale and exceptions.
void Renew(std::stringstream& stream)
{
    stream.copyfmt(PlainFormat());
    Empty(stream);
}

template <std::size_t Size>
std::size_t FieldLength(const char (&field)[Size])
{
    return strnlen(field, Size);  // a field that is filled to its end has no terminator
}

// Copies text into a field of zeros, cut so that the field stays terminated.
template <std::size_t Size>
void CopyToField(char (&field)[Size], const std::string& text)
{
    std::memcpy(field, text.data(), std::min(text.size(), Size - 1));
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Sender

std::recursive_mutex CQDEventSender::m_Mutex;

CQDEventSender::CQDEventSender(std::string name)
    : m_Name(std::move(name)), m_Event(), m_pConnection(nullptr), m_pProxy(nullptr), m_bUnflushed(false)
{
    if (m_Name.empty()) m_Name = QDINFO_BUS_NAME;
    Renew(m_MsgStream);
}

CQDEventSender::~CQDEventSender()
{
    // A queued signal would be lost with the process's last reference to the connection.
    if (m_bUnflushed) Flush(m_pConnection);
    g_clear_object(&m_pProxy);
    g_clear_object(&m_pConnection);
}

void CQDEventSender::AppendArgs(const srcwatch_event_s& event) { m_Event = event; }

void CQDEventSender::AppendArgs(long a0, long a1, long a2, long a3)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    m_Event.args[0] = static_cast<std::int32_t>(a0);
    m_Event.args[1] = static_cast<std::int32_t>(a1);
    m_Event.args[2] = static_cast<std::int32_t>(a2);
    m_Event.args[3] = static_cast<std::int32_t>(a3);
}

void CQDEventSender::AppendArgs(const std::string& s0, const std::string& s1, const std::string& s2)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    std::memset(m_Event.str_args, 0, sizeof(m_Event.str_args));
    CopyToField(m_Event.str_args[0], s0);
    CopyToField(m_Event.str_args[1], s1);
    CopyToField(m_Event.str_args[2], s2);
}

void CQDEventSender::AppendArgs(void* p0, void* p1, void* p2, void* p3)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    m_Event.ptr_args[0] = p0;
    m_Event.ptr_args[1] = p1;
    m_Event.ptr_args[2] = p2;
    m_Event.ptr_args[3] = p3;
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
    m_Event.type = static_cast<std::int32_t>(type);
    m_Event.args[0] = static_cast<std::int32_t>(a0);
    m_Event.args[1] = static_cast<std::int32_t>(a1);
    m_Event.args[2] = static_cast<std::int32_t>(a2);
    m_SendExternalEvent();
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
    m_pConnection = ConnectToSystemBus(error);
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
    std::string message;
    if (!m_BuildMessage(extra, message)) {
        QDLOG(QDLOG_ERROR, " proxy call failed (%s)", "no memory for the message");
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
    Empty(reply);
    reply.str(text);
    return 1;
}

int CQDEventSender::m_SendSignal(int type, const std::stringstream& extra)
{
    return m_Emit(CallSite::Here(), QDLOG_ERROR, type, extra, QDLOG_FORMAT("Send signal success"));
}

int CQDEventSender::m_SendExternalEvent()
{
    return m_Emit(CallSite::Here(), QDLOG_DEBUG, m_Event.type, m_MsgStream,
                  QDLOG_FORMAT("Send external event success"));
}

// The current event as message, with the content of extra behind it unless extra is the message stream itself. False
// when there was no memory for all of it, which the stream keeps to itself.
bool CQDEventSender::m_BuildMessage(const std::stringstream& extra, std::string& message)
{
    Empty(m_MsgStream);
    m_ConvertEventToStream();
    if (&extra != &m_MsgStream) m_MsgStream << extra.str() << QDINFO_FIELD_SEPARATOR;
    message = m_MsgStream.str();
    MakeValidUtf8(message);  // the bus takes nothing else
    return m_MsgStream.good();
}

// Queues the current event as a signal; the destructor, or the exit of the process, sees to it that it leaves. What is
// no failure is logged at priority.
int CQDEventSender::m_Emit(const CallSite& site, int priority, int type, const std::stringstream& extra,
                           const char* successFormat)
{
    if (m_Connect() == 0) return 0;
    const Address address(m_Name);
    QDLOG_AT(site, priority, "%s %s", address.path.c_str(), address.busName.c_str());
    std::string message;
    if (!m_BuildMessage(extra, message)) {
        QDLOG_AT(site, QDLOG_ERROR, "Error while sending signal: '%s'", "no memory for the message");
        return 0;
    }
    Error error;
    if (g_dbus_connection_emit_signal(m_pConnection, nullptr, address.path.c_str(), address.busName.c_str(),
                                      m_Name.c_str(), EventBody(type, message).get(), error.Out()) == FALSE) {
        QDLOG_AT(site, QDLOG_ERROR, "Error while sending signal: '%s'", error.Message());
        return 0;
    }
    if (!m_bUnflushed) RememberUnflushed(m_pConnection);
    m_bUnflushed = true;
    WriteLogLine(priority, successFormat, site.file, site.function, site.line);
    return 1;
}

void CQDEventSender::m_ConvertEventToStream()
{
    for (const std::int32_t arg : m_Event.args) m_MsgStream << arg << QDINFO_FIELD_SEPARATOR;

    std::string tokens[3];
    for (int i = 0; i < 3; ++i) {
        const std::size_t length = FieldLength(m_Event.str_args[i]);
        tokens[i] = length > 0 ? std::string(m_Event.str_args[i], length) : QDINFO_EMPTY_FIELD;
        std::replace(tokens[i].begin(), tokens[i].end(), kSpace, kSpaceInMessage);
    }
    QDLOG(QDLOG_DEBUG, "%s %s %s", tokens[0].c_str(), tokens[1].c_str(), tokens[2].c_str());
    for (const std::string& token : tokens) m_MsgStream << token << QDINFO_FIELD_SEPARATOR;
}

// ---------------------------------------------------------------------------------------------------------------------
// Life of the receivers

namespace {

// GLib hands a receiver to its handlers as a bare pointer. A callback may destroy the receiver that it runs in, and
// another thread may do so while a handler runs or is about to: so the handlers ask here whether it still lives.
struct Life {
    const CQDEventReciever* receiver;
    unsigned long id;  // a later receiver in the same memory has another
    bool endsWithHandler;
};

struct Handler {
    unsigned long life;
    std::thread::id thread;
};

struct Lives {
    std::mutex mutex;  // guards all of it; no callback runs under it
    std::condition_variable handlerLeft;
    unsigned long lastId = 0;
    std::vector<Life> living;
    std::vector<Handler> handlers;  // those that run now

    std::vector<Life>::iterator Find(const CQDEventReciever* receiver)
    {
        return std::find_if(living.begin(), living.end(), [=](const Life& life) { return life.receiver == receiver; });
    }

    std::vector<Life>::iterator Find(unsigned long id)
    {
        return std::find_if(living.begin(), living.end(), [=](const Life& life) { return life.id == id; });
    }

    std::vector<Handler>::iterator FindHandler(unsigned long id, bool ofThisThread)
    {
        return std::find_if(handlers.begin(), handlers.end(), [=](const Handler& handler) {
            return handler.life == id && (handler.thread == std::this_thread::get_id()) == ofThisThread;
        });
    }

    bool IsInside(unsigned long id) { return FindHandler(id, true) != handlers.end(); }
};

Lives& TheLives()
{
    static Lives& lives = *new Lives;  // outlives static receivers of the host
    return lives;
}

// Handlers enter from now on: also those of other threads see what was set up before.
void BeginLife(const CQDEventReciever* receiver)
{
    Lives& lives = TheLives();
    const std::lock_guard<std::mutex> lock(lives.mutex);
    lives.living.push_back({receiver, ++lives.lastId, false});
}

// No handler enters any more; waits for those of other threads.
void EndLife(const CQDEventReciever* receiver)
{
    Lives& lives = TheLives();
    std::unique_lock<std::mutex> lock(lives.mutex);
    const auto life = lives.Find(receiver);
    const unsigned long id = life->id;
    lives.living.erase(life);
    lives.handlerLeft.wait(lock, [&lives, id] { return lives.FindHandler(id, false) == lives.handlers.end(); });
}

// Held by a handler while it runs. One that takes the receivers' lock takes it before: a callback that runs under the
// lock may destroy this receiver, and then waits for the handlers that are in their scope.
class HandlerScope {
public:
    explicit HandlerScope(void* receiver) : m_receiver(static_cast<CQDEventReciever*>(receiver)), m_life(0)
    {
        Lives& lives = TheLives();
        const std::lock_guard<std::mutex> lock(lives.mutex);
        const auto life = lives.Find(m_receiver);
        if (life == lives.living.end()) return;
        lives.handlers.push_back({life->id, std::this_thread::get_id()});
        m_life = life->id;
    }
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;

    ~HandlerScope()
    {
        if (m_life != 0 && Leave()) delete m_receiver;
    }

    // Whether the receiver may be used: asked again after each callback.
    bool Alive() const
    {
        Lives& lives = TheLives();
        const std::lock_guard<std::mutex> lock(lives.mutex);
        return lives.Find(m_life) != lives.living.end();
    }

private:
    // True when the receiver is to be deleted now.
    bool Leave()
    {
        Lives& lives = TheLives();
        const std::lock_guard<std::mutex> lock(lives.mutex);
        lives.handlers.erase(lives.FindHandler(m_life, true));
        lives.handlerLeft.notify_all();
        const auto life = lives.Find(m_life);
        return life != lives.living.end() && life->endsWithHandler && !lives.IsInside(m_life);
    }

    CQDEventReciever* m_receiver;
    unsigned long m_life;  // 0: it does not live
};

}  // namespace

void CQDEventReciever::Dispose(CQDEventReciever* receiver)
{
    Lives& lives = TheLives();
    {
        const std::lock_guard<std::mutex> lock(lives.mutex);
        const auto life = lives.Find(receiver);
        life->endsWithHandler = lives.IsInside(life->id);
        if (life->endsWithHandler) return;
    }
    delete receiver;
}

// ---------------------------------------------------------------------------------------------------------------------
// Receiver

std::recursive_mutex CQDEventReciever::m_Mutex;

const GDBusInterfaceVTable CQDEventReciever::m_vTable = {&CQDEventReciever::m_MethodCallHandler, nullptr, nullptr, {}};

CQDEventReciever::CQDEventReciever(const std::string& name, bool service)
    : m_Name(name.empty() ? QDINFO_BUS_NAME : name),
      m_pNodeInfo(nullptr),
      m_OwnerId(0),
      m_bService(service),
      m_pConnection(nullptr),
      m_SubscriptionId(0),
      m_ObjectId(0),
      m_Borrowed()
{
    g_weak_ref_init(&m_Borrowed, nullptr);
    Renew(m_OutStream);  // written to by callbacks of signals before any method call renews it
    if (m_bService) {
        m_RegisterQDInfoServiceEvent();
    } else {
        m_RegisterQDInfoClientEvent();
    }
}

CQDEventReciever::~CQDEventReciever()
{
    EndLife(this);
    if (m_bService) {
        m_UnRegisterQDInfoServiceEvent();
    } else {
        m_UnRegisterQDInfoClientEvent();
    }
    g_weak_ref_clear(&m_Borrowed);
    QDLOG(QDLOG_ERROR, "m_EventCallbackTable");
    m_EventCallbackTable.clear();
    QDLOG(QDLOG_ERROR, "end");
}

void CQDEventReciever::RegisterEventCallback(int type, srcwatch_event_cb callback, void* user_data)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    QDLOG(QDLOG_ERROR, "register eventtype: %d", type);
    const auto added = m_EventCallbackTable.try_emplace(type);
    if (!added.second) {
        QDLOG(QDLOG_ERROR, "register eventtype: %d existed", type);
        return;
    }
    if (callback == nullptr) return;  // Deliberate: an entry that holds no callable.
    added.first->second = [callback, user_data](srcwatch_event_s* event) { callback(user_data, event); };
}

void CQDEventReciever::UnregisterEventCallback(int type)
{
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    if (type == kAllTypes) {
        m_EventCallbackTable.clear();
    } else {
        m_EventCallbackTable.erase(type);
    }
}

void CQDEventReciever::m_RegisterQDInfoServiceEvent()
{
    const Address address(m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());

    char xml[2048];
    // Deliberate: a longer text is cut silently, and then does not parse.
    static_cast<void>(std::snprintf(xml, sizeof(xml),
                                    "<node name='%s'>\t <interface name='%s'>\t     <method name='%s'>"
                                    "\t         <arg type='i' name='type' direction='in'/>"
                                    "\t         <arg type='s' name='messagein' direction='in'/>"
                                    "\t         <arg type='s' name='messageout' direction='out'/>"
                                    "\t     </method>\t </interface></node>",
                                    address.path.c_str(), address.busName.c_str(), m_Name.c_str()));
    QDLOG(QDLOG_ERROR, "interface xml : %s", xml);
    m_pNodeInfo = g_dbus_node_info_new_for_xml(xml, nullptr);
    BeginLife(this);
    if (m_pNodeInfo == nullptr) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }

    constexpr auto kReplaceable =
        static_cast<GBusNameOwnerFlags>(G_BUS_NAME_OWNER_FLAGS_ALLOW_REPLACEMENT | G_BUS_NAME_OWNER_FLAGS_REPLACE);
    m_OwnerId = g_bus_own_name(G_BUS_TYPE_SYSTEM, address.busName.c_str(), kReplaceable, &m_BusAcquiredHandler,
                               &m_NameAcquiredHandler, &m_NameLostHandler, this, nullptr);
    if (m_OwnerId == 0) QDLOG(QDLOG_ERROR, "Assertion failed");
}

void CQDEventReciever::m_RegisterQDInfoClientEvent()
{
    BeginLife(this);
    Error error;
    m_pConnection = ConnectToSystemBus(error);
    if (m_pConnection == nullptr) {
        QDLOG(QDLOG_ERROR, "Couldn't connect to DBus bus: '%s'", error.Message());
        return;
    }
    const Address address(m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    m_Subscribe();
    QDLOG(QDLOG_ERROR, "xxxxx2 g_dbus_connection_signal_subscribe :%d", static_cast<int>(m_SubscriptionId));
    if (m_SubscriptionId == 0) QDLOG(QDLOG_ERROR, "Assertion failed");
}

void CQDEventReciever::m_Subscribe()
{
    const Address address(m_Name);
    m_SubscriptionId = g_dbus_connection_signal_subscribe(m_pConnection, nullptr, address.busName.c_str(),
                                                          m_Name.c_str(), address.path.c_str(), nullptr,
                                                          G_DBUS_SIGNAL_FLAGS_NONE, &m_SignalHandler, this, nullptr);
}

// Takes no reference: GLib makes a new connection only when nobody holds the broken one any more.
void CQDEventReciever::m_BorrowConnection(GDBusConnection* connection)
{
    m_pConnection = connection;
    g_weak_ref_set(&m_Borrowed, connection);
}

void CQDEventReciever::m_UnRegisterQDInfoServiceEvent()
{
    // A connection that broke may go at any moment, in GDBus's thread.
    const Connection connection(static_cast<GDBusConnection*>(g_weak_ref_get(&m_Borrowed)), &g_object_unref);
    if (m_SubscriptionId != 0 && connection != nullptr) {
        g_dbus_connection_signal_unsubscribe(connection.get(), m_SubscriptionId);
        QDLOG(QDLOG_ERROR, "xxxxx4 g_dbus_connection_signal_unsubscribe :%d", static_cast<int>(m_SubscriptionId));
        m_SubscriptionId = 0;
    }
    if (m_ObjectId != 0 && connection != nullptr) {
        g_dbus_connection_unregister_object(connection.get(), m_ObjectId);
        m_ObjectId = 0;
    }
    m_pConnection = nullptr;
    if (m_OwnerId != 0) {
        g_bus_unown_name(m_OwnerId);
        m_OwnerId = 0;
    }
    g_clear_pointer(&m_pNodeInfo, g_dbus_node_info_unref);
}

void CQDEventReciever::m_UnRegisterQDInfoClientEvent()
{
    if (m_SubscriptionId != 0) {
        if (m_pConnection == nullptr) return;
        g_dbus_connection_signal_unsubscribe(m_pConnection, m_SubscriptionId);
        QDLOG(QDLOG_ERROR, "xxxxx3 g_dbus_connection_signal_unsubscribe :%d", static_cast<int>(m_SubscriptionId));
        m_SubscriptionId = 0;
    }
    g_clear_object(&m_pConnection);
}

void CQDEventReciever::m_BusAcquiredHandler(GDBusConnection* connection, const char* name, void* receiver)
{
    if (receiver == nullptr || connection == nullptr) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    const HandlerScope scope(receiver);
    if (!scope.Alive()) return;
    auto* self = static_cast<CQDEventReciever*>(receiver);
    const Address address(self->m_Name);
    QDLOG(QDLOG_ERROR, "%s %s", address.path.c_str(), address.busName.c_str());
    g_dbus_connection_set_exit_on_close(connection, FALSE);

    self->m_ObjectId = g_dbus_connection_register_object(
        connection, address.path.c_str(), self->m_pNodeInfo->interfaces[0], &m_vTable, self, nullptr, nullptr);
    if (self->m_ObjectId < 1) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    self->m_BorrowConnection(connection);
    self->m_Subscribe();
    if (self->m_SubscriptionId == 0) QDLOG(QDLOG_ERROR, "Subscribing for signal failed");
    QDLOG(QDLOG_ERROR, "xxxxx g_dbus_connection_signal_subscribe : %s, %d", name,
          static_cast<int>(self->m_SubscriptionId));
}

void CQDEventReciever::m_NameAcquiredHandler(GDBusConnection*, const char*, void* receiver)
{
    QDLOG(QDLOG_ERROR, "Registered on DBus");
    m_Announce(CallSite::Here(), receiver, SRCWATCH_EVENT_SERVICE_STARTED);
}

void CQDEventReciever::m_NameLostHandler(GDBusConnection*, const char*, void* receiver)
{
    QDLOG(QDLOG_ERROR, "HANDLER: name_lost_handler");
    m_Announce(CallSite::Here(), receiver, SRCWATCH_EVENT_SERVICE_STOPPED);
}

void CQDEventReciever::m_Announce(const CallSite& site, void* receiver, int type)
{
    if (receiver == nullptr) {
        QDLOG_AT(site, QDLOG_ERROR, "Assertion failed");
        return;
    }
    const HandlerScope scope(receiver);
    if (!scope.Alive()) return;
    CQDEventSender(static_cast<CQDEventReciever*>(receiver)->m_Name).SendEvent(type);
}

void CQDEventReciever::m_SignalHandler(GDBusConnection*, const char*, const char*, const char*, const char*,
                                       GVariant* parameters, void* receiver)
{
    if (receiver == nullptr) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    const HandlerScope scope(receiver);
    if (!scope.Alive()) return;
    auto* self = static_cast<CQDEventReciever*>(receiver);
    QDLOG(QDLOG_DEBUG, "Received signal");
    // Anybody may emit the signal with another body.
    if (parameters == nullptr || g_variant_is_of_type(parameters, G_VARIANT_TYPE("(is)")) == FALSE) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    int type = 0;
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &type, &text);

    self->m_HandleMessage(type, text);  // Deliberate: the reply stream keeps what callbacks write on this path.
    if (!scope.Alive()) return;
    Empty(self->m_InStream);
    QDLOG(QDLOG_DEBUG, "signal end");
}

void CQDEventReciever::m_MethodCallHandler(GDBusConnection*, const char*, const char*, const char*, const char* method,
                                           GVariant* parameters, GDBusMethodInvocation* invocation, void* receiver)
{
    // Dropped without a reply on every early return; returning a value takes it over.
    std::unique_ptr<GDBusMethodInvocation, decltype(&g_object_unref)> owned(invocation, &g_object_unref);
    if (receiver == nullptr) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
    const HandlerScope scope(receiver);
    if (!scope.Alive()) return;
    auto* self = static_cast<CQDEventReciever*>(receiver);
    if (self->m_Name != method) return;
    QDLOG(QDLOG_ERROR, "Received method call");
    if (parameters == nullptr || g_variant_is_of_type(parameters, G_VARIANT_TYPE("(is)")) == FALSE) {
        QDLOG(QDLOG_ERROR, "Assertion failed");
        return;
    }
    int type = 0;
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &type, &text);
    QDLOG(QDLOG_ERROR, "type:%d in str: %s", type, text);

    Renew(self->m_OutStream);
    self->m_HandleMessage(type, text);
    std::string reply;
    if (scope.Alive()) {
        Empty(self->m_InStream);
        reply = self->m_OutStream.str();
        MakeValidUtf8(reply);
    }
    QDLOG(QDLOG_ERROR, "Replying");
    g_dbus_method_invocation_return_value(owned.release(), g_variant_new("(s)", reply.c_str()));
}

// Decodes a message and calls the callback of its type. The receiver may be gone afterwards.
void CQDEventReciever::m_HandleMessage(int type, const char* text)
{
    Renew(m_InStream);  // a callback may run the main loop: a message within another's
    m_InStream.str(text);
    srcwatch_event_s event{};
    event.type = type;
    m_ConvertStreamToEvent(event);
    m_ProcessHandleEvent(&event);
}

void CQDEventReciever::m_ConvertStreamToEvent(srcwatch_event_s& event)
{
    if (!m_InStream.good()) return;

    for (std::int32_t& arg : event.args) {
        int value = 0;
        arg = m_InStream >> value ? value : 0;  // a number out of range would leave the nearest one
    }
    std::string words[3];
    for (std::string& word : words) m_InStream >> word;
    QDLOG(QDLOG_DEBUG, "param:%s %s %s", words[0].c_str(), words[1].c_str(), words[2].c_str());

    for (int i = 0; i < 3; ++i) {
        std::replace(words[i].begin(), words[i].end(), kSpaceInMessage, kSpace);
        if (words[i] != QDINFO_EMPTY_FIELD) CopyToField(event.str_args[i], words[i]);
    }
    event.ptr_args[0] = &m_OutStream;
    event.ptr_args[1] = &m_InStream;
}

void CQDEventReciever::m_ProcessHandleEvent(srcwatch_event_s* event)
{
    if (event == nullptr) {
        QDLOG(QDLOG_ERROR, "pEvent NULL");
        return;
    }
    const auto found = m_EventCallbackTable.find(event->type);
    if (found == m_EventCallbackTable.end()) {
        // Deliberate: as the unsigned 32-bit number.
        QDLOG(QDLOG_ERROR, "type:%lu not found", static_cast<unsigned long>(static_cast<std::uint32_t>(event->type)));
        return;
    }
    const auto callback = found->second;  // a copy: the callback may remove its own entry
    if (!callback) {
        QDLOG(QDLOG_ERROR, "Function is no callable");
        return;
    }
    try {
        callback(event);
    } catch (const std::exception& e) {  // nothing may unwind through GLib
        QDLOG(QDLOG_ERROR, "Exception Handled by m_ProcessHandleEvent: %s", e.what());
    } catch (...) {
        QDLOG(QDLOG_ERROR, "Exception Handled by m_ProcessHandleEvent: %s", "unknown exception");
    }
}

}  // namespace qdinfo
