// SPDX-License-Identifier: Apache-2.0
//
// The first-setup scan: walks the HDMI inputs at a steady pace; can be stopped and resumed where it was.
#ifndef SRCWATCH_SERVICE_SCAN_H
#define SRCWATCH_SERVICE_SCAN_H

#include "Glib.h"

namespace srcwatch {

/// What the scan has done for it.
class ScanHost {
public:
    virtual ~ScanHost() = default;
    /// A scan begins anew.
    virtual void BeginScan() = 0;
    /// Look at an input and detect its device. @return Whether it has one.
    virtual bool ScanPort(int port) = 0;
    /// Show the progress, in the form in which applications read it, and announce it when percent is not negative.
    virtual void ShowProgress(int value, int percent, int port) = 0;
    virtual void AnnounceScanEnd(int result, int devicesFound) = 0;
};

class Scan {
public:
    Scan(unsigned stepMilliseconds, int inputs, ScanHost& host);

    void Start();
    void Stop();
    void Resume();

    /// "idle", "running" or "stopped".
    const char* StateText() const;
    bool IsRunning() const { return m_State == State::kRunning; }
    int Percent() const;
    int DevicesFound() const { return m_Found; }

private:
    enum class State { kIdle, kRunning, kStopped };

    void Proceed();
    void Step();
    void End();

    const unsigned m_StepMilliseconds;
    const int m_Inputs;
    ScanHost& m_Host;
    State m_State = State::kIdle;
    int m_Next = 0;  // the port to be scanned next; the number of inputs when all have been
    int m_Found = 0;
    Timer m_Timer;
};

}  // namespace srcwatch

#endif
