// SPDX-License-Identifier: Apache-2.0
#include "CecAdapter.h"

#include "Log.h"
#include "Topology.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <glib-unix.h>
#include <sys/ioctl.h>

namespace srcwatch {

namespace {

constexpr char kOsdName[] = "TV";
constexpr std::uint16_t kTvPhysicalAddress = 0;  // 0.0.0.0, the root

std::string Failure(const char* what, int error) { return std::string(what) + ": " + std::strerror(error); }

int LowestAddress(unsigned mask)
{
    int address = 0;
    while ((mask >> static_cast<unsigned>(address) & 1U) == 0) ++address;
    return address;
}

// What became of a message that was sent, if that is the end of it: the answer may come with what became of sending, or
// after it.
std::optional<CecOutcome> OutcomeOf(const cec_msg& message, bool awaitsAnswer)
{
    const bool isSent = message.tx_status == 0 || (message.tx_status & CEC_TX_STATUS_OK) != 0;
    if (!isSent) {
        return (message.tx_status & CEC_TX_STATUS_NACK) != 0 ? CecOutcome::kUnacknowledged : CecOutcome::kFailed;
    }
    if (!awaitsAnswer) return CecOutcome::kAnswered;
    if ((message.rx_status & CEC_RX_STATUS_FEATURE_ABORT) != 0) return CecOutcome::kRefused;
    if ((message.rx_status & CEC_RX_STATUS_OK) != 0) return CecOutcome::kAnswered;
    if ((message.rx_status & CEC_RX_STATUS_TIMEOUT) != 0) return CecOutcome::kUnanswered;
    return message.rx_status == 0 ? std::nullopt : std::optional(CecOutcome::kFailed);
}

Bytes BytesOf(const cec_msg& message)
{
    return {message.msg, message.msg + std::min<std::size_t>(message.len, CEC_MAX_MSG_SIZE)};
}

}  // namespace

CecAdapter::CecAdapter(std::string path, const CecTimes& times, DeviceCalls& calls, CecListener& listener)
    : m_path(std::move(path)), m_times(times), m_calls(calls), m_listener(listener)
{
}

void CecAdapter::Start() { TryToOpen(); }

void CecAdapter::TryToOpen()
{
    const std::string failure = Open();
    if (!failure.empty()) Fail(failure);
}

std::string CecAdapter::Open()
{
    std::string failure = OpenDescriptor(m_initiator, CEC_MODE_INITIATOR | CEC_MODE_NO_FOLLOWER);
    if (!failure.empty()) return failure;
    // Without it, the polls find most of it.
    static_cast<void>(OpenDescriptor(m_monitor, CEC_MODE_NO_INITIATOR | CEC_MODE_MONITOR));
    return Configure();
}

std::string CecAdapter::OpenDescriptor(Opened& opened, unsigned mode)
{
    const int descriptor = m_calls.Open(m_path);
    if (descriptor < 0) return Failure("cannot be opened", -descriptor);
    const int error = m_calls.Control(descriptor, CEC_S_MODE, &mode);
    if (error != 0) {
        m_calls.Close(descriptor);
        return Failure("refuses the mode", error);
    }
    opened.descriptor = descriptor;
    const auto conditions = static_cast<GIOCondition>(G_IO_IN | G_IO_PRI | G_IO_ERR | G_IO_HUP);
    opened.source = g_unix_fd_add(descriptor, conditions, OnReadable, this);
    return "";
}

// An adapter keeps its addresses when it is closed, so they may be there already.
std::string CecAdapter::Configure()
{
    cec_caps capabilities{};
    int error = m_calls.Control(m_initiator.descriptor, CEC_ADAP_G_CAPS, &capabilities);
    if (error != 0) return Failure("does not state its capabilities", error);
    const bool canSend = (capabilities.capabilities & CEC_CAP_TRANSMIT) != 0;
    if (!canSend || (capabilities.capabilities & CEC_CAP_LOG_ADDRS) == 0) return "cannot send as a TV";

    std::uint16_t physicalAddress = kTvPhysicalAddress;
    const bool canSet = (capabilities.capabilities & CEC_CAP_PHYS_ADDR) != 0;
    error =
        m_calls.Control(m_initiator.descriptor, canSet ? CEC_ADAP_S_PHYS_ADDR : CEC_ADAP_G_PHYS_ADDR, &physicalAddress);
    if (error != 0) return Failure("has no physical address", error);
    if (physicalAddress == CEC_PHYS_ADDR_INVALID) return "has no physical address: is a cable connected?";

    cec_log_addrs addresses{};
    error = m_calls.Control(m_initiator.descriptor, CEC_ADAP_G_LOG_ADDRS, &addresses);
    if (error != 0) return Failure("does not state its logical addresses", error);
    const bool isTv = addresses.num_log_addrs > 0 && addresses.primary_device_type[0] == CEC_OP_PRIM_DEVTYPE_TV;
    if (isTv && addresses.log_addr_mask != 0) {
        BeReady(addresses.log_addr_mask);
        return "";
    }
    error = ClaimAddress();
    if (error != 0) return Failure("refuses a logical address", error);
    m_deadline.Start(m_times.claim, [this] { Fail("gets no logical address"); });
    return "";
}

// The kernel tries specific use (14) when the TV's address (0) is taken. A state change reports what it has got.
// By version 2.0 a TV has to take part in system audio control, which this one does not.
int CecAdapter::ClaimAddress()
{
    cec_log_addrs addresses{};
    int error = m_calls.Control(m_initiator.descriptor, CEC_ADAP_S_LOG_ADDRS, &addresses);  // none, before others
    if (error != 0) return error;
    addresses = {};
    addresses.cec_version = CEC_OP_CEC_VERSION_1_4;
    addresses.num_log_addrs = 1;
    addresses.vendor_id = CEC_VENDOR_ID_NONE;
    std::copy(std::begin(kOsdName), std::end(kOsdName), addresses.osd_name);
    addresses.log_addr_type[0] = CEC_LOG_ADDR_TYPE_TV;
    addresses.primary_device_type[0] = CEC_OP_PRIM_DEVTYPE_TV;
    addresses.all_device_types[0] = CEC_OP_ALL_DEVTYPE_TV;
    return m_calls.Control(m_initiator.descriptor, CEC_ADAP_S_LOG_ADDRS, &addresses);
}

void CecAdapter::Close()
{
    m_deadline.Stop();
    m_sequence = 0;
    m_onOutcome = nullptr;
    m_address = CEC_LOG_ADDR_INVALID;
    Close(m_initiator);
    Close(m_monitor);
}

void CecAdapter::Close(Opened& opened)
{
    if (opened.source != 0) g_source_remove(std::exchange(opened.source, 0));
    if (opened.descriptor >= 0) m_calls.Close(std::exchange(opened.descriptor, -1));
}

void CecAdapter::Fail(const std::string& reason)
{
    Complain(reason);
    const bool wasReady = IsReady();
    Close();
    m_again.Start(m_times.pause, [this] { TryToOpen(); });
    if (wasReady) m_listener.OnLost();
}

void CecAdapter::Complain(const std::string& reason)
{
    if (m_complaint == reason) return;
    m_complaint = reason;
    SWLOG(kLogError, "%s: %s", Printable(m_path).c_str(), reason.c_str());
}

void CecAdapter::BeReady(unsigned addressMask)
{
    m_deadline.Stop();
    m_address = LowestAddress(addressMask);
    const std::string readiness = "logical address " + std::to_string(m_address) +
                                  (HearsAll() ? ", receives all messages"
                                              : ", receives answers only, because it may not monitor (CAP_NET_ADMIN)");
    if (std::exchange(m_readiness, readiness) != readiness) {
        SWLOG(kLogInfo, "%s: %s", Printable(m_path).c_str(), readiness.c_str());
    }
    m_listener.OnReady();
}

// ---------------------------------------------------------------------------------------------------------------------
// Sending

void CecAdapter::Send(cec_msg message, std::function<void(CecOutcome)> onOutcome)
{
    message.msg[0] = static_cast<std::uint8_t>(static_cast<unsigned>(m_address) << 4U | (message.msg[0] & 0xfU));
    const int error = m_calls.Control(m_initiator.descriptor, CEC_TRANSMIT, &message);
    if (error != 0) return Fail(Failure("cannot send", error));
    m_sequence = message.sequence;
    m_awaitsAnswer = message.timeout != 0;
    m_onOutcome = std::move(onOutcome);
    m_deadline.Start(m_times.answer, [this] { Fail("does not finish sending"); });
}

void CecAdapter::EndSending(CecOutcome outcome)
{
    m_deadline.Stop();
    m_sequence = 0;
    if (outcome == CecOutcome::kFailed) {
        Complain("the bus fails");
    } else if (!std::exchange(m_complaint, "").empty()) {
        SWLOG(kLogInfo, "%s: works again", Printable(m_path).c_str());
    }
    const auto onOutcome = std::exchange(m_onOutcome, nullptr);
    onOutcome(outcome);
}

// ---------------------------------------------------------------------------------------------------------------------
// Receiving

// One event and one message at a time: the main loop comes again as long as there are more.
gboolean CecAdapter::OnReadable(int descriptor, GIOCondition condition, gpointer self)
{
    auto* const adapter = static_cast<CecAdapter*>(self);
    const unsigned source = g_source_get_id(g_main_current_source());
    const auto isCurrent = [&] { return source == adapter->m_initiator.source || source == adapter->m_monitor.source; };
    const int eventError = adapter->ReceiveEvent(descriptor);
    const int messageError = isCurrent() ? adapter->ReceiveMessage(descriptor) : 0;
    if (!isCurrent()) return G_SOURCE_CONTINUE;  // which was removed
    for (const int error : {eventError, messageError}) {
        if (error == 0 || error == EAGAIN) continue;
        adapter->Fail(Failure("cannot receive", error));
        return G_SOURCE_CONTINUE;
    }
    const bool isEmpty = eventError == EAGAIN && messageError == EAGAIN;
    if (isEmpty && (condition & (G_IO_ERR | G_IO_HUP)) != 0) adapter->Fail("is gone");
    return G_SOURCE_CONTINUE;
}

// Both descriptors get the events, each its own.
int CecAdapter::ReceiveEvent(int descriptor)
{
    cec_event event{};
    const int error = m_calls.Control(descriptor, CEC_DQEVENT, &event);
    if (error != 0) return error;
    const bool isInitiator = descriptor == m_initiator.descriptor;
    if (event.event == CEC_EVENT_STATE_CHANGE && isInitiator) HandleStateChange(event.state_change);
    if (event.event == CEC_EVENT_LOST_MSGS && IsReady()) m_listener.OnMissed();
    return 0;
}

void CecAdapter::HandleStateChange(const cec_event_state_change& state)
{
    const bool hasAddresses = state.phys_addr != CEC_PHYS_ADDR_INVALID && state.log_addr_mask != 0;
    if (hasAddresses) return BeReady(state.log_addr_mask);
    if (IsReady()) Fail("has lost its addresses");
}

int CecAdapter::ReceiveMessage(int descriptor)
{
    cec_msg message{};
    const int error = m_calls.Control(descriptor, CEC_RECEIVE, &message);
    if (error == 0) HandleMessage(message, descriptor == m_initiator.descriptor);
    return error;
}

// A monitor hears what this process sends, too, with the status of a message that was sent, and answers a second time.
void CecAdapter::HandleMessage(const cec_msg& message, bool isInitiator)
{
    const bool isOwn = isInitiator && IsSending() && message.sequence == m_sequence;
    const bool isReceived = (message.rx_status & CEC_RX_STATUS_OK) != 0 && message.len > 0;
    const unsigned sequence = m_sequence;
    if (isReceived && (isOwn || message.tx_status == 0) && cec_msg_initiator(&message) != m_address) {
        m_listener.OnMessage(BytesOf(message));
    }
    if (!isOwn || sequence != m_sequence) return;  // the listener may have closed the adapter
    if (const auto outcome = OutcomeOf(message, m_awaitsAnswer)) EndSending(*outcome);
}

}  // namespace srcwatch
