// SPDX-License-Identifier: Apache-2.0
#include "FakeCecBus.h"

#include "Hex.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace srcwatch_test {

namespace {

using srcwatch::Bytes;

Bytes Parse(std::string message)
{
    message.erase(std::remove(message.begin(), message.end(), ':'), message.end());
    return srcwatch::FromHex(message).value();
}

void Fill(const Bytes& bytes, cec_msg& message)
{
    message.len = static_cast<std::uint32_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), message.msg);
}

}  // namespace

FakeCecBus::~FakeCecBus()
{
    while (!m_openers.empty()) FakeCecBus::Close(m_openers.begin()->first);
}

int FakeCecBus::Open(const std::string& /*path*/)
{
    ++m_calls[0];
    if (!m_isThere) return -ENOENT;
    if (m_errors[0] != 0) return -m_errors[0];
    int ends[2];
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    Opener& opener = m_openers[ends[0]];
    opener.other = ends[1];
    cec_event event{};
    event.event = CEC_EVENT_STATE_CHANGE;
    event.flags = CEC_EVENT_FL_INITIAL_STATE;
    event.state_change = {m_physicalAddress, m_addresses.log_addr_mask, 0};
    opener.events.push_back(event);
    Notify(opener);
    return ends[0];
}

void FakeCecBus::Close(int descriptor)
{
    const int other = m_openers.at(descriptor).other;
    if (other >= 0) close(other);
    close(descriptor);
    m_openers.erase(descriptor);
}

int FakeCecBus::Control(int descriptor, unsigned long request, void* argument)
{
    Opener& opener = m_openers.at(descriptor);
    ++m_calls[request];
    if (!m_isThere) return ENODEV;
    if (m_errors[request] != 0) return m_errors[request];
    switch (request) {
        case CEC_ADAP_G_CAPS:
            static_cast<cec_caps*>(argument)->capabilities = capabilities;
            return 0;
        case CEC_S_MODE:
            return SetMode(opener, *static_cast<unsigned*>(argument));
        case CEC_ADAP_G_PHYS_ADDR:
            *static_cast<std::uint16_t*>(argument) = m_physicalAddress;
            return 0;
        case CEC_ADAP_S_PHYS_ADDR:
            return SetPhysical(*static_cast<std::uint16_t*>(argument));
        case CEC_ADAP_G_LOG_ADDRS:
            *static_cast<cec_log_addrs*>(argument) = m_addresses;
            return 0;
        case CEC_ADAP_S_LOG_ADDRS:
            return SetLogical(*static_cast<cec_log_addrs*>(argument));
        case CEC_DQEVENT:
            return Take(descriptor, opener.events, argument);
        case CEC_RECEIVE:
            return Take(descriptor, opener.messages, argument);
        case CEC_TRANSMIT:
            return Transmit(opener, *static_cast<cec_msg*>(argument));
        default:
            return ENOTTY;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The adapter

int FakeCecBus::SetMode(Opener& opener, unsigned mode)
{
    if ((mode & CEC_MODE_FOLLOWER_MSK) >= CEC_MODE_MONITOR && !mayMonitor) return EPERM;
    opener.mode = mode;
    m_modes.push_back(mode);
    return 0;
}

int FakeCecBus::SetPhysical(std::uint16_t address)
{
    if ((capabilities & CEC_CAP_PHYS_ADDR) == 0) return ENOTTY;
    if (address != m_physicalAddress) SetPhysicalAddress(address);
    return 0;
}

void FakeCecBus::SetPhysicalAddress(std::uint16_t address)
{
    m_physicalAddress = address;
    if (address == CEC_PHYS_ADDR_INVALID) m_addresses = {};
    PostState();
}

int FakeCecBus::SetLogical(cec_log_addrs& addresses)
{
    const bool isConfigured = m_addresses.num_log_addrs > 0;
    if (addresses.num_log_addrs > 0 && isConfigured) return EBUSY;
    m_addresses = addresses;
    if (addresses.num_log_addrs > 0 && claims && m_physicalAddress != CEC_PHYS_ADDR_INVALID) {
        const int address = isTvTaken ? CEC_LOG_ADDR_SPECIFIC : CEC_LOG_ADDR_TV;
        m_addresses.log_addr[0] = static_cast<std::uint8_t>(address);
        m_addresses.log_addr_mask = static_cast<std::uint16_t>(1U << static_cast<unsigned>(address));
    }
    PostState();
    return 0;
}

void FakeCecBus::ClearAddresses()
{
    m_addresses = {};
    PostState();
}

void FakeCecBus::Configure(int address, int primaryDeviceType)
{
    m_physicalAddress = 0;
    m_addresses = {};
    m_addresses.num_log_addrs = 1;
    m_addresses.log_addr[0] = static_cast<std::uint8_t>(address);
    m_addresses.log_addr_mask = static_cast<std::uint16_t>(1U << static_cast<unsigned>(address));
    m_addresses.primary_device_type[0] = static_cast<std::uint8_t>(primaryDeviceType);
    PostState();
}

void FakeCecBus::PullOut()
{
    m_isThere = false;
    m_addresses = {};
    m_physicalAddress = CEC_PHYS_ADDR_INVALID;
    HangUp();
}

void FakeCecBus::HangUp()
{
    for (auto& [descriptor, opener] : m_openers) close(std::exchange(opener.other, -1));
}

int FakeCecBus::CallCount(unsigned long request) const
{
    const auto found = m_calls.find(request);
    return found == m_calls.end() ? 0 : found->second;
}

// ---------------------------------------------------------------------------------------------------------------------
// What is received

void FakeCecBus::Notify(Opener& opener)
{
    if (opener.other >= 0 && write(opener.other, "", 1) != 1) throw std::runtime_error("the pipe is full");
}

template <typename T>
int FakeCecBus::Take(int descriptor, std::deque<T>& queue, void* argument)
{
    if (queue.empty()) return EAGAIN;
    *static_cast<T*>(argument) = queue.front();
    queue.pop_front();
    char byte = 0;
    return read(descriptor, &byte, 1) == 1 ? 0 : EIO;
}

void FakeCecBus::Post(Opener& opener, const cec_msg& message)
{
    opener.messages.push_back(message);
    Notify(opener);
}

void FakeCecBus::PostToMonitors(const cec_msg& message)
{
    for (auto& [descriptor, opener] : m_openers) {
        if ((opener.mode & CEC_MODE_FOLLOWER_MSK) >= CEC_MODE_MONITOR) Post(opener, message);
    }
}

// A state that was not read yet is replaced.
void FakeCecBus::PostState()
{
    cec_event event{};
    event.event = CEC_EVENT_STATE_CHANGE;
    event.state_change = {m_physicalAddress, m_addresses.log_addr_mask, 0};
    for (auto& [descriptor, opener] : m_openers) {
        const auto old = std::find_if(opener.events.begin(), opener.events.end(),
                                      [](const cec_event& e) { return e.event == CEC_EVENT_STATE_CHANGE; });
        if (old != opener.events.end()) {
            *old = event;
            continue;
        }
        opener.events.push_back(event);
        Notify(opener);
    }
}

void FakeCecBus::LoseMessages()
{
    cec_event event{};
    event.event = CEC_EVENT_LOST_MSGS;
    event.lost_msgs.lost_msgs = 1;
    for (auto& [descriptor, opener] : m_openers) {
        opener.events.push_back(event);
        Notify(opener);
    }
}

void FakeCecBus::Say(const std::string& message)
{
    cec_msg heard{};
    Fill(Parse(message), heard);
    heard.rx_status = CEC_RX_STATUS_OK;
    PostToMonitors(heard);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is sent

void FakeCecBus::Plug(int address, const std::vector<std::string>& answers)
{
    std::vector<Bytes>& messages = m_devices[address];
    messages.clear();
    std::transform(answers.begin(), answers.end(), std::back_inserter(messages), Parse);
}

int FakeCecBus::SentCount(int address, int opcode) const
{
    return static_cast<int>(std::count_if(m_sent.begin(), m_sent.end(), [&](const Bytes& message) {
        return (message[0] & 0xf) == address && (message.size() > 1 ? message[1] : -1) == opcode;
    }));
}

unsigned FakeCecBus::SendingStatus(const cec_msg& message)
{
    constexpr unsigned kNobody = CEC_TX_STATUS_NACK | CEC_TX_STATUS_MAX_RETRIES;
    if (sendingFailure != 0) return sendingFailure;
    if (m_devices.count(cec_msg_destination(&message)) == 0) return kNobody;
    return message.len == 1 && missedPolls > 0 && missedPolls-- > 0 ? kNobody : CEC_TX_STATUS_OK;
}

int FakeCecBus::Transmit(Opener& opener, cec_msg& message)
{
    if (m_addresses.log_addr_mask == 0) return ENONET;
    if (cec_msg_initiator(&message) != m_addresses.log_addr[0]) return EINVAL;
    message.sequence = ++m_sequence;
    m_sent.emplace_back(message.msg, message.msg + message.len);
    m_unfinished = message;
    const bool stops = stopsSendingAfter != 0 && message.len > 1 && message.msg[1] == stopsSendingAfter;
    if (finishesSending && !stops) Finish(opener, message);
    return 0;
}

void FakeCecBus::FinishSending()
{
    for (auto& [descriptor, opener] : m_openers) {
        if (opener.mode == CEC_MODE_INITIATOR) return Finish(opener, m_unfinished);
    }
}

void FakeCecBus::Finish(Opener& opener, const cec_msg& message)
{
    cec_msg outcome = message;
    outcome.tx_status = static_cast<std::uint8_t>(SendingStatus(message));
    PostToMonitors(outcome);
    if ((outcome.tx_status & CEC_TX_STATUS_OK) != 0 && message.timeout != 0) {
        if (splitsOutcome) {
            Post(opener, outcome);
            outcome.tx_status = 0;
        }
        if (Answer(message, outcome)) {
            cec_msg heard = outcome;
            heard.tx_status = 0;
            heard.rx_status = CEC_RX_STATUS_OK;
            heard.sequence = 0;
            PostToMonitors(heard);
        } else {
            outcome.rx_status = CEC_RX_STATUS_TIMEOUT;
        }
    }
    Post(opener, outcome);
}

bool FakeCecBus::Answer(const cec_msg& question, cec_msg& answer) const
{
    for (const Bytes& message : m_devices.at(cec_msg_destination(&question))) {
        const bool isRefusal = message[1] == CEC_MSG_FEATURE_ABORT && message[2] == question.msg[1];
        if (message[1] != question.reply && !isRefusal) continue;
        Fill(message, answer);
        answer.rx_status = static_cast<std::uint8_t>(CEC_RX_STATUS_OK | (isRefusal ? CEC_RX_STATUS_FEATURE_ABORT : 0));
        return true;
    }
    return false;
}

}  // namespace srcwatch_test
