// SPDX-License-Identifier: Apache-2.0
#include "BusPeer.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

namespace srcwatch_test {
namespace {

constexpr char kBusName[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

[[noreturn]] void Fail(const std::string& what) { throw std::runtime_error("peer on the bus: " + what); }

std::string TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

BusMessage PartsOf(GDBusMessage* message)
{
    BusMessage parts;
    parts.kind = g_dbus_message_get_message_type(message);
    parts.sender = TextOrEmpty(g_dbus_message_get_sender(message));
    parts.destination = TextOrEmpty(g_dbus_message_get_destination(message));
    parts.path = TextOrEmpty(g_dbus_message_get_path(message));
    parts.interface = TextOrEmpty(g_dbus_message_get_interface(message));
    parts.member = TextOrEmpty(g_dbus_message_get_member(message));
    parts.error = TextOrEmpty(g_dbus_message_get_error_name(message));
    parts.signature = TextOrEmpty(g_dbus_message_get_signature(message));
    parts.replySerial = g_dbus_message_get_reply_serial(message);
    GVariant* body = g_dbus_message_get_body(message);
    const char* text = "";
    if (parts.signature == "is") g_variant_get(body, "(i&s)", &parts.type, &text);
    if (parts.signature == "s") g_variant_get(body, "(&s)", &text);
    parts.text = text;
    return parts;
}

// A filter may still run when it has been removed, so it asks here whether its peer is there.
struct LivingPeers {
    std::mutex mutex;  // held while a filter uses its peer
    std::set<const void*> peers;
};

LivingPeers& TheLivingPeers()
{
    static auto& living = *new LivingPeers;
    return living;
}

}  // namespace

BusPeer::BusPeer(const std::string& address) : m_connection(nullptr), m_filter(0)
{
    GError* error = nullptr;
    m_connection = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (m_connection == nullptr) {
        const std::string reason = error->message;
        g_error_free(error);
        Fail("no connection: " + reason);
    }
    m_uniqueName = g_dbus_connection_get_unique_name(m_connection);
    {
        const std::lock_guard<std::mutex> lock(TheLivingPeers().mutex);
        TheLivingPeers().peers.insert(this);
    }
    m_filter = g_dbus_connection_add_filter(m_connection, &Filter, this, nullptr);
}

BusPeer::~BusPeer()
{
    {
        const std::lock_guard<std::mutex> lock(TheLivingPeers().mutex);
        TheLivingPeers().peers.erase(this);
    }
    g_dbus_connection_remove_filter(m_connection, m_filter);
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    g_object_unref(m_connection);
}

void BusPeer::Listen(const std::string& interface)
{
    const std::string rule = "type='signal',interface='" + interface + "'";
    if (!AskBus("AddMatch", g_variant_new("(s)", rule.c_str()))) Fail("cannot listen to " + interface);
}

std::vector<BusMessage> BusPeer::Received(GDBusMessageType kind) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<BusMessage> messages;
    std::copy_if(m_received.begin(), m_received.end(), std::back_inserter(messages),
                 [kind](const BusMessage& message) { return message.kind == kind; });
    return messages;
}

// What the bus itself reports to a connection about its names is not an event.
std::vector<BusMessage> BusPeer::Signals() const
{
    std::vector<BusMessage> signals = Received(G_DBUS_MESSAGE_TYPE_SIGNAL);
    const auto end = std::remove_if(signals.begin(), signals.end(), [](const BusMessage& signal) {
        return signal.sender == kBusName && signal.interface == kBusName && !signal.destination.empty();
    });
    signals.erase(end, signals.end());
    return signals;
}

std::vector<BusMessage> BusPeer::Calls() const { return Received(G_DBUS_MESSAGE_TYPE_METHOD_CALL); }

std::vector<BusMessage> BusPeer::WaitForSignals(std::size_t count, std::chrono::milliseconds deadline)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    for (;;) {
        std::vector<BusMessage> signals = Signals();
        std::unique_lock<std::mutex> lock(m_mutex);
        if (signals.size() >= count) return signals;
        // A message that came since is noticed at the latest after this.
        m_arrived.wait_for(lock, std::chrono::milliseconds(5));
        if (std::chrono::steady_clock::now() > end) return signals;
    }
}

void BusPeer::Forget()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_received.clear();
}

void BusPeer::AnswerWith(Answerer answerer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answerer = std::move(answerer);
}

std::uint32_t BusPeer::RequestName(const std::string& name, std::uint32_t flags)
{
    const Variant reply = AskBus("RequestName", g_variant_new("(su)", name.c_str(), flags));
    std::uint32_t result = 0;
    if (reply) g_variant_get(reply.get(), "(u)", &result);
    return result;
}

void BusPeer::ReleaseName(const std::string& name)
{
    if (!AskBus("ReleaseName", g_variant_new("(s)", name.c_str()))) Fail("cannot release " + name);
}

std::string BusPeer::OwnerOf(const std::string& name)
{
    const Variant reply = AskBus("GetNameOwner", g_variant_new("(s)", name.c_str()));
    if (!reply) return std::string();
    const char* owner = nullptr;
    g_variant_get(reply.get(), "(&s)", &owner);
    return owner;
}

void BusPeer::Emit(const std::string& path, const std::string& interface, const std::string& member, GVariant* body)
{
    if (g_dbus_connection_emit_signal(m_connection, nullptr, path.c_str(), interface.c_str(), member.c_str(), body,
                                      nullptr) == FALSE ||
        g_dbus_connection_flush_sync(m_connection, nullptr, nullptr) == FALSE) {
        Fail("cannot emit " + member);
    }
}

std::uint32_t BusPeer::Send(const std::string& destination, const std::string& path, const std::string& interface,
                            const std::string& method, GVariant* body)
{
    GDBusMessage* call =
        g_dbus_message_new_method_call(destination.c_str(), path.c_str(), interface.c_str(), method.c_str());
    g_dbus_message_set_body(call, body);
    volatile guint32 serial = 0;
    const bool isSent =
        g_dbus_connection_send_message(m_connection, call, G_DBUS_SEND_MESSAGE_FLAGS_NONE, &serial, nullptr) != FALSE;
    g_object_unref(call);
    if (!isSent) Fail("cannot call " + method);
    return serial;
}

bool BusPeer::ReplyTo(std::uint32_t serial, BusMessage* reply) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = std::find_if(m_received.begin(), m_received.end(), [serial](const BusMessage& message) {
        return message.replySerial == serial && serial != 0;
    });
    if (found == m_received.end()) return false;
    if (reply != nullptr) *reply = *found;
    return true;
}

Variant BusPeer::AskBus(const std::string& method, GVariant* arguments)
{
    return Variant(g_dbus_connection_call_sync(m_connection, kBusName, kBusPath, kBusName, method.c_str(), arguments,
                                               nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
}

void BusPeer::Sync()
{
    if (!AskBus("GetId", nullptr)) Fail("the bus does not answer");
}

GDBusMessage* BusPeer::Filter(GDBusConnection*, GDBusMessage* message, gboolean incoming, void* peer)
{
    LivingPeers& living = TheLivingPeers();
    const std::lock_guard<std::mutex> lock(living.mutex);
    if (incoming == FALSE || living.peers.count(peer) == 0) return message;
    if (!static_cast<BusPeer*>(peer)->Take(message)) return message;
    g_object_unref(message);
    return nullptr;  // GDBus would refuse a call to an object that it does not know
}

// Returns true if the message is not to be handled any further.
bool BusPeer::Take(GDBusMessage* message)
{
    const BusMessage parts = PartsOf(message);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_received.push_back(parts);
        m_arrived.notify_all();
    }
    g_main_context_wakeup(nullptr);  // for RunUntil
    if (parts.kind != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return false;
    Answer(message, parts);
    return true;
}

void BusPeer::Answer(GDBusMessage* call, const BusMessage& parts)
{
    Answerer answerer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        answerer = m_answerer;
    }
    GVariant* body = answerer ? answerer(parts) : nullptr;
    if (body == nullptr) return;
    GDBusMessage* reply = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(reply, body);
    g_dbus_connection_send_message(m_connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(reply);
}

}  // namespace srcwatch_test
