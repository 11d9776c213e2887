// SPDX-License-Identifier: Apache-2.0
#include "BusListener.h"

#include "Bus.h"
#include "ChannelMessages.h"
#include "Failure.h"
#include "srcwatch-protocol.h"

#include <utility>

namespace ctl {

namespace {

constexpr int kTimeoutMs = 5000;
constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kEvents = "type='signal',interface='" SRCWATCH_BUS_NAME "'";

// The bus itself answers a call whose service has gone.
constexpr const char* kEventsAndCalls[] = {kEvents,
                                           "type='method_call',interface='" SRCWATCH_BUS_NAME "'",
                                           "type='method_return',sender='" SRCWATCH_BUS_NAME "'",
                                           "type='error',sender='" SRCWATCH_BUS_NAME "'",
                                           "type='error',sender='org.freedesktop.DBus'",
                                           nullptr};

using ErrorPtr = srcwatch::Handle<GError, g_error_free>;

}  // namespace

struct BusListener::Source {
    GSource base;
    BusListener* listener;

    static BusListener& ListenerOf(GSource* source) { return *reinterpret_cast<Source*>(source)->listener; }
};

BusListener::BusListener(std::function<void(GDBusMessage*)> onMessage, std::function<void()> onClosed)
    : m_onMessage(std::move(onMessage)), m_onClosed(std::move(onClosed))
{
    Connect();
    m_filter = g_dbus_connection_add_filter(m_connection.get(), Filter, new std::shared_ptr<Queue>(m_queue),
                                            [](void* queue) { delete static_cast<std::shared_ptr<Queue>*>(queue); });
    g_signal_connect(m_connection.get(), "closed", G_CALLBACK(OnClosed), this);
    Listen();
    static GSourceFuncs functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};
    m_source = g_source_new(&functions, sizeof(Source));
    reinterpret_cast<Source*>(m_source)->listener = this;
    g_source_attach(m_source, nullptr);
}

BusListener::~BusListener()
{
    if (m_source != nullptr) {
        g_source_destroy(m_source);
        g_source_unref(m_source);
    }
    g_signal_handlers_disconnect_by_data(m_connection.get(), this);
    g_dbus_connection_remove_filter(m_connection.get(), m_filter);
    // The connection ends in any case.
    static_cast<void>(g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr));
}

void BusListener::Connect()
{
    static_cast<void>(ConnectBus());  // which does not wait for ever for a bus that hangs
    GError* failure = nullptr;
    const srcwatch::Handle<char, g_free> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure));
    if (address) {
        constexpr auto kFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        m_connection.reset(g_dbus_connection_new_for_address_sync(address.get(), kFlags, nullptr, nullptr, &failure));
    }
    const ErrorPtr error(failure);
    if (!m_connection) throw Failure(std::string("cannot reach the system bus: ") + error->message);
}

bool BusListener::CallBus(const char* interface, const char* method, GVariant* arguments, std::string& why)
{
    GError* failure = nullptr;
    const srcwatch::Handle<GVariant, g_variant_unref> reply(
        g_dbus_connection_call_sync(m_connection.get(), kBus, "/org/freedesktop/DBus", interface, method, arguments,
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, kTimeoutMs, nullptr, &failure));
    const ErrorPtr error(failure);
    if (!reply) {
        g_dbus_error_strip_remote_error(error.get());
        why = error->message;
    }
    return reply != nullptr;
}

void BusListener::Listen()
{
    GVariant* const rules = g_variant_new("(^asu)", kEventsAndCalls, 0U);
    if (CallBus("org.freedesktop.DBus.Monitoring", "BecomeMonitor", rules, m_whyNoCalls)) return;
    std::string why;
    if (CallBus(kBus, "AddMatch", g_variant_new("(s)", kEvents), why)) return;
    throw Failure("the system bus refuses events: " + why);
}

GDBusMessage* BusListener::Filter(GDBusConnection* /*connection*/, GDBusMessage* message, gboolean incoming,
                                  void* queue)
{
    const char* const sender = g_dbus_message_get_sender(message);
    const bool isForConnection = g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_RETURN &&
                                 (sender == nullptr || std::string(sender) == kBus);
    if (incoming == FALSE || isForConnection || !MayBeOfChannel(message)) return message;
    Queue& arrived = **static_cast<std::shared_ptr<Queue>*>(queue);
    const std::lock_guard<std::mutex> lock(arrived.mutex);
    arrived.messages.emplace_back(message);
    g_main_context_wakeup(nullptr);
    return nullptr;
}

void BusListener::OnClosed(GDBusConnection* /*connection*/, gboolean /*vanished*/, GError* /*error*/, void* self)
{
    static_cast<BusListener*>(self)->m_onClosed();
}

gboolean BusListener::Prepare(GSource* source, int* timeout)
{
    BusListener& listener = Source::ListenerOf(source);
    *timeout = -1;
    const std::lock_guard<std::mutex> lock(listener.m_queue->mutex);
    listener.m_ready = listener.m_queue->messages.size();
    return listener.m_ready != 0 ? TRUE : FALSE;
}

// What arrives while the sources are polled waits until they were polled again.
gboolean BusListener::Check(GSource* /*source*/) { return FALSE; }

gboolean BusListener::Dispatch(GSource* source, GSourceFunc /*callback*/, void* /*data*/)
{
    Source::ListenerOf(source).HandleMessages();
    return G_SOURCE_CONTINUE;
}

void BusListener::HandleMessages()
{
    for (; m_ready != 0; --m_ready) {
        Message message;
        {
            const std::lock_guard<std::mutex> lock(m_queue->mutex);
            message = std::move(m_queue->messages.front());
            m_queue->messages.pop_front();
        }
        m_onMessage(message.get());
    }
}

}  // namespace ctl
