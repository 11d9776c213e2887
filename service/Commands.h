// SPDX-License-Identifier: Apache-2.0
//
// What applications command: scans, the TWC check, new profiles.
#ifndef SRCWATCH_SERVICE_COMMANDS_H
#define SRCWATCH_SERVICE_COMMANDS_H

#include "Announcer.h"
#include "Detector.h"
#include "PortSet.h"
#include "Records.h"
#include "Scan.h"
#include "Timer.h"
#include "Twc.h"

#include <functional>

namespace srcwatch {

class Commands {
public:
    /// @param loadProfiles  Loads the profiles and has the plugged devices detected again.
    Commands(unsigned scanStepMilliseconds, PortSet ports, Records& records, Detector& detector, Announcer& announcer,
             Settings& settings, std::function<void()> loadProfiles);

    /// Shows applications that no command is at work.
    void Reset();

    /// Executes a command, as the library writes it to the command key.
    void Handle(int command);

    /// To be called after each write to the setting that a tuned channel is reported in.
    void HandleTunedChannel() { m_twc.HandleTunedChannel(); }

    /// Changes the time that scans take for each input, from their next step on.
    void SetScanStep(unsigned milliseconds);

    /// Stops the first-setup scan if it runs.
    void StopScan();

    const Scan& FirstSetupScan() const { return m_scan; }
    int TwcPort() const { return m_twc.Port(); }

private:
    void StartOpticalScan();
    void StopOpticalScan();
    void EndOpticalScan();
    void HandleMbrDownloadFinished();
    bool IsSetTopBox(int port) const;

    unsigned m_scanStepMilliseconds;
    const PortSet m_ports;
    Records& m_records;
    Detector& m_detector;
    Announcer& m_announcer;
    Settings& m_settings;
    const std::function<void()> m_loadProfiles;
    Scan m_scan;
    Timer m_opticalScan;
    Twc m_twc;
};

}  // namespace srcwatch

#endif
