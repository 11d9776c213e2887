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
    : m_StepMilliseconds(stepMilliseconds),
      m_Inputs(ports.hdmiCount),
      m_Records(records),
      m_Detector(detector),
      m_Announcer(announcer)
{
}

void Scan::Start()
{
    m_Next = 0;
    m_Found = 0;
    if (m_Inputs < 1) {
        SWLOG(DLOG_ERROR, "the scan failed: the number of HDMI inputs is not known");
        return End(State::kIdle, SRCWATCH_SCAN_FAILED);
    }
    for (int port = 0; port < m_Inputs; ++port) {
        Record record = m_Records.Get(port);
        record.scanState = SRCWATCH_SCAN_NOT_SCANNED;
        (void)m_Records.Set(port, record);  // most have not been scanned since they were plugged in
    }
    Proceed();
}

void Scan::Stop()
{
    if (m_State == State::kRunning) return End(State::kStopped, SRCWATCH_SCAN_STOPPED);
    SWLOG(DLOG_WARN, "no scan runs that could be stopped");
}

void Scan::Resume()
{
    if (m_State == State::kStopped) return Proceed();
    SWLOG(DLOG_WARN, "no scan was stopped that could be resumed");
}

void Scan::Proceed()
{
    m_State = State::kRunning;
    ShowProgress(m_Next < m_Inputs ? m_Next : m_Inputs - 1);
    m_Timer.Start(m_StepMilliseconds, [this] { Step(); });
}

void Scan::Step()
{
    if (m_Next == m_Inputs) return End(State::kIdle, m_Found > 0 ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND);
    const int port = m_Next++;
    if (m_Detector.Scan(port)) ++m_Found;
    ShowProgress(port);
    if (m_Next == m_Inputs && m_Found > 0) WriteNumber(VCONF_SCAN_RESULT, m_Found);
    m_Timer.Start(m_StepMilliseconds, [this] { Step(); });
}

void Scan::End(State state, int result)
{
    m_Timer.Stop();
    m_State = state;
    WriteNumber(VCONF_SCAN_RESULT, result);
    m_Announcer.ScanFinished(result, m_Found, 0);
}

void Scan::ShowProgress(int port)
{
    WriteNumber(VCONF_SCAN_RESULT, kProgressBase + Percent());
    m_Announcer.ScanProgress(Percent(), port);
}

const char* Scan::StateText() const
{
    switch (m_State) {
        case State::kRunning:
            return "running";
        case State::kStopped:
            return "stopped";
        default:
            return "idle";
    }
}

int Scan::Percent() const { return m_Inputs < 1 ? 0 : kPercentWhenWalked * m_Next / m_Inputs; }

}  // namespace srcwatch
