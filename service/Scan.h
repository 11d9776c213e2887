// SPDX-License-Identifier: Apache-2.0
//
// The first-setup scan, which walks the HDMI inputs at a steady pace and can be stopped and resumed where it was.
#ifndef SRCWATCH_SERVICE_SCAN_H
#define SRCWATCH_SERVICE_SCAN_H

#include "Announcer.h"
#include "Detector.h"
#include "PortSet.h"
#include "Records.h"
#include "Timer.h"

namespace srcwatch {

class Scan {
public:
    Scan(unsigned stepMilliseconds, PortSet ports, Records& records, Detector& detector, Announcer& announcer,
         Settings& settings);

    void Start();
    void Stop();
    void Resume();

    /// Changes the time of each input, from the next step on.
    void SetStep(unsigned milliseconds) { m_stepMilliseconds = milliseconds; }

    /// "idle", "running" or "stopped".
    const char* StateText() const;
    bool IsRunning() const { return m_state == State::kRunning; }
    int Percent() const;
    int DevicesFound() const { return m_found; }

private:
    enum class State { kIdle, kRunning, kStopped };

    void Proceed();
    void Step();
    void End(State state, int result);
    void ShowProgress(int port);

    unsigned m_stepMilliseconds;
    const int m_inputs;
    Records& m_records;
    Detector& m_detector;
    Announcer& m_announcer;
    Settings& m_settings;
    State m_state = State::kIdle;
    int m_next = 0;  // the port to be scanned next; the number of inputs when all have been
    int m_found = 0;
    Timer m_timer;
};

}  // namespace srcwatch

#endif
