// SPDX-License-Identifier: Apache-2.0
//
// The +5 V on the HDMI inputs of a receiver, which a plugged device that is on supplies: V4L2_CID_DV_RX_POWER_PRESENT
// of its video device (linux/v4l2-controls.h).
#ifndef SRCWATCH_SERVICE_RECEIVERPOWER_H
#define SRCWATCH_SERVICE_RECEIVERPOWER_H

#include "DeviceCalls.h"
#include "InputBackEnd.h"
#include "InputName.h"
#include "PortSet.h"
#include "Timer.h"

#include <map>
#include <string>

namespace srcwatch {

/// Asks the driver at an interval, because not every one has an event for it. A device is plugged in while its input
/// has +5 V; it says nothing about itself here, so it is left some time for what others know of it. A video device that
/// is not there or does not know is logged once and tried again; it has no device on any input.
class ReceiverPower : public InputBackEnd {
public:
    struct Times {
        unsigned interval = 1000;  ///< in milliseconds
        unsigned settling = 3000;  ///< from +5 V until the device is detected
    };

    ReceiverPower(std::string path, const Times& times, PortSet ports, DeviceCalls& calls);
    ~ReceiverPower() override { Close(); }
    ReceiverPower(const ReceiverPower&) = delete;
    ReceiverPower& operator=(const ReceiverPower&) = delete;

    std::string Start(InputListener& listener) override;
    bool IsPlugged(int port) const override;
    Evidence ReadEvidence(int port) const override { return EvidenceOf({}, HdmiInput(port)); }
    Capture ReadCapture(int /*port*/) const override { return {}; }
    void Refresh(int port) override;
    bool IsSettling(int port) const override;
    void CancelSettling(int port) override;
    void SettleLater(int port) override;

private:
    void Look();
    unsigned ReadInputs();
    unsigned Fail(const std::string& what, int error);
    void SetPower(int port, bool hasPower);
    void Close();

    const std::string m_path;
    const Times m_times;
    DeviceCalls& m_calls;
    InputListener* m_listener = nullptr;
    int m_descriptor = -1;
    unsigned m_inputs = 0;  // those with +5 V, a bit each; the lowest is HDMI 1
    std::string m_complaint;
    std::map<int, Timer> m_settling;  // by port
    Timer m_next;
};

}  // namespace srcwatch

#endif
