// SPDX-License-Identifier: Apache-2.0
//
// From what happens on the inputs to records, statistics and events.
#ifndef SRCWATCH_SERVICE_DETECTOR_H
#define SRCWATCH_SERVICE_DETECTOR_H

#include "Announcer.h"
#include "Inputs.h"
#include "PendingDetections.h"
#include "PortSet.h"
#include "Profiles.h"
#include "Records.h"

#include <functional>
#include <string>
#include <vector>

namespace srcwatch {

class Detector : private InputsListener {
public:
    /// @param onInputsLost  Called when the inputs directory is gone.
    Detector(unsigned quietMilliseconds, PortSet ports, Records& records, Announcer& announcer,
             std::function<void()> onInputsLost);

    /// Replace the profiles by those of files or directories; the first wins.
    void LoadProfiles(const std::vector<std::string>& paths);
    std::size_t ProfileCount() const { return m_profiles.Count(); }

    /// Begin to watch the inputs; clears what was unplugged while no service ran. @return Why it is not possible, or
    /// empty.
    std::string Start(const std::string& inputs);

    bool IsPlugged(int port) const { return m_inputs.IsPlugged(port); }

    /// Look at an input now and detect its device, as commanded. @return Whether it has one.
    bool Scan(int port);

    /// Detect again what is plugged in, as with other profiles.
    void DetectAgain();

    /// Show that nothing is being detected any more.
    void Withdraw() { m_pending.Clear(); }

private:
    enum class Cause { kDevice, kCommand };

    void OnPlugged(int port) override;
    void OnUnplugged(int port) override;
    void OnSettled(int port) override { Detect(port, Cause::kDevice); }
    void OnInputsLost() override { m_onInputsLost(); }

    void Detect(int port, Cause cause);
    bool IsOccupied(int port, const Classification& device) const;

    const PortSet m_ports;
    Records& m_records;
    Announcer& m_announcer;
    const std::function<void()> m_onInputsLost;
    Profiles m_profiles;
    PendingDetections m_pending;
    Inputs m_inputs;
};

}  // namespace srcwatch

#endif
