// SPDX-License-Identifier: Apache-2.0
#include "Scan.h"

#include "Log.h"
#include "srcwatch-protocol.h"

namespace srcwatch {

namespace {

// The progress key: 100 plus the percentage while inputs are scanned, then the number of devices found, then 0.
constexpr int kProgressBase = 100;
constexpr int kPercentWhenWalked = 90;
constexpr int kNotAnnounced = -1;

}  // namespace

Scan::Scan(unsigned stepMilliseconds, int inputs, ScanHost& host)
    : m_StepMilliseconds(stepMilliseconds), m_Inputs(inputs), m_Host(host)
{
}

void Scan::Start()
{
    m_Timer.Stop();
    m_Next = 0;
    m_Found = 0;
    if (m_Inputs < 1) {
        m_State = State::kIdle;
        SWLOG(DLOG_ERROR, "the scan failed: the number of HDMI inputs is not known");
        m_Host.ShowProgress(SRCWATCH_SCAN_FAILED, kNotAnnounced, 0);
        m_Host.AnnounceScanEnd(SRCWATCH_SCAN_FAILED, 0);
        return;
    }
    m_Host.BeginScan();
    Proceed();
}

void Scan::Stop()
{
    if (m_State != State::kRunning) {
        SWLOG(DLOG_WARN, "no scan runs that could be stopped");
        return;
    }
    m_Timer.Stop();
    m_State = State::kStopped;
    m_Host.ShowProgress(SRCWATCH_SCAN_STOPPED, kNotAnnounced, m_Next);
    m_Host.AnnounceScanEnd(SRCWATCH_SCAN_STOPPED, m_Found);
}

void Scan::Resume()
{
    if (m_State != State::kStopped) {
        SWLOG(DLOG_WARN, "no scan was stopped that could be resumed");
        return;
    }
    Proceed();
}

void Scan::Proceed()
{
    m_State = State::kRunning;
    m_Host.ShowProgress(kProgressBase + Percent(), Percent(), m_Next < m_Inputs ? m_Next : m_Inputs - 1);
    m_Timer.Start(m_StepMilliseconds, [this] { Step(); });
}

void Scan::Step()
{
    if (m_Next == m_Inputs) return End();
    const int port = m_Next++;
    if (m_Host.ScanPort(port)) ++m_Found;
    m_Host.ShowProgress(kProgressBase + Percent(), Percent(), port);
    if (m_Next == m_Inputs && m_Found > 0) m_Host.ShowProgress(m_Found, kNotAnnounced, port);
    m_Timer.Start(m_StepMilliseconds, [this] { Step(); });
}

void Scan::End()
{
    m_State = State::kIdle;
    const int result = m_Found > 0 ? SRCWATCH_SCAN_DONE : SRCWATCH_SCAN_NOTHING_FOUND;
    m_Host.ShowProgress(result, kNotAnnounced, 0);
    m_Host.AnnounceScanEnd(result, m_Found);
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
