// SPDX-License-Identifier: Apache-2.0
#include "Scan.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

namespace srcwatch {

namespace {

// The progress key: 100 plus the percentage while inputs are scanned, then the number of devices found, then 0.
constexpr int kProgressBase = 100;
constexpr int kPercentWhenWalked = 90;

}  // namespace

Scan::Scan(unsigned stepMilliseconds, PortSet ports, Records& records, Detector& detector, Announcer& announcer)
    : m_stepMilliseconds(stepMilliseconds),
      m_inputs(ports.hdmiCount),
      m_records(records),
      m_detector(detector),
      m_announcer(announcer)
{
}

void Scan::Start()
{
    m_next = 0;
    m_found = 0;
    if (m_inputs < 1) {
        SWLOG(DLOG_ERROR, "the scan failed: the number of HDMI inputs is not known");
        return End(State::kIdle, SRCWATCH_SCAN_FAILED);
    }
    for (int port = 0; port < m_inputs; ++port) {
        Record record = m_records.Get(port);
        record.scanState = SRCWATCH_SCAN_NOT_SCANNED;
        (void)m_records.Set(port, record);  // most have not been scanned since they were plugged in
    }
    Proceed();
}

void Scan::Stop()
{
    if (m_state == State::kRunning) return End(State::kStopped, SRCWATCH_SCAN_STOPPED);
    SWLOG(DLOG_WARN, "no scan runs that could be stopped");
}

void Scan::Resume()
{
    if (m_state == State::kStopped) return Proceed();
    SWLOG(DLOG_WARN, "no scan was stopped that could be resumed");
}

void Scan::Proceed()
{
    m_state = State::kRunning;
    ShowProgress(m_next < m_inputs ? m_next : m_inputs - 1);
    m_timer.Start(m_stepMilliseconds, [this] { Step(); });
}

void Scan::Step()
{
    if (m_next == m_inputs) return End(State::kIdle, m_found > 0 ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND);
    const int port = m_next++;
    if (m_detector.Scan(port)) ++m_found;
    ShowProgress(port);
    if (m_next == m_inputs && m_found > 0) WriteNumber(VCONF_SCAN_RESULT, m_found);
    m_timer.Start(m_stepMilliseconds, [this] { Step(); });
}

void Scan::End(State state, int result)
{
    m_timer.Stop();
    m_state = state;
    WriteNumber(VCONF_SCAN_RESULT, result);
    m_announcer.ScanFinished(result, m_found, 0);
}

void Scan::ShowProgress(int port)
{
    WriteNumber(VCONF_SCAN_RESULT, kProgressBase + Percent());
    m_announcer.ScanProgress(Percent(), port);
}

const char* Scan::StateText() const
{
    switch (m_state) {
        case State::kRunning:
            return "running";
        case State::kStopped:
            return "stopped";
        default:
            return "idle";
    }
}

int Scan::Percent() const { return m_inputs < 1 ? 0 : kPercentWhenWalked * m_next / m_inputs; }

}  // namespace srcwatch
