// SPDX-License-Identifier: Apache-2.0
#include "Scan.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

#include <algorithm>

namespace srcwatch {

namespace {

// The progress key: 100 plus the percentage while inputs are scanned, then the number of devices found, then 0.
constexpr int kProgressBase = 100;
constexpr int kPercentWhenWalked = 90;

}  // namespace

Scan::Scan(unsigned stepMilliseconds, PortSet ports, Records& records, Detector& detector, Announcer& announcer,
           Settings& settings)
    : m_stepMilliseconds(stepMilliseconds),
      m_inputs(ports.hdmiCount),
      m_records(records),
      m_detector(detector),
      m_announcer(announcer),
      m_settings(settings)
{
}

void Scan::Start()
{
    m_next = 0;
    m_found = 0;
    if (m_inputs < 1) {
        SWLOG(kLogError, "the scan failed: the number of HDMI inputs is unknown");
        return End(State::kIdle, SRCWATCH_SCAN_FAILED);
    }
    for (int port = 0; port < m_inputs; ++port) m_records.SetScanState(port, SRCWATCH_SCAN_NOT_SCANNED);
    Proceed();
}

void Scan::Stop()
{
    if (m_state == State::kRunning) return End(State::kStopped, SRCWATCH_SCAN_STOPPED);
    SWLOG(kLogWarn, "no scan to stop");
}

void Scan::Resume()
{
    if (m_state == State::kStopped) return Proceed();
    SWLOG(kLogWarn, "no stopped scan to resume");
}

void Scan::Proceed()
{
    m_state = State::kRunning;
    ShowProgress(std::min(m_next, m_inputs - 1));
    m_timer.Start(m_stepMilliseconds, [this] { Step(); });
}

void Scan::Step()
{
    if (m_next == m_inputs) return End(State::kIdle, m_found > 0 ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND);
    const int port = m_next++;
    if (m_detector.Scan(port)) ++m_found;
    ShowProgress(port);
    if (m_next == m_inputs && m_found > 0) m_settings.WriteNumber(VCONF_SCAN_RESULT, m_found);
    m_timer.Start(m_stepMilliseconds, [this] { Step(); });
}

void Scan::End(State state, int result)
{
    m_timer.Stop();
    m_state = state;
    m_settings.WriteNumber(VCONF_SCAN_RESULT, result);
    m_announcer.AnnounceScanEnd(result, m_found, 0);
}

void Scan::ShowProgress(int port)
{
    m_settings.WriteNumber(VCONF_SCAN_RESULT, kProgressBase + Percent());
    m_announcer.AnnounceScanProgress(Percent(), port);
}

const char* Scan::StateText() const
{
    if (m_state == State::kRunning) return "running";
    return m_state == State::kStopped ? "stopped" : "idle";
}

int Scan::Percent() const { return m_inputs < 1 ? 0 : kPercentWhenWalked * m_next / m_inputs; }

}  // namespace srcwatch
