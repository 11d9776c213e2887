// SPDX-License-Identifier: Apache-2.0
//
// Turns what happens on the inputs into records, statistics and events.
#ifndef SRCWATCH_SERVICE_DETECTOR_H
#define SRCWATCH_SERVICE_DETECTOR_H

#include "Announcer.h"
#include "DetectionLog.h"
#include "Evidence.h"
#include "InputBackEnd.h"
#include "KeptText.h"
#include "PendingDetections.h"
#include "PortSet.h"
#include "Profiles.h"
#include "Records.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace srcwatch {

class Detector : private InputListener {
public:
    /// @param onInputsLost  Called with the reason when nothing can happen on the inputs any more.
    Detector(InputBackEnd& inputs, PortSet ports, Records& records, Settings& settings, Announcer& announcer,
             DetectionLog& log, std::function<void(const std::string& reason)> onInputsLost);

    /// Replaces the profiles by those of files or directories; the first match wins. @return False if some could not be
    /// read that may be readable later.
    bool LoadProfiles(const std::vector<std::string>& paths);
    std::size_t ProfileCount() const { return m_profiles.Count(); }
    const std::vector<std::string>& ProfilePaths() const { return m_profilePaths; }

    /// Reads the detection statistics. @return False if the store cannot be read.
    bool LoadStatistics() { return m_statistics.Load() != ReadResult::kFailed; }

    /// Reads the devices that no profile matched. @return False if the store cannot be read.
    bool LoadUnknown() { return m_unknown.Load() != ReadResult::kFailed; }

    /// Starts to watch the inputs, and clears the records of devices that were unplugged while no service ran.
    /// @return Why that is not possible, or empty.
    std::string Start();

    bool IsPlugged(int port) const { return m_inputs.IsPlugged(port); }

    /// Returns what the device on a port says about itself; nothing if there is none.
    Capture ReadCapture(int port) const { return IsPlugged(port) ? m_inputs.ReadCapture(port) : Capture(); }

    /// Examines an input now and detects its device, as commanded. @return True if it has one.
    bool Scan(int port);

    /// Detects the plugged devices again, as with other profiles.
    void DetectAgain();

    /// Writes to the log of detections that a viewer has denied what was detected on a port.
    void LogDenial(int port);

    /// Shows applications that nothing is being detected any more.
    void ClearPending() { m_pending.Clear(); }

private:
    enum class Cause { kDevice, kCommand };

    void OnPlugged(int port) override;
    void OnUnplugged(int port) override;
    void OnSettled(int port) override { Detect(port, Cause::kDevice); }
    void OnInputsLost(const std::string& reason) override { m_onInputsLost(reason); }

    void Detect(int port, Cause cause);
    bool IsAwaited(int port, const Evidence& evidence, Cause cause);
    void KeepUnknown(int port, const Evidence& evidence);
    void SetConnected(int port, bool connected);
    Statistics CurrentStatistics();
    bool IsOccupied(int port, const Classification& device) const;

    InputBackEnd& m_inputs;
    const PortSet m_ports;
    Records& m_records;
    Settings& m_settings;
    Announcer& m_announcer;
    DetectionLog& m_log;
    const std::function<void(const std::string& reason)> m_onInputsLost;
    Profiles m_profiles;
    std::vector<std::string> m_profilePaths;  // absolute
    KeptText m_statistics;
    KeptText m_unknown;  // devices
    PendingDetections m_pending;
    std::set<int> m_incomplete;  // ports whose device cannot be read for the moment
};

}  // namespace srcwatch

#endif
