// SPDX-License-Identifier: Apache-2.0
#include "Service.h"

#include "CecInputs.h"
#include "DirectoryInputs.h"
#include "Handle.h"
#include "Log.h"
#include "OptionalPlatform.h"
#include "QDInfoCommon.h"
#include "ReceiverPower.h"
#include "Settings.h"
#include "SpdFile.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <utility>

#include <glib-unix.h>
#include <system_info.h>
#include <systemd/sd-daemon.h>

namespace srcwatch {

namespace {

// A bus grants a name within milliseconds; when it refuses one, no event comes at all.
constexpr unsigned kNameDeadlineMilliseconds = 5000;
constexpr unsigned kSpdIntervalMilliseconds = 1000;

// Where the policy was installed by another prefix than /usr, no bus looks for it.
constexpr const char* kNameRefused =
    "the bus refuses the name " SRCWATCH_BUS_NAME ": its policy, " SRCWATCH_POLICY_FILE
    ", must allow this user, and be in /usr/share/dbus-1/system.d or /etc/dbus-1/system.d; then reload the bus";

// They are settings that applications write. Looking for them again and again would miss one that is written twice.
constexpr const char* kNoCommands =
    "cannot receive commands of applications: this platform does not report writes of settings "
    "(srcwatch_host_watch_setting)";

constexpr unsigned kCopyIntervalMilliseconds = 60U * 60 * 1000;

// From which the platform takes what a damaged store has lost.
void CopySettings()
{
    if (srcwatch_host_copy_path == nullptr || srcwatch_host_back_up_settings == nullptr) return;
    const char* const path = srcwatch_host_copy_path();
    if (path == nullptr || srcwatch_host_back_up_settings(path) != 0)
        SWLOG(kLogError, "the settings cannot be copied; the last copy stays");
}

void RepairSettings()
{
    if (srcwatch_host_repair_settings == nullptr) return;
    static_cast<void>(srcwatch_host_repair_settings());  // what it cannot do now, it does when damage is met
}

// There may be no supervisor.
void Notify(const std::string& state) { static_cast<void>(sd_notify(0, state.c_str())); }

// The library asks while it is loaded, and keeps the answer. Absent is an answer, too.
bool IsInputCountKnown()
{
    int count = -1;
    const int result = system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count);
    if (result == -ENOENT || result == -EINVAL) return HDMI_PORT_COUNT < 0;
    return result == 0 && (count > 0 ? count : -1) == HDMI_PORT_COUNT;
}

}  // namespace

Service::Service(Configuration configuration, std::function<Configuration()> readAgain)
    : m_configuration(std::move(configuration)),
      m_readAgain(std::move(readAgain)),
      m_ports{std::clamp(get_hdmi_count(), 0, kHdmiPorts)},
      m_records(m_settings),
      m_inputs(MakeBackEnds()),
      m_log(m_options.detections, m_options.origin),
      m_detector(m_inputs, m_ports, m_records, m_settings, m_announcer, m_log,
                 [this](const std::string& reason) { End(reason); }),
      m_commands(m_options.scanStepMilliseconds, m_ports, m_records, m_detector, m_announcer, m_settings,
                 [this] { LoadProfiles(); }),
      m_requests(m_ports, m_records, m_settings, m_detector, m_commands),
      m_loop(g_main_loop_new(nullptr, FALSE))
{
}

std::vector<std::unique_ptr<InputBackEnd>> Service::MakeBackEnds()
{
    std::vector<std::unique_ptr<InputBackEnd>> backEnds;
    if (!m_options.inputs.empty()) {
        backEnds.push_back(std::make_unique<DirectoryInputs>(m_options.inputs, m_options.quietMilliseconds, m_ports));
    }
    CecTimes times;
    times.round = m_options.cecRoundMilliseconds;
    for (const std::string& adapter : m_options.cecAdapters) {
        backEnds.push_back(
            std::make_unique<CecInputs>(adapter, times, m_options.quietMilliseconds, m_ports, m_deviceCalls));
    }
    for (const auto& [port, file] : m_options.spdFiles) {
        backEnds.push_back(std::make_unique<SpdFile>(port, file, kSpdIntervalMilliseconds));
    }
    for (const std::string& receiver : m_options.receivers) {
        backEnds.push_back(std::make_unique<ReceiverPower>(receiver, ReceiverPower::Times(), m_ports, m_deviceCalls));
    }
    return backEnds;
}

Service::~Service()
{
    UnwatchSettings();
    if (m_bus) g_signal_handlers_disconnect_by_data(m_bus.get(), this);
}

std::string Service::Run()
{
    std::string failure = Prepare();
    if (!failure.empty()) return failure;
    const auto quit = [](gpointer self) -> gboolean {
        static_cast<Service*>(self)->End("");
        return G_SOURCE_CONTINUE;
    };
    const auto reload = [](gpointer self) -> gboolean {
        static_cast<Service*>(self)->Reload();
        return G_SOURCE_CONTINUE;
    };
    for (const int signal : {SIGTERM, SIGINT}) g_unix_signal_add(signal, quit, this);
    g_unix_signal_add(SIGHUP, reload, this);
    OwnName();
    g_main_loop_run(m_loop.get());
    Notify("STOPPING=1\nSTATUS=" + (m_failure.empty() ? "Ending" : m_failure));
    ClearStates();
    return m_failure;
}

std::string Service::Prepare()
{
    if (!IsInputCountKnown()) return "the number of inputs cannot be read";
    std::string failure = m_options.inputs.empty() ? "" : CheckInputsDirectory();
    if (!failure.empty()) return failure;
    for (const auto& [port, file] : m_options.spdFiles) {
        if (!m_ports.Has(port)) return "no such port: " + std::to_string(port);
    }
    LoadProfiles();
    // Without them, devices would be taken for others. But those that can be read are better than no service.
    static_cast<void>(RetryNow([this] { return m_settings.Repeat(); }));
    return ConnectToBus();
}

std::string Service::CheckInputsDirectory() const
{
    std::error_code error;
    const bool isDirectory = std::filesystem::is_directory(m_options.inputs, error);
    if (error) return "the inputs directory " + m_options.inputs + " cannot be used: " + error.message();
    return isDirectory ? "" : "the inputs directory " + m_options.inputs + " is not a directory";
}

std::string Service::Places() const
{
    std::string places = m_options.inputs;
    const auto add = [&places](const std::string& place) { places += (places.empty() ? "" : ", ") + place; };
    for (const std::string& adapter : m_options.cecAdapters) add(adapter);
    for (const auto& [port, file] : m_options.spdFiles) add(file);
    for (const std::string& receiver : m_options.receivers) add(receiver);
    return places;
}

// A configuration with faults changes nothing. The profiles are loaded again in any case.
void Service::Reload()
{
    const Configuration read = m_readAgain();
    for (const std::string& fault : read.faults) SWLOG(kLogError, "%s", fault.c_str());
    if (read.faults.empty()) {
        const Differences differences = Adopt(read, m_configuration);
        m_log.Redirect(m_options.detections, m_options.origin);
        m_commands.SetScanStep(m_options.scanStepMilliseconds);
        if (!differences.adopted.empty())
            SWLOG(kLogInfo, "the configuration has changed: %s", differences.adopted.c_str());
        if (!differences.waiting.empty()) {
            SWLOG(kLogError, "changed, but takes effect only at a restart of the service: %s",
                  differences.waiting.c_str());
        }
    } else {
        SWLOG(kLogError, "the configuration stays as it was");
    }
    LoadProfiles();
}

void Service::LoadProfiles()
{
    std::vector<std::string> paths = m_options.profiles;
    if (paths.empty()) paths = InstalledProfiles(SRCWATCH_PROFILES_DIR, SRCWATCH_PROFILES_FILE);
    m_settings.Attain("loading the profiles", [this, paths] {
        const bool isComplete = m_detector.LoadProfiles(paths);
        m_detector.DetectAgain();  // nothing before the service serves
        return isComplete;
    });
}

std::string Service::ConnectToBus()
{
    GError* failure = nullptr;
    m_bus.reset(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure));
    const Handle<GError, g_error_free> owner(failure);
    if (!m_bus) return std::string("cannot connect to the system bus: ") + failure->message;
    g_dbus_connection_set_exit_on_close(m_bus.get(), FALSE);
    const auto onClosed = +[](GDBusConnection*, gboolean, GError*, gpointer self) {
        static_cast<Service*>(self)->End("the connection to the system bus is lost");
    };
    g_signal_connect(m_bus.get(), "closed", G_CALLBACK(onClosed), this);
    return "";
}

void Service::OwnName()
{
    const auto checkOwnership = [](void* self, srcwatch_event_s*) { static_cast<Service*>(self)->CheckOwnership(); };
    m_receiver = std::make_unique<qdinfo::CQDEventReciever>(QDINFO_CHANNEL_NAME, true);
    m_receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STARTED, checkOwnership, this);
    m_receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STOPPED, checkOwnership, this);
    m_nameDeadline.Start(kNameDeadlineMilliseconds, [this] { End(kNameRefused); });
}

// Every service on the bus hears both events, whichever service they are about, so the bus is asked.
void Service::CheckOwnership()
{
    const auto onOwner = [](GObject* bus, GAsyncResult* result, gpointer self) {
        const Handle<GVariant, g_variant_unref> reply(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr));
        const char* owner = "";  // without a reply
        if (reply) g_variant_get(reply.get(), "(&s)", &owner);
        static_cast<Service*>(self)->HandleOwner(owner);
    };
    g_dbus_connection_call(m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "GetNameOwner", g_variant_new("(s)", SRCWATCH_BUS_NAME), G_VARIANT_TYPE("(s)"),
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, onOwner, this);
}

void Service::HandleOwner(const std::string& owner)
{
    const char* const self = g_dbus_connection_get_unique_name(m_bus.get());
    if (self != nullptr && owner == self) return Begin();
    if (m_begun) {
        m_takenOver = true;
        End("another service has taken over the name " SRCWATCH_BUS_NAME "; this one ends");
    } else if (!owner.empty()) {
        End("another service holds the name " SRCWATCH_BUS_NAME " and keeps it");
    }
}

// From here on no other service writes what this one writes.
void Service::Begin()
{
    if (std::exchange(m_begun, true)) return;
    m_nameDeadline.Stop();
    // The watch comes first, so that nothing that the service before this one still writes is missed.
    if (!RetryNow([this] { return WatchSettings(); })) return End("the settings store cannot be watched");
    RepairSettings();
    std::string failure = m_records.Load();
    if (!failure.empty()) return End(failure);
    if (!RetryNow([this] { return m_detector.LoadStatistics(); })) return End("the stored statistics cannot be read");
    if (!RetryNow([this] { return m_detector.LoadUnknown(); })) return End("the unknown devices cannot be read");
    m_requests.Register(m_bus.get(), *m_receiver);
    m_commands.Reset();
    ShowSupport(true);
    failure = m_detector.Start();
    if (!failure.empty()) return End(failure);
    SWLOG(kLogInfo, "serving %d HDMI input(s) from %s", m_ports.hdmiCount, Printable(Places()).c_str());
    if (!ReportsWrites()) SWLOG(kLogWarn, "%s", kNoCommands);
    Notify("READY=1\nSTATUS=Serving " + std::to_string(m_ports.hdmiCount) + " HDMI input(s)" +
           (ReportsWrites() ? "" : "; cannot receive commands"));
    FeedWatchdog();
    KeepCopies();
}

void Service::KeepCopies()
{
    m_nextCopy.Start(kCopyIntervalMilliseconds, [this] {
        CopySettings();
        KeepCopies();
    });
}

// From the main loop, so that a hang starves the watchdog. Four times as often as the supervisor
// demands, because a store that is locked by another process holds the loop up for seconds.
void Service::FeedWatchdog()
{
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0) return;
    Notify("WATCHDOG=1");
    m_watchdog.Start(static_cast<unsigned>(microseconds / 4000), [this] { FeedWatchdog(); });
}

void Service::UnwatchSettings()
{
    for (const unsigned id : m_watches) srcwatch_host_unwatch_setting(id);
    m_watches.clear();
}

bool Service::WatchSettings()
{
    const auto onCommand = [](const char*, const srcwatch_host_value* value, void* self) {
        if (value != nullptr && value->text == nullptr) static_cast<Service*>(self)->m_commands.Handle(value->number);
    };
    const auto onRecords = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->m_records.HandleWritten();
    };
    // A user who cleared the devices does not want them back when the store is replaced.
    const auto onUnknown = [](const char* key, const srcwatch_host_value*, void* self) {
        auto* const service = static_cast<Service*>(self);
        service->m_settings.Attain(std::string("reading ") + key, [=] { return service->m_detector.LoadUnknown(); });
    };
    const auto onTuned = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->m_commands.HandleTunedChannel();
    };
    // A service that is replaced without knowing it switches off when it ends.
    const auto onSwitch = [](const char*, const srcwatch_host_value* value, void* self) {
        if (value == nullptr || value->text != nullptr || value->number != 1)
            static_cast<Service*>(self)->ShowSupport(true);
    };
    const auto onReplaced = [](void* self) { static_cast<Service*>(self)->m_settings.WriteAgain(); };
    UnwatchSettings();
    if (!ReportsWrites()) return true;
    if (srcwatch_host_watch_replacement != nullptr)
        m_watches.push_back(srcwatch_host_watch_replacement(onReplaced, this));
    m_watches.insert(m_watches.end(),
                     {srcwatch_host_watch_setting(VCONF_SCAN_PROGRESS.c_str(), onCommand, this),
                      srcwatch_host_watch_setting(VCONF_SOURCE_ACTIVITY.c_str(), onRecords, this),
                      srcwatch_host_watch_setting(SRCWATCH_UNKNOWN_DEVICES_KEY, onUnknown, this),
                      srcwatch_host_watch_setting(VCONF_TWC_FRAME_COUNT.c_str(), onTuned, this),
                      srcwatch_host_watch_setting(VCONF_HP_AUTO_DETECT_SUPPORT.c_str(), onSwitch, this),
                      srcwatch_host_watch_setting(VCONF_MVPD_AUTO_DETECT_SUPPORT.c_str(), onSwitch, this)});
    return std::count(m_watches.begin(), m_watches.end(), 0U) == 0;
}

void Service::ShowSupport(bool supported)
{
    m_settings.WriteNumber(VCONF_HP_AUTO_DETECT_SUPPORT, supported ? 1 : 0);
    m_settings.WriteNumber(VCONF_MVPD_AUTO_DETECT_SUPPORT, supported ? 1 : 0);
}

void Service::End(const std::string& failure)
{
    if (m_failure.empty()) m_failure = failure;
    g_main_loop_quit(m_loop.get());
}

// Without a service nothing is detected. The name is released first: the bus returns it to a service that this one
// replaced, if that still runs, and the states are then that one's. tests/models/takeover.pml has the rules.
void Service::ClearStates()
{
    if (m_begun && !m_takenOver) m_commands.StopScan();
    m_receiver.reset();
    if (IsNameOwned()) return;
    ShowSupport(false);
    m_detector.ClearPending();
    if (!m_settings.Repeat() && m_failure.empty()) m_failure = "not everything could be saved";
    if (m_begun) CopySettings();
}

// Without the bus, which ends a service, there is no other one for applications.
bool Service::IsNameOwned() const
{
    const Handle<GVariant, g_variant_unref> reply(g_dbus_connection_call_sync(
        m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", SRCWATCH_BUS_NAME), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    gboolean isOwned = m_begun ? FALSE : TRUE;
    if (reply) g_variant_get(reply.get(), "(b)", &isOwned);
    return isOwned != FALSE;
}

}  // namespace srcwatch
