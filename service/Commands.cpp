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

bool IsTwcCommand(int command, int first) { return command >= first && command < first + kTwcPorts; }

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
        case kScanStart:
            return m_Scan.Start();
        case kScanStop:
            return m_Scan.Stop();
        case kScanResume:
            return m_Scan.Resume();
        case kOpticalStart:
            return StartOpticalScan();
        case kOpticalStop:
            return StopOpticalScan();
        case kMbrDownloadFinished:
            return HandleMbrDownloadFinished();
        default:
            break;
    }
    if (IsTwcCommand(command, kTwcStart)) return m_Twc.Start(command - kTwcStart, IsSetTopBox(command - kTwcStart));
    if (IsTwcCommand(command, kTwcEnd)) return m_Twc.End(command - kTwcEnd);
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
