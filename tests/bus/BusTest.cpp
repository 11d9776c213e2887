// SPDX-License-Identifier: Apache-2.0
#include "BusTest.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace srcwatch_test {
namespace {

struct GlibMessages {
    std::mutex mutex;
    std::vector<std::string> messages;
};

GlibMessages& TheGlibMessages()
{
    static auto& messages = *new GlibMessages;
    return messages;
}

void KeepGlibMessage(const char* domain, GLogLevelFlags level, const char* message, void*)
{
    if ((level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) == 0) return;
    GlibMessages& kept = TheGlibMessages();
    const std::lock_guard<std::mutex> lock(kept.mutex);
    kept.messages.push_back(std::string(domain != nullptr ? domain : "") + ": " + message);
}

bool HasOpenConnection()
{
    const srcwatch::Handle<GDBusConnection, g_object_unref> connection(
        g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (!connection) return false;
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return g_dbus_connection_is_closed(connection.get()) == FALSE;
}

std::string Line(const LogLine& line)
{
    return std::string(line.priority == DLOG_ERROR ? "E " : "D ") + line.function + ": " + line.message;
}

}  // namespace

srcwatch_event_s EventOf(const Numbers& numbers, const Texts& texts)
{
    srcwatch_event_s event{};
    std::copy(numbers.begin(), numbers.end(), event.args);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::memcpy(event.str_args[i], texts[i].data(), std::min<std::size_t>(texts[i].size(), 100));
    }
    return event;
}

std::string MessageOf(const Numbers& numbers, const Texts& texts)
{
    std::string message;
    for (const int number : numbers) message += std::to_string(number) + "\t";
    for (const std::string& text : texts) {
        for (const char c : text.empty() ? "UNKNOWN" : text) message += c == ' ' ? '#' : c;
        message += "\t";
    }
    return message;
}

void Deliveries::Callback(void* deliveries, srcwatch_event_s* event)
{
    auto* self = static_cast<Deliveries*>(deliveries);
    Delivery delivery;
    delivery.event = *event;
    delivery.hasStreams = event->ptr_args[0] != nullptr && event->ptr_args[1] != nullptr;
    if (delivery.hasStreams) std::getline(RequestOf(event), delivery.rest, '\0');
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    self->m_deliveries.push_back(std::move(delivery));
}

std::size_t Deliveries::Count() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_deliveries.size();
}

std::vector<Delivery> Deliveries::All() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_deliveries;
}

Delivery Deliveries::Last() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_deliveries.empty() ? Delivery() : m_deliveries.back();
}

SharedConnectionWatch::SharedConnectionWatch() : m_connection()
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    g_weak_ref_init(&m_connection, connection);
    g_object_unref(connection);
}

void RunPending()
{
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

bool SharedConnectionWatch::RunUntilGone()
{
    return RunUntil([this] {
        const srcwatch::Handle<void, g_object_unref> held(g_weak_ref_get(&m_connection));
        return !held;
    });
}

// Each test begins with an open connection, also after one that ended its bus.
BusTest::BusTest()
{
    if (!TheBus().IsRunning()) TheBus().Restart();
    g_log_set_default_handler(&KeepGlibMessage, nullptr);
    EXPECT_TRUE(RunUntil(&HasOpenConnection));
    static_cast<void>(TakeGlibMessages());
}

// What GLib still has for the main loop may hold a connection.
BusTest::~BusTest() { RunPending(); }

std::vector<std::string> BusTest::TakeLog()
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    std::vector<std::string> lines;
    for (const LogLine& line : platform.log) {
        if (line.file == "QDInfoEventManager.cpp") lines.push_back(Line(line));
    }
    platform.log.clear();
    return lines;
}

std::size_t BusTest::TimesLogged(const std::string& line)
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    return static_cast<std::size_t>(std::count_if(platform.log.begin(), platform.log.end(),
                                                  [&line](const LogLine& logged) { return Line(logged) == line; }));
}

bool BusTest::Logged(const std::string& line) { return TimesLogged(line) > 0; }

void BusTest::EndBus()
{
    SharedConnectionWatch connection;
    TheBus().Kill();
    EXPECT_TRUE(connection.RunUntilGone());
}

void BusTest::SyncSharedConnection()
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(connection, nullptr);
    const Variant reply(g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                    "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                                    G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    EXPECT_TRUE(reply);
    g_object_unref(connection);
}

bool BusTest::RunUntilNameAcquired(std::size_t times)
{
    return RunUntil([this, times] { return TimesLogged("E m_NameAcquiredHandler: Registered on DBus") >= times; });
}

std::vector<std::string> BusTest::TakeGlibMessages()
{
    GlibMessages& kept = TheGlibMessages();
    const std::lock_guard<std::mutex> lock(kept.mutex);
    return std::exchange(kept.messages, {});
}

}  // namespace srcwatch_test
