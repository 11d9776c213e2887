// SPDX-License-Identifier: Apache-2.0
#include "Detector.h"

#include "Evidence.h"
#include "InputName.h"
#include "Log.h"
#include "QDInfoNames.h"
#include "Settings.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <utility>

namespace srcwatch {

namespace {

void SetConnected(int port, bool connected)
{
    if (port == OPTICAL_PORT) return;  // which the TV service does not watch
    if (srcwatch_host_set_connected(qdinfo::HDMI_SOURCE_IDS[port], connected) != 0) {
        SWLOG(DLOG_ERROR, "the connection state of HDMI %d could not be set", port + 1);
    }
}

// Logs one line for each file, with all its remarks.
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

}  // namespace

Detector::Detector(unsigned quietMilliseconds, PortSet ports, Records& records, Announcer& announcer,
                   std::function<void()> onInputsLost)
    : m_ports(ports),
      m_records(records),
      m_announcer(announcer),
      m_onInputsLost(std::move(onInputsLost)),
      m_inputs(quietMilliseconds, ports, *this)
{
}

void Detector::LoadProfiles(const std::vector<std::string>& paths)
{
    m_profiles = Profiles();
    for (const std::string& path : paths) m_profiles.Load(path);
    for (const ProfileError& error : m_profiles.Errors()) SWLOG(DLOG_ERROR, "profile %s", error.Text().c_str());
    SWLOG(DLOG_INFO, "%zu profile(s) loaded", m_profiles.Count());
}

std::string Detector::Start(const std::string& inputs)
{
    for (const int port : m_ports.All()) SetConnected(port, false);
    m_pending.Clear();
    std::string failure = m_inputs.Start(inputs);
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
    SetConnected(port, false);
    m_pending.End(port);
    m_records.Clear(port);
    m_announcer.AnnounceConnection(port, false);
}

void Detector::Detect(int port, Cause cause)
{
    const Evidence evidence = ReadEvidence(m_inputs.DirectoryOf(port));
    LogRemarks(port, evidence);
    const Classification device = Classify(evidence, m_profiles);
    Statistics statistics = LoadStatistics();
    Record record = ComposeRecord(port, m_records.Get(port), device, statistics,
                                  [&](int other) { return IsOccupied(other, device); });
    if (cause == Cause::kCommand) record.scanState = SRCWATCH_SCAN_FOUND;

    if (m_records.Set(port, record) || cause == Cause::kCommand) {
        statistics.Add(port, device, m_pending.MillisecondsSince(port));
        SaveStatistics(statistics);
        SWLOG(DLOG_INFO, "%s: type %d by %s", InputName(port).c_str(), device.deviceType,
              DetectionMethodText(static_cast<int>(device.method)).c_str());
        m_announcer.AnnounceDevice(port, record);
    }
    m_pending.End(port);
}

bool Detector::IsOccupied(int port, const Classification& device) const
{
    return IsPlugged(port) && IdentityOf(m_records.Get(port).device).Matches(IdentityOf(device));
}

}  // namespace srcwatch
