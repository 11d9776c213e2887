// SPDX-License-Identifier: Apache-2.0
//
// The devices on the bus of a CEC adapter: who is there, what they say about themselves, and on which input they are.
#ifndef SRCWATCH_SERVICE_CECINPUTS_H
#define SRCWATCH_SERVICE_CECINPUTS_H

#include "CecAdapter.h"
#include "DeviceCalls.h"
#include "InputBackEnd.h"
#include "InputName.h"
#include "PortSet.h"
#include "Timer.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace srcwatch {

/**
 * Polls the addresses of the bus one after the other, in rounds. A device that answers is asked what it is, one
 * question on the bus at a time; it is on the input that its physical address begins with. Two polls in a row without
 * an answer mean that it is gone, because no message does.
 *
 * Where all messages are heard, a round has the known devices only. Every sixth round is a full one: it has all
 * addresses, and all devices are asked everything again, so that an answer that is missing or has changed comes at
 * last.
 */
class CecInputs : public InputBackEnd, private CecListener {
public:
    CecInputs(std::string path, const CecTimes& times, unsigned quietMilliseconds, PortSet ports, DeviceCalls& calls);

    std::string Start(InputListener& listener) override;
    bool IsPlugged(int port) const override;
    Evidence ReadEvidence(int port) const override { return EvidenceOf(ReadCapture(port), HdmiInput(port)); }
    Capture ReadCapture(int port) const override;
    void Refresh(int port) override;
    bool IsSettling(int port) const override;
    void CancelSettling(int port) override { m_inputs.at(port).settling.Stop(); }
    void SettleLater(int port) override;

private:
    // Of a kind of messages the last one counts; of <Feature Abort>, for each message that was refused.
    using Kind = std::pair<std::uint8_t, std::uint8_t>;
    struct Device {
        std::map<Kind, Bytes> said;
        std::optional<int> port;
        std::size_t question = 0;  // the next one
        std::string missing;       // what it has not answered of those before
        std::string complaint;     // that was logged last
        bool isNews = false;       // it has said something new since it was asked first
        bool isSilent = false;     // it has not answered its last poll
        bool isToBeAsked = false;  // at its next poll
    };

    struct Input {
        Timer settling;
        gint64 due = 0;  // of the timer, in milliseconds
    };

    void OnReady() override { LookAgain(); }
    void OnLost() override;
    void OnMessage(const Bytes& message) override;
    void OnMissed() override { LookAgain(); }

    void LookAgain();
    void Continue();
    void Pause();
    void PollNext();
    bool IsDue(int address) const;
    bool IsFullRound() const;
    void Poll(int address);
    void HandlePoll(int address, CecOutcome outcome);
    void Ask(int address);
    void HandleAnswer(int address, CecOutcome outcome);
    void FinishAsking(int address, Device& device);

    void Hear(int address, Device& device, const Bytes& message);
    void MoveTo(Device& device, std::optional<int> port);
    std::optional<int> PortFor(int address, const Bytes& message) const;
    void Forget(int address);
    void ForgetAll();
    void Settle(int port, unsigned milliseconds);

    const CecTimes m_times;
    const unsigned m_quietMilliseconds;
    const PortSet m_ports;
    InputListener* m_listener = nullptr;
    std::map<int, Input> m_inputs;
    std::map<int, Device> m_devices;  // by logical address
    int m_nextAddress = 0;
    unsigned m_round = 0;
    bool m_isHurried = false;  // the rest of this round has no pauses
    Timer m_pause;
    Timer m_absence;  // of the adapter
    CecAdapter m_adapter;
};

}  // namespace srcwatch

#endif
