// SPDX-License-Identifier: Apache-2.0
//
// The SPD InfoFrame that a receiver's driver shows in a file, such as infoframes/spd of newer kernels in debugfs.
#ifndef SRCWATCH_SERVICE_SPDFILE_H
#define SRCWATCH_SERVICE_SPDFILE_H

#include "InputBackEnd.h"
#include "InputName.h"
#include "Timer.h"

#include <string>

namespace srcwatch {

/// Looks into the file of one port at an interval, because debugfs gives no notice. A device is plugged in while there
/// is a frame. What is wrong with the file is logged once, until it changes.
class SpdFile : public InputBackEnd {
public:
    SpdFile(int port, std::string path, unsigned intervalMilliseconds);

    std::string Start(InputListener& listener) override;
    bool IsPlugged(int port) const override { return port == m_port && !m_frame.empty(); }
    Evidence ReadEvidence(int port) const override { return EvidenceOf(ReadCapture(port), HdmiInput(port)); }
    Capture ReadCapture(int port) const override;
    void Refresh(int port) override;
    bool IsSettling(int port) const override { return port == m_port && m_settling.IsRunning(); }
    void CancelSettling(int port) override;
    void SettleLater(int port) override;

private:
    void Look();
    Bytes Read();

    const int m_port;
    const std::string m_path;
    const unsigned m_intervalMilliseconds;
    InputListener* m_listener = nullptr;
    Bytes m_frame;
    std::string m_complaint;
    Timer m_next;
    Timer m_settling;
};

}  // namespace srcwatch

#endif
