// SPDX-License-Identifier: Apache-2.0
//
// A CEC adapter and the devices on its bus, as the kernel's interface shows them: call by call, with errors.
#ifndef SRCWATCH_TESTS_FAKECECBUS_H
#define SRCWATCH_TESTS_FAKECECBUS_H

#include "Decoded.h"
#include "DeviceCalls.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

#include <linux/cec.h>

namespace srcwatch_test {

class FakeCecBus : public srcwatch::DeviceCalls {
public:
    FakeCecBus() = default;
    ~FakeCecBus() override;

    int Open(const std::string& path) override;
    int Control(int descriptor, unsigned long request, void* argument) override;
    void Close(int descriptor) override;

    /// Plugs a device in, which answers with these messages, each of the form "40:47:53". A question about something
    /// else gets no answer. One that is "40:00:46:00" refuses the question 46.
    void Plug(int address, const std::vector<std::string>& answers);
    void Unplug(int address) { m_devices.erase(address); }
    /// A device sends a message, which monitors hear.
    void Say(const std::string& message);
    /// Reports to the openers that messages were lost.
    void LoseMessages();
    /// Finishes the last message, if that was left unfinished.
    void FinishSending();
    void SetPhysicalAddress(std::uint16_t address);
    /// Another process removes the logical addresses.
    void ClearAddresses();

    /// Calls of a kind fail with an error, until it is 0.
    void Fail(unsigned long request, int error) { m_errors[request] = error; }
    /// The adapter's device vanishes, and comes back with nothing configured.
    void PullOut();
    void PutBack() { m_isThere = true; }
    /// What is open is hung up, although its calls succeed.
    void HangUp();

    std::size_t OpenCount() const { return m_openers.size(); }
    /// Counts calls of a kind; of Open() if it is 0.
    int CallCount(unsigned long request) const;
    /// Counts the messages that were sent to a device with an opcode; polls if it is -1.
    int SentCount(int address, int opcode) const;
    /// Configures the adapter as another process may have done.
    void Configure(int address, int primaryDeviceType);
    const cec_log_addrs& Addresses() const { return m_addresses; }
    const std::vector<unsigned>& Modes() const { return m_modes; }

    unsigned capabilities = CEC_CAP_PHYS_ADDR | CEC_CAP_LOG_ADDRS | CEC_CAP_TRANSMIT;
    bool mayMonitor = true;
    bool isTvTaken = false;  ///< the logical address 0
    bool claims = true;      ///< a logical address
    bool finishesSending = true;
    int stopsSendingAfter = 0;    ///< does not finish a message with this opcode
    bool splitsOutcome = false;   ///< reports first that a message was sent, then its answer
    int missedPolls = 0;          ///< this many polls are not acknowledged
    unsigned sendingFailure = 0;  ///< status of all messages that are sent; 0 for none

private:
    struct Opener {
        int other = -1;  // of the pipe that makes the descriptor readable
        unsigned mode = CEC_MODE_INITIATOR;
        std::deque<cec_event> events;
        std::deque<cec_msg> messages;
    };

    int SetMode(Opener& opener, unsigned mode);
    int SetPhysical(std::uint16_t address);
    int SetLogical(cec_log_addrs& addresses);
    unsigned SendingStatus(const cec_msg& message);
    int Transmit(Opener& opener, cec_msg& message);
    void Finish(Opener& opener, const cec_msg& message);
    bool Answer(const cec_msg& question, cec_msg& answer) const;
    template <typename T>
    static int Take(int descriptor, std::deque<T>& queue, void* argument);
    static void Notify(Opener& opener);
    void Post(Opener& opener, const cec_msg& message);
    void PostToMonitors(const cec_msg& message);
    void PostState();

    bool m_isThere = true;
    std::map<int, Opener> m_openers;
    std::map<int, std::vector<srcwatch::Bytes>> m_devices;
    std::map<unsigned long, int> m_errors;
    std::map<unsigned long, int> m_calls;
    std::vector<srcwatch::Bytes> m_sent;
    std::vector<unsigned> m_modes;
    std::uint16_t m_physicalAddress = CEC_PHYS_ADDR_INVALID;
    cec_log_addrs m_addresses{};
    unsigned m_sequence = 0;
    cec_msg m_unfinished{};
};

}  // namespace srcwatch_test

#endif
