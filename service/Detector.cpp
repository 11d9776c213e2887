// SPDX-License-Identifier: Apache-2.0
#include "Detector.h"

#include "InputName.h"
#include "Log.h"
#include "OptionalPlatform.h"
#include "QDInfoNames.h"
#include "Settings.h"
#include "UnknownDevices.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include <vconf.h>

namespace srcwatch {

namespace {

using qdinfo::kStatisticsKey;

// How long a device that cannot be read is waited for, before it counts as what can be read of it.
constexpr int kPatienceMilliseconds = 3000;

// Logs one line for each file, with all its remarks.
void LogRemarks(int port, const Evidence& evidence)
{
    const Remarks remarks = evidence.AllRemarks();
    for (auto first = remarks.begin(); first != remarks.end();) {
        const std::string& file = first->file;
        const auto last = std::find_if(first, remarks.end(), [&](const Remark& remark) { return remark.file != file; });
        SWLOG(kLogWarn, "%s%s: %s%s", InputName(port).c_str(), (file.empty() ? "" : "/" + file).c_str(),
              evidence.IsRefused(file) ? "refused: " : "", InOneLine(Remarks(first, last)).c_str());
        first = last;
    }
}

}  // namespace

Detector::Detector(InputBackEnd& inputs, PortSet ports, Records& records, Settings& settings, Announcer& announcer,
                   DetectionLog& log, std::function<void(const std::string& reason)> onInputsLost)
    : m_inputs(inputs),
      m_ports(ports),
      m_records(records),
      m_settings(settings),
      m_announcer(announcer),
      m_log(log),
      m_onInputsLost(std::move(onInputsLost)),
      m_statistics(settings, kStatisticsKey, "saving the statistics"),
      m_unknown(settings, SRCWATCH_UNKNOWN_DEVICES_KEY, "saving the unknown devices"),
      m_pending(settings)
{
}

bool Detector::LoadProfiles(const std::vector<std::string>& paths)
{
    const bool wasComplete = m_profiles.IsComplete();
    m_profiles = Profiles();
    m_profilePaths.clear();
    for (const std::string& path : paths) {
        m_profiles.Load(path);
        std::error_code isGone;  // the working directory
        const std::string absolute = std::filesystem::absolute(path, isGone);
        m_profilePaths.push_back(isGone ? path : absolute);
    }
    if (!wasComplete && !m_profiles.IsComplete()) return false;  // which is logged
    for (const ProfileError& error : m_profiles.Errors()) SWLOG(kLogError, "profile %s", error.Text().c_str());
    SWLOG(kLogInfo, "%zu profile(s) loaded", m_profiles.Count());
    return m_profiles.IsComplete();
}

// If the store fails, the statistics that were read before count. An unreadable text is kept aside and replaced by
// empty statistics.
Statistics Detector::CurrentStatistics()
{
    static_cast<void>(LoadStatistics());
    if (m_statistics.Text().empty()) return {};
    StoredDocument document = Examine(kStatisticsKey, StoredKind::kStatistics, m_statistics.Text());
    if (document.root) return Statistics(std::move(*document.root));
    m_statistics.Save(Statistics().Text());  // also if the text cannot be kept, because statistics may be lost
    return {};
}

std::string Detector::Start()
{
    static_cast<void>(CurrentStatistics());  // replaces an unreadable text
    for (const int port : m_ports.All()) SetConnected(port, false);
    m_pending.Clear();
    std::string failure = m_inputs.Start(*this);
    if (!failure.empty()) return failure;
    for (const int port : m_ports.All()) {
        if (!IsPlugged(port) && m_records.Get(port).HasDevice()) OnUnplugged(port);
    }
    return "";
}

bool Detector::Scan(int port)
{
    m_inputs.Refresh(port);
    if (!IsPlugged(port)) {
        m_records.SetScanState(port, SRCWATCH_SCAN_EMPTY);
        return false;
    }
    m_inputs.CancelSettling(port);
    m_pending.Begin(port);
    Detect(port, Cause::kCommand);
    return true;
}

void Detector::DetectAgain()
{
    for (const int port : m_ports.All()) {
        if (!IsPlugged(port) || m_inputs.IsSettling(port)) continue;
        m_pending.Begin(port);
        Detect(port, Cause::kDevice);
    }
}

void Detector::OnPlugged(int port)
{
    SetConnected(port, true);
    m_pending.Begin(port);
    // A record with a device means that an earlier run of the service announced the device.
    if (!m_records.Get(port).HasDevice()) m_announcer.AnnounceConnection(port, true);
}

void Detector::OnUnplugged(int port)
{
    m_incomplete.erase(port);
    SetConnected(port, false);
    m_pending.End(port);
    m_records.Clear(port);
    m_announcer.AnnounceConnection(port, false);
}

void Detector::SetConnected(int port, bool connected)
{
    if (port == OPTICAL_PORT) return;                    // which the TV service does not watch
    if (srcwatch_host_set_connected == nullptr) return;  // the TV service sees the cables itself
    m_settings.Write("setting the cable of " + InputName(port), [port, connected] {
        return srcwatch_host_set_connected(qdinfo::HDMI_SOURCE_IDS[port], connected) == 0;
    });
}

// A device that cannot be read for the moment is read again until it can be. That is logged once.
bool Detector::IsAwaited(int port, const Evidence& evidence, Cause cause)
{
    if (evidence.isComplete) m_incomplete.erase(port);
    if (evidence.isComplete || m_incomplete.insert(port).second) LogRemarks(port, evidence);
    if (evidence.isComplete) return false;
    m_inputs.SettleLater(port);
    return cause == Cause::kDevice && m_pending.MillisecondsSince(port) < kPatienceMilliseconds;
}

void Detector::Detect(int port, Cause cause)
{
    const Evidence evidence = m_inputs.ReadEvidence(port);
    if (IsAwaited(port, evidence, cause)) return;
    const bool isKnown = !evidence.isComplete && m_records.Get(port).HasDevice();
    const Classification device = isKnown ? m_records.Get(port).device : Classify(evidence, m_profiles);
    if (evidence.isComplete && device.method != DetectionMethod::kProfile) KeepUnknown(port, evidence);
    Statistics statistics = CurrentStatistics();
    Record record = ComposeRecord(port, m_records.Get(port), device, statistics,
                                  [&](int other) { return IsOccupied(other, device); });
    if (cause == Cause::kCommand) record.scanState = SRCWATCH_SCAN_FOUND;

    if (m_records.Set(port, record) || cause == Cause::kCommand) {
        statistics.Add(port, device, m_pending.MillisecondsSince(port));
        m_statistics.Save(statistics.Text());
        m_log.Write({Occasion::kDetected, port, statistics.LastOn(port), record.denyCount});
        SWLOG(kLogInfo, "%s: type %d by %s", InputName(port).c_str(), device.deviceType,
              DetectionMethodText(static_cast<int>(device.method)).c_str());
        m_records.CallWhenSaved(port, [this, port] {
            if (m_records.Get(port).HasDevice()) m_announcer.AnnounceDevice(port, m_records.Get(port));
        });
    } else if (statistics.Refresh(port, device)) {
        m_statistics.Save(statistics.Text());
    }
    m_pending.End(port);
}

void Detector::LogDenial(int port)
{
    m_log.Write({Occasion::kDenied, port, CurrentStatistics().LastOn(port), m_records.Get(port).denyCount});
}

// If that fails, the device is kept when it is detected again. A text that is too large stays.
void Detector::KeepUnknown(int port, const Evidence& evidence)
{
    const ReadResult result = m_unknown.Load();
    if (result == ReadResult::kFailed || result == ReadResult::kTooLarge) return;
    UnknownDevices devices(m_unknown.Text());
    if (!devices.AreAll() && !KeepAside(SRCWATCH_UNKNOWN_DEVICES_KEY, m_unknown.Text(), "not a list of devices"))
        return;
    if (devices.Add(port, ComposeCapture(evidence)) || !devices.AreAll()) m_unknown.Save(devices.Text());
}

bool Detector::IsOccupied(int port, const Classification& device) const
{
    return IsPlugged(port) && IdentityOf(m_records.Get(port).device).Matches(IdentityOf(device));
}

}  // namespace srcwatch
