// SPDX-License-Identifier: Apache-2.0
#include "Service.h"

#include "Inspection.h"
#include "Log.h"
#include "QDInfoCommon.h"
#include "QDInfoSettingUtil.h"
#include "Settings.h"
#include "StoredValues.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <limits>
#include <numeric>
#include <sstream>
#include <utility>

#include <glib-unix.h>
#include <json/json.h>
#include <systemd/sd-daemon.h>
#include <vconf.h>

namespace srcwatch {

namespace {

constexpr const char* kBusName = "org.nalto.tv.qdinfo";
// A bus answers within milliseconds; when it refuses the name, nothing is heard at all.
constexpr unsigned kNameDeadlineMilliseconds = 5000;

// The TV service's identifiers of HDMI 1 to HDMI 8.
constexpr int kSourceIds[] = {13, 14, 15, 16, 38, 39, 46, 47};

// Commands, as the library writes them to the command key.
constexpr int kScanStart = 2001;
constexpr int kScanStop = 2002;
constexpr int kScanResume = 2003;
constexpr int kTwcStart = 2010;  // plus the port
constexpr int kTwcEnd = 2020;    // plus the port
constexpr int kTwcPorts = 8;
constexpr int kMbrDownloadFinished = 3001;
constexpr int kOpticalStart = 5001;
constexpr int kOpticalStop = 5002;

constexpr int kMbrModeReady = 1;
constexpr int kTwcStatusNone = -1;

void WriteNumber(const std::string& key, int value)
{
    if (vconf_set_int(key.c_str(), value) != 0) SWLOG(DLOG_ERROR, "%s could not be written", key.c_str());
}

void SaveStatistics(const Statistics& statistics)
{
    if (vconf_set_str(VCONF_SPD_AKSV_1.c_str(), statistics.Text().c_str()) != 0) {
        SWLOG(DLOG_ERROR, "the detection statistics could not be saved");
    }
}

Statistics LoadStatistics()
{
    const std::optional<std::string> text = ReadText(VCONF_SPD_AKSV_1);
    if (!text) return {};
    const JsonText json(*text);
    const std::string wrong = WhatIsWrong(Inspect(json, StoredKind::kStatistics));
    if (wrong.empty()) return Statistics(json.Root());
    (void)KeepUnreadable(VCONF_SPD_AKSV_1, *text, wrong);  // logged; statistics may go
    SaveStatistics({});
    return {};
}

void SetConnected(int port, bool connected)
{
    if (port < 0 || static_cast<std::size_t>(port) >= std::size(kSourceIds)) return;
    if (srcwatch_host_set_connected(kSourceIds[port], connected) != 0) {
        SWLOG(DLOG_ERROR, "the connection state of HDMI %d could not be set", port + 1);
    }
}

std::string InputName(int port) { return port == OPTICAL_PORT ? "optical" : "hdmi" + std::to_string(port + 1); }

// One line for each file, whatever is to be said of it.
void LogRemarks(int port, const Evidence& evidence)
{
    const Remarks remarks = evidence.AllRemarks();
    for (auto first = remarks.begin(); first != remarks.end();) {
        const std::string& file = first->file;
        const auto last = std::find_if(first, remarks.end(), [&](const Remark& remark) { return remark.file != file; });
        SWLOG(DLOG_WARN, "%s%s: %s%s", InputName(port).c_str(), (file.empty() ? "" : "/" + file).c_str(),
              evidence.IsRefused(file) ? "refused: " : "", InOneLine(Remarks(first, last)).c_str());
        first = last;
    }
}

int MillisecondsSince(gint64 start) { return static_cast<int>((g_get_monotonic_time() - start) / 1000); }

bool IsStatusCommand(int command, int first) { return command >= first && command < first + kTwcPorts; }

Json::Value Error(const std::string& text)
{
    Json::Value answer;
    answer["error"] = text;
    return answer;
}

}  // namespace

Service::Service(Options options)
    : m_Options(std::move(options)),
      m_HdmiCount(std::max(get_hdmi_count(), 0)),
      m_Inputs(m_Options.quietMilliseconds, m_HdmiCount, *this),
      m_Scan(m_Options.scanStepMilliseconds, m_HdmiCount, *this),
      m_DetectedFrom(static_cast<std::size_t>(m_HdmiCount) + 1, 0),
      m_Loop(g_main_loop_new(nullptr, FALSE), g_main_loop_unref)
{
}

Service::~Service()
{
    for (const unsigned id : m_Watches) srcwatch_host_unwatch_setting(id);
    if (m_Bus) g_signal_handlers_disconnect_by_data(m_Bus.get(), this);
}

/* ---- Start and end ---- */

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
    m_Profiles = Profiles();
    std::vector<std::string> paths = m_Options.profiles;
    if (paths.empty()) {
        // The integrator's come first, so that they win.
        if (std::filesystem::is_directory(SRCWATCH_PROFILES_DIR)) paths.emplace_back(SRCWATCH_PROFILES_DIR);
        paths.emplace_back(SRCWATCH_PROFILES_FILE);
    }
    for (const std::string& path : paths) m_Profiles.Load(path);
    for (const ProfileError& error : m_Profiles.Errors()) SWLOG(DLOG_ERROR, "profile %s", error.Text().c_str());
    SWLOG(DLOG_INFO, "%zu profile(s) loaded", m_Profiles.Count());
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
    struct Request {
        int type;
        srcwatch_event_cb callback;
    };
    constexpr Request kRequests[] = {
        {SRCWATCH_REQUEST_STATUS, AnswerWith<&Service::AnswerStatus>},
        {SRCWATCH_REQUEST_RECORD, AnswerWith<&Service::AnswerRecord>},
        {SRCWATCH_REQUEST_FORGET, AnswerWith<&Service::AnswerForget>},
        {SRCWATCH_REQUEST_DENY, AnswerWith<&Service::AnswerDeny>},
    };
    const auto checkOwnership = [](void* self, srcwatch_event_s*) { static_cast<Service*>(self)->CheckOwnership(); };
    m_Sender = std::make_unique<qdinfo::CQDEventSender>(QDINFO_CHANNEL_NAME);
    m_Receiver = std::make_unique<qdinfo::CQDEventReciever>(QDINFO_CHANNEL_NAME, true);
    m_Receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STARTED, checkOwnership, this);
    m_Receiver->RegisterEventCallback(SRCWATCH_EVENT_SERVICE_STOPPED, checkOwnership, this);
    for (const Request& request : kRequests) m_Receiver->RegisterEventCallback(request.type, request.callback, this);
    m_NameDeadline.Start(kNameDeadlineMilliseconds,
                         [this] { End(std::string("the bus does not give the name ") + kBusName); });
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
                           "GetNameOwner", g_variant_new("(s)", kBusName), G_VARIANT_TYPE("(s)"),
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, onOwner, this);
}

void Service::HandleOwner(const std::string& owner)
{
    const char* const self = g_dbus_connection_get_unique_name(m_Bus.get());
    if (self != nullptr && owner == self) return Begin();
    if (m_Begun) {
        m_TakenOver = true;
        End(std::string("another service has taken over the name ") + kBusName + "; this one ends");
    } else if (!owner.empty()) {
        End(std::string("another service holds the name ") + kBusName + " and does not give it up");
    }
}

// From here on this is the service, and nobody else writes what it writes.
void Service::Begin()
{
    if (std::exchange(m_Begun, true)) return;
    m_NameDeadline.Stop();
    for (int port = 0; port < m_HdmiCount; ++port) SetConnected(port, false);
    WriteNumber(VCONF_HP_AUTO_DETECT_SUPPORT, 1);
    WriteNumber(VCONF_MVPD_AUTO_DETECT_SUPPORT, 1);
    WriteNumber(VCONF_SCAN_RESULT, 0);
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, kTwcStatusNone);
    ShowDetecting();
    m_Records.Restore();
    (void)LoadStatistics();  // restores them, too
    WatchSettings();
    const std::string failure = m_Inputs.Start(m_Options.inputs);
    if (!failure.empty()) return End("the inputs directory " + m_Options.inputs + " cannot be watched: " + failure);
    ClearUnplugged();
    SWLOG(DLOG_INFO, "serving %d HDMI input(s) from %s", m_HdmiCount, Printable(m_Options.inputs).c_str());
    (void)sd_notify(0, "READY=1");  // no supervisor is no fault
}

void Service::WatchSettings()
{
    const auto onCommand = [](const char*, const srcwatch_host_value* value, void* self) {
        if (value != nullptr && value->text == nullptr) static_cast<Service*>(self)->HandleCommand(value->number);
    };
    const auto onRecords = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->m_Records.HandleWritten();
    };
    const auto onTuned = [](const char*, const srcwatch_host_value*, void* self) {
        static_cast<Service*>(self)->HandleTunedChannel();
    };
    m_Watches = {srcwatch_host_watch_setting(VCONF_SCAN_PROGRESS.c_str(), onCommand, this),
                 srcwatch_host_watch_setting(VCONF_SOURCE_ACTIVITY.c_str(), onRecords, this),
                 srcwatch_host_watch_setting(VCONF_TWC_FRAME_COUNT.c_str(), onTuned, this)};
    if (std::count(m_Watches.begin(), m_Watches.end(), 0U) > 0) End("the settings store cannot be watched");
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
    if (m_Scan.IsRunning()) m_Scan.Stop();
    WriteNumber(VCONF_HP_AUTO_DETECT_SUPPORT, 0);
    WriteNumber(VCONF_MVPD_AUTO_DETECT_SUPPORT, 0);
    m_Detecting.clear();
    ShowDetecting();
}

/* ---- Inputs ---- */

void Service::OnPlugged(int port)
{
    // A record with a device means that the device was announced before this service was started anew.
    const bool known = m_Records.Get(port).HasDevice();
    SetConnected(port, true);
    SetDetecting(port, true);
    if (!known) AnnounceConnection(port, true);
}

void Service::OnUnplugged(int port)
{
    SetConnected(port, false);
    SetDetecting(port, false);
    (void)m_Records.Clear(port);  // it may not have been detected yet
    AnnounceConnection(port, false);
}

void Service::OnSettled(int port) { Detect(port, Cause::kDevice); }

void Service::OnInputsLost() { End("the inputs directory " + m_Options.inputs + " is gone"); }

// Devices that were unplugged while no service ran.
void Service::ClearUnplugged()
{
    for (const int port : Ports()) {
        if (!m_Inputs.IsPlugged(port) && m_Records.Get(port).HasDevice()) OnUnplugged(port);
    }
}

void Service::SetDetecting(int port, bool detecting)
{
    const std::set<int> before = m_Detecting;
    if (detecting) {
        m_Detecting.insert(port);
        m_DetectedFrom[static_cast<std::size_t>(std::min(port, m_HdmiCount))] = g_get_monotonic_time();
    } else {
        m_Detecting.erase(port);
    }
    if (before != m_Detecting) ShowDetecting();
}

// The notification is shown, as the activity index tells, while a device that was plugged in is being detected.
void Service::ShowDetecting()
{
    WriteNumber(VCONF_HOTPLUG_PROGRESS, m_Detecting.empty() ? 0 : 1);
    WriteNumber(VCONF_SOURCE_ACTIVITY_INDEX, m_Detecting.empty() ? 0 : *m_Detecting.begin() + 1);
}

/* ---- Detection ---- */

void Service::Detect(int port, Cause cause)
{
    const std::string directory = m_Inputs.DirectoryOf(port);
    const Evidence evidence = ReadEvidence(directory);
    LogRemarks(port, evidence);
    const Classification device = Classify(evidence, m_Profiles);
    Record record = MakeRecord(port, device);
    if (cause == Cause::kCommand) record.scanState = SRCWATCH_SCAN_FOUND;

    // The statistics are the memory of what was seen before, so they come after the record is made of them.
    const bool changed = m_Records.Set(port, record);
    if (changed || cause == Cause::kCommand) {
        AddStatistics(port, device);
        AnnounceDetected(port, record);
    }
    SetDetecting(port, false);
}

Record Service::MakeRecord(int port, const Classification& device) const
{
    const Identity identity = IdentityOf(device);
    const auto isOccupied = [&](int other) {
        return m_Inputs.IsPlugged(other) && IsPort(other) && IdentityOf(m_Records.Get(other).device).Matches(identity);
    };
    return ComposeRecord(port, m_Records.Get(port), device, LoadStatistics(), isOccupied);
}

void Service::AddStatistics(int port, const Classification& device)
{
    const gint64 from = m_DetectedFrom[static_cast<std::size_t>(std::min(port, m_HdmiCount))];
    Statistics statistics = LoadStatistics();
    statistics.Add(port, device, MillisecondsSince(from));
    SaveStatistics(statistics);
}

void Service::AnnounceDetected(int port, const Record& record)
{
    SWLOG(DLOG_INFO, "%s: type %d by %s", InputName(port).c_str(), record.device.deviceType,
          DetectionMethodText(record.device.method));
    m_Sender->ClearEvent();
    m_Sender->AppendArgs(port, record.device.deviceType, record.changed == SRCWATCH_CHANGED_NOT ? 0 : 1, 0);
    m_Sender->AppendArgs(record.device.deviceName, record.device.brandName, record.device.providerName);
    m_Sender->SendEvent(SRCWATCH_EVENT_DETECTED);
}

void Service::AnnounceConnection(int port, bool connected)
{
    m_Sender->SendEvent(SRCWATCH_EVENT_CONNECTION, port, connected ? 1 : 0, 0);
}

/* ---- Commands ---- */

void Service::HandleCommand(int command)
{
    switch (command) {
        case kScanStart:
            return m_Scan.Start();
        case kScanStop:
            return m_Scan.Stop();
        case kScanResume:
            return m_Scan.Resume();
        case kOpticalStart:
            return HandleOpticalScan();
        case kOpticalStop:
            return StopOpticalScan();
        case kMbrDownloadFinished:
            return HandleMbrDownloadFinished();
        default:
            break;
    }
    if (IsStatusCommand(command, kTwcStart)) return StartTwc(command - kTwcStart);
    if (IsStatusCommand(command, kTwcEnd)) return EndTwc(command - kTwcEnd);
    SWLOG(DLOG_ERROR, "unknown command %d", command);
}

void Service::HandleOpticalScan()
{
    m_Sender->SendEvent(SRCWATCH_EVENT_SCAN_PROGRESS, 0, OPTICAL_PORT, 0);
    m_OpticalScan.Start(m_Options.scanStepMilliseconds, [this] { EndOpticalScan(); });
}

void Service::StopOpticalScan()
{
    if (!m_OpticalScan.IsRunning()) {
        SWLOG(DLOG_WARN, "no optical scan runs that could be stopped");
        return;
    }
    m_OpticalScan.Stop();
    m_Sender->SendEvent(SRCWATCH_EVENT_SCAN_FINISHED, SRCWATCH_SCAN_STOPPED, 0, OPTICAL_PORT);
}

void Service::EndOpticalScan()
{
    const bool found = ScanPort(OPTICAL_PORT);
    const int result = found ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND;
    m_Sender->SendEvent(SRCWATCH_EVENT_SCAN_FINISHED, result, found ? 1 : 0, OPTICAL_PORT);
}

// The codesets come with new profiles: what is plugged may be known better now.
void Service::HandleMbrDownloadFinished()
{
    CQDInfoSettingUtil::SetQDInfoMode(kMbrModeReady);
    LoadProfiles();
    for (const int port : Ports()) {
        if (!m_Inputs.IsPlugged(port) || m_Inputs.IsSettling(port)) continue;
        SetDetecting(port, true);
        Detect(port, Cause::kDevice);
    }
}

void Service::StartTwc(int port)
{
    m_TwcPort = port;
    const bool stb = IsPort(port) && m_Records.Get(port).device.deviceType == SRCWATCH_DEVICE_SET_TOP_BOX;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, stb ? SRCWATCH_TWC_WAITING : SRCWATCH_TWC_NO_SET_TOP_BOX);
}

// The library clears the status too, but a channel reported just before may have set it again.
void Service::EndTwc(int port)
{
    if (m_TwcPort != port) SWLOG(DLOG_WARN, "the TWC check of HDMI %d ends without having been started", port + 1);
    m_TwcPort = -1;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, kTwcStatusNone);
}

void Service::HandleTunedChannel()
{
    int status = kTwcStatusNone;
    int sequence = -1;
    int frames = 0;
    (void)vconf_get_int(VCONF_TWC_STATUS_INTERNAL.c_str(), &status);  // unreadable: no check, nothing tuned
    (void)vconf_get_int(VCONF_TWC_SEQ_ID.c_str(), &sequence);
    (void)vconf_get_int(VCONF_TWC_FRAME_COUNT.c_str(), &frames);
    if (m_TwcPort < 0 || status != SRCWATCH_TWC_WAITING || sequence < 0 || frames < 1) return;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, SRCWATCH_TWC_TUNED);
}

/* ---- First-setup scan ---- */

void Service::BeginScan()
{
    for (int port = 0; port < m_HdmiCount; ++port) {
        Record record = m_Records.Get(port);
        record.scanState = SRCWATCH_SCAN_NOT_SCANNED;
        (void)m_Records.Set(port, record);  // most have not been scanned since they were plugged in
    }
}

bool Service::ScanPort(int port)
{
    m_Inputs.Look(port);
    if (!m_Inputs.IsPlugged(port)) {
        Record record = m_Records.Get(port);
        record.scanState = SRCWATCH_SCAN_EMPTY;
        (void)m_Records.Set(port, record);  // scanned before with the same result
        return false;
    }
    m_Inputs.ForgetSettling(port);
    SetDetecting(port, true);
    Detect(port, Cause::kCommand);
    return true;
}

void Service::ShowProgress(int value, int percent, int port)
{
    WriteNumber(VCONF_SCAN_RESULT, value);
    if (percent >= 0) m_Sender->SendEvent(SRCWATCH_EVENT_SCAN_PROGRESS, percent, port, 0);
}

void Service::AnnounceScanEnd(int result, int devicesFound)
{
    m_Sender->SendEvent(SRCWATCH_EVENT_SCAN_FINISHED, result, devicesFound, 0);
}

/* ---- Requests ---- */

bool Service::IsPort(int port) const { return port == OPTICAL_PORT || (port >= 0 && port < m_HdmiCount); }

std::vector<int> Service::Ports() const
{
    std::vector<int> ports(static_cast<std::size_t>(m_HdmiCount));
    std::iota(ports.begin(), ports.end(), 0);
    ports.push_back(OPTICAL_PORT);
    return ports;
}

// A broadcast of a request's type is heard too, but has no reply: what it would write stays in the stream.
void Service::Reply(srcwatch_event_s* event, Answer answer)
{
    auto* const reply = static_cast<std::stringstream*>(event->ptr_args[0]);
    if (!m_Begun || reply == nullptr || reply->tellp() > 0) return;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    *reply << Json::writeString(builder, (this->*answer)(event->args[0]));
}

Json::Value Service::AnswerStatus(int /*port*/)
{
    Json::Value answer;
    answer["version"] = SRCWATCH_VERSION;
    answer["inputs"] = m_HdmiCount;
    answer["plugged"] = Json::arrayValue;
    for (const int port : Ports()) {
        if (m_Inputs.IsPlugged(port)) answer["plugged"].append(port);
    }
    answer["profiles"] = static_cast<Json::UInt64>(m_Profiles.Count());
    answer["scan"]["state"] = m_Scan.StateText();
    answer["scan"]["percent"] = m_Scan.Percent();
    answer["scan"]["found"] = m_Scan.DevicesFound();
    answer["twc"]["port"] = m_TwcPort;
    return answer;
}

Json::Value Service::AnswerRecord(int port)
{
    if (!IsPort(port)) return Error("there is no port " + std::to_string(port));
    Json::Value answer;
    answer["port"] = port;
    answer["plugged"] = m_Inputs.IsPlugged(port);
    answer["record"] = Records::Stored(port);
    return answer;
}

Json::Value Service::AnswerForget(int port)
{
    if (IsPort(port)) (void)m_Records.Clear(port);  // it may have nothing to forget
    return AnswerRecord(port);
}

Json::Value Service::AnswerDeny(int port)
{
    if (!IsPort(port)) return AnswerRecord(port);
    Record record = m_Records.Get(port);
    if (!record.HasDevice()) return Error("nothing was detected on port " + std::to_string(port));
    if (record.denyCount < std::numeric_limits<int>::max()) ++record.denyCount;
    (void)m_Records.Set(port, record);  // differs by the count
    return AnswerRecord(port);
}

}  // namespace srcwatch
