// SPDX-License-Identifier: Apache-2.0
#include "Service.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <utility>

#include <glib-unix.h>
#include <systemd/sd-daemon.h>

namespace srcwatch {

namespace {

// A bus answers within milliseconds; when it refuses the name, nothing is heard at all.
constexpr unsigned kNameDeadlineMilliseconds = 5000;

}  // namespace

Service::Service(Options options)
    : m_Options(std::move(options)),
      m_Ports{std::max(get_hdmi_count(), 0)},
      m_Detector(m_Options.quietMilliseconds, m_Ports, m_Records, m_Announcer,
                 [this] { End("the inputs directory " + m_Options.inputs + " is gone"); }),
      m_Commands(m_Options.scanStepMilliseconds, m_Ports, m_Records, m_Detector, m_Announcer,
                 [this] { LoadProfiles(); }),
      m_Requests(m_Ports, m_Records, m_Detector, m_Commands),
      m_Loop(g_main_loop_new(nullptr, FALSE), g_main_loop_unref)
{
}

Service::~Service()
{
    for (const unsigned id : m_Watches) srcwatch_host_unwatch_setting(id);
    if (m_Bus) g_signal_handlers_disconnect_by_data(m_Bus.get(), this);
}

std::string Service::Run()
{
    std::string failure = Prepare();
    if (!failure.empty()) return failure;
    const auto quit = [](gpointer self) -> gboolean {
        static_cast<Service*>(self)->End("");
        return G_SOURCE_CONTINUE;
    };
    const unsigned onTerm = g_unix_signal_add(SIGTERM, quit, this);
    const unsigned onInt = g_unix_signal_add(SIGINT, quit, this);
    OwnName();
    g_main_loop_run(m_Loop.get());
    g_source_remove(onTerm);
    g_source_remove(onInt);
    (void)sd_notify(0, "STOPPING=1");  // no supervisor is no fault
    WithdrawStates();
    return m_Failure;
}

std::string Service::Prepare()
{
    if (!std::filesystem::is_directory(m_Options.inputs)) {
        return "the inputs directory " + m_Options.inputs + " is not there or is no directory";
    }
    LoadProfiles();
    const std::string failure = ConnectToBus();
    return failure.empty() ? m_Records.Load() : failure;
}

void Service::LoadProfiles()
{
    std::vector<std::string> paths = m_Options.profiles;
    if (paths.empty()) {
        // The integrator's come first, so that they win.
        if (std::filesystem::is_directory(SRCWATCH_PROFILES_DIR)) paths.emplace_back(SRCWATCH_PROFILES_DIR);
        paths.emplace_back(SRCWATCH_PROFILES_FILE);
    }
    m_Detector.LoadProfiles(paths);
}

std::string Service::ConnectToBus()
{
    GError* failure = nullptr;
    m_Bus.reset(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure));
    const GErrorPtr owner(failure);
    if (!m_Bus) return std::string("cannot connect to the system bus: ") + failure->message;
    g_dbus_connection_set_exit_on_close(m_Bus.get(), FALSE);
    const auto onClosed = +[](GDBusConnection*, gboolean, GError*, gpointer self) {
        static_cast<Service*>(self)->End("the connection to the system bus is lost");
    };
    g_signal_connect(m_Bus.get(), "closed", G_CALLBACK(onClosed), this);
    return "";
}

void Service::OwnName()
{
    const auto checkOwnership = [](void* self, srcwatch_event_s*) { static_cast<Service*>(self)->CheckOwnership(); };
    m_Receiver = std::make_unique<qdinfo::CQDEventReciever>(QDINFO_CHANNEL_NAME, true);
    m_Receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STARTED, checkOwnership, this);
    m_Receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STOPPED, checkOwnership, this);
    m_NameDeadline.Start(kNameDeadlineMilliseconds,
                         [this] { End("the bus does not give the name " SRCWATCH_BUS_NAME); });
}

// Both events are heard by every service on the bus, whichever of them they are about: the bus knows.
void Service::CheckOwnership()
{
    const auto onOwner = [](GObject* bus, GAsyncResult* result, gpointer self) {
        GVariant* const reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr);
        const char* owner = "";
        if (reply != nullptr) g_variant_get(reply, "(&s)", &owner);
        static_cast<Service*>(self)->HandleOwner(owner);
        if (reply != nullptr) g_variant_unref(reply);
    };
    g_dbus_connection_call(m_Bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "GetNameOwner", g_variant_new("(s)", SRCWATCH_BUS_NAME), G_VARIANT_TYPE("(s)"),
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, onOwner, this);
}

void Service::HandleOwner(const std::string& owner)
{
    const char* const self = g_dbus_connection_get_unique_name(m_Bus.get());
    if (self != nullptr && owner == self) return Begin();
    if (m_Begun) {
        m_TakenOver = true;
        End("another service has taken over the name " SRCWATCH_BUS_NAME "; this one ends");
    } else if (!owner.empty()) {
        End("another service holds the name " SRCWATCH_BUS_NAME " and does not give it up");
    }
}

// From here on this is the service, and nobody else writes what it writes.
void Service::Begin()
{
    if (std::exchange(m_Begun, true)) return;
    m_NameDeadline.Stop();
    m_Requests.Register(*m_Receiver);
    m_Commands.Reset();
    m_Records.Restore();
    (void)LoadStatistics();  // restores them, too
    ShowSupport(true);
    WatchSettings();
    const std::string failure = m_Detector.Start(m_Options.inputs);
    if (!failure.empty()) return End("the inputs directory " + m_Options.inputs + " cannot be watched: " + failure);
    SWLOG(DLOG_INFO, "serving %d HDMI input(s) from %s", m_Ports.hdmiCount, Printable(m_Options.inputs).c_str());
    (void)sd_notify(0, "READY=1");  // no supervisor is no fault
}

void Service::WatchSettings()
{
    const auto onCommand = [](const char*, const srcwatch_host_value* value, void* self) {
        if (value != nullptr && value->text == nullptr) static_cast<Service*>(self)->m_Commands.Handle(value->number);
    };
    const auto onRecords = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->m_Records.HandleWritten();
    };
    const auto onTuned = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->m_Commands.HandleTunedChannel();
    };
    m_Watches = {srcwatch_host_watch_setting(VCONF_SCAN_PROGRESS.c_str(), onCommand, this),
                 srcwatch_host_watch_setting(VCONF_SOURCE_ACTIVITY.c_str(), onRecords, this),
                 srcwatch_host_watch_setting(VCONF_TWC_FRAME_COUNT.c_str(), onTuned, this)};
    if (std::count(m_Watches.begin(), m_Watches.end(), 0U) > 0) End("the settings store cannot be watched");
}

void Service::ShowSupport(bool supported)
{
    WriteNumber(VCONF_HP_AUTO_DETECT_SUPPORT, supported ? 1 : 0);
    WriteNumber(VCONF_MVPD_AUTO_DETECT_SUPPORT, supported ? 1 : 0);
}

void Service::End(const std::string& failure)
{
    if (m_Failure.empty()) m_Failure = failure;
    g_main_loop_quit(m_Loop.get());
}

// Without a service nothing is detected. After a takeover there is one, and these are its own.
void Service::WithdrawStates()
{
    if (!m_Begun || m_TakenOver) return;
    m_Commands.Withdraw();
    ShowSupport(false);
    m_Detector.Withdraw();
}

}  // namespace srcwatch
