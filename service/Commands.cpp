// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "QDInfoSettingUtil.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

#include <utility>

namespace srcwatch {

namespace {

constexpr int kTwcPorts = 8;
constexpr int kMbrModeReady = 1;

bool IsTwcPort(int port) { return port >= 0 && port < kTwcPorts; }

}  // namespace

Commands::Commands(unsigned scanStepMilliseconds, PortSet ports, Records& records, Detector& detector,
                   Announcer& announcer, Settings& settings, std::function<void()> loadProfiles)
    : m_scanStepMilliseconds(scanStepMilliseconds),
      m_ports(ports),
      m_records(records),
      m_detector(detector),
      m_announcer(announcer),
      m_settings(settings),
      m_loadProfiles(std::move(loadProfiles)),
      m_scan(scanStepMilliseconds, ports, records, detector, announcer, settings),
      m_twc(settings)
{
}

void Commands::SetScanStep(unsigned milliseconds)
{
    m_scanStepMilliseconds = milliseconds;
    m_scan.SetStep(milliseconds);
}

void Commands::Reset()
{
    m_settings.WriteNumber(VCONF_SCAN_RESULT, 0);
    m_twc.Reset();
}

void Commands::Handle(int command)
{
    switch (command) {
        case SCAN_COMMAND_OOBE_START:
            return m_scan.Start();
        case SCAN_COMMAND_OOBE_STOP:
            return m_scan.Stop();
        case SCAN_COMMAND_OOBE_RESUME:
            return m_scan.Resume();
        case SCAN_COMMAND_OPTICAL_START:
            return StartOpticalScan();
        case SCAN_COMMAND_OPTICAL_STOP:
            return StopOpticalScan();
        case SCAN_COMMAND_MBR_DOWNLOAD_FINISHED:
            return HandleMbrDownloadFinished();
        default:
            break;
    }
    const int started = command - SCAN_COMMAND_TWC_CHECK_START;
    if (IsTwcPort(started)) return m_twc.Start(started, IsSetTopBox(started));
    const int ended = command - SCAN_COMMAND_TWC_CHECK_END;
    if (IsTwcPort(ended)) return m_twc.End(ended);
    SWLOG(kLogError, "unknown command %d", command);
}

void Commands::StopScan()
{
    if (m_scan.IsRunning()) m_scan.Stop();
}

void Commands::StartOpticalScan()
{
    m_announcer.AnnounceScanProgress(0, OPTICAL_PORT);
    m_opticalScan.Start(m_scanStepMilliseconds, [this] { EndOpticalScan(); });
}

void Commands::StopOpticalScan()
{
    if (!m_opticalScan.IsRunning()) {
        SWLOG(kLogWarn, "no optical scan to stop");
        return;
    }
    m_opticalScan.Stop();
    m_announcer.AnnounceScanEnd(SRCWATCH_SCAN_STOPPED, 0, OPTICAL_PORT);
}

void Commands::EndOpticalScan()
{
    const bool found = m_detector.Scan(OPTICAL_PORT);
    m_announcer.AnnounceScanEnd(found ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND, found ? 1 : 0, OPTICAL_PORT);
}

// The codesets come with new profiles, by which more may be known about the plugged devices.
void Commands::HandleMbrDownloadFinished()
{
    m_settings.Attain("writing the MBR mode", [] {
        CQDInfoSettingUtil::SetQDInfoMode(kMbrModeReady);
        return CQDInfoSettingUtil::GetQDInfoMode() == kMbrModeReady;
    });
    m_loadProfiles();
}

bool Commands::IsSetTopBox(int port) const
{
    return m_ports.Has(port) && m_records.Get(port).device.deviceType == SRCWATCH_DEVICE_SET_TOP_BOX;
}

}  // namespace srcwatch
