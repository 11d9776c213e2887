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
                   Announcer& announcer, std::function<void()> loadProfiles)
    : m_ScanStepMilliseconds(scanStepMilliseconds),
      m_Ports(ports),
      m_Records(records),
      m_Detector(detector),
      m_Announcer(announcer),
      m_LoadProfiles(std::move(loadProfiles)),
      m_Scan(scanStepMilliseconds, ports, records, detector, announcer)
{
}

void Commands::Reset()
{
    WriteNumber(VCONF_SCAN_RESULT, 0);
    m_Twc.Reset();
}

void Commands::Handle(int command)
{
    switch (command) {
        case SCAN_COMMAND_OOBE_START:
            return m_Scan.Start();
        case SCAN_COMMAND_OOBE_STOP:
            return m_Scan.Stop();
        case SCAN_COMMAND_OOBE_RESUME:
            return m_Scan.Resume();
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
    if (IsTwcPort(started)) return m_Twc.Start(started, IsSetTopBox(started));
    const int ended = command - SCAN_COMMAND_TWC_CHECK_END;
    if (IsTwcPort(ended)) return m_Twc.End(ended);
    SWLOG(DLOG_ERROR, "unknown command %d", command);
}

void Commands::Withdraw()
{
    if (m_Scan.IsRunning()) m_Scan.Stop();
}

void Commands::StartOpticalScan()
{
    m_Announcer.ScanProgress(0, OPTICAL_PORT);
    m_OpticalScan.Start(m_ScanStepMilliseconds, [this] { EndOpticalScan(); });
}

void Commands::StopOpticalScan()
{
    if (!m_OpticalScan.IsRunning()) {
        SWLOG(DLOG_WARN, "no optical scan runs that could be stopped");
        return;
    }
    m_OpticalScan.Stop();
    m_Announcer.ScanFinished(SRCWATCH_SCAN_STOPPED, 0, OPTICAL_PORT);
}

void Commands::EndOpticalScan()
{
    const bool found = m_Detector.Scan(OPTICAL_PORT);
    m_Announcer.ScanFinished(found ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND, found ? 1 : 0, OPTICAL_PORT);
}

// The codesets come with new profiles: what is plugged may be known better now.
void Commands::HandleMbrDownloadFinished()
{
    CQDInfoSettingUtil::SetQDInfoMode(kMbrModeReady);
    m_LoadProfiles();
    m_Detector.DetectAgain();
}

bool Commands::IsSetTopBox(int port) const
{
    return m_Ports.Has(port) && m_Records.Get(port).device.deviceType == SRCWATCH_DEVICE_SET_TOP_BOX;
}

}  // namespace srcwatch
