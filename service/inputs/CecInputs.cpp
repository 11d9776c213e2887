// SPDX-License-Identifier: Apache-2.0
#include "CecInputs.h"

#include "Hex.h"
#include "Log.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <linux/cec-funcs.h>

namespace srcwatch {

namespace {

constexpr int kAddresses = CEC_LOG_ADDR_UNREGISTERED;  // which has no device of its own
constexpr unsigned kFullRounds = 6;                    // one of this many is a full one

constexpr unsigned kReplyMilliseconds = 1000;  // that the standard gives a device

constexpr std::size_t kPhysicalAddressSize = 5;  // of its report

// What a device is asked, in this order: its physical address states the input.
struct Question {
    const char* name;
    void (*compose)(cec_msg* message, int reply);
};
constexpr Question kQuestions[] = {
    {"physical address", cec_msg_give_physical_addr},   {"OSD name", cec_msg_give_osd_name},
    {"vendor id", cec_msg_give_device_vendor_id},       {"CEC version", cec_msg_get_cec_version},
    {"power status", cec_msg_give_device_power_status},
};
constexpr std::size_t kQuestionCount = std::size(kQuestions);

unsigned OpcodeOf(const Bytes& message) { return message[1]; }

void Append(std::string& list, const std::string& item) { list += (list.empty() ? "" : ", ") + item; }

}  // namespace

CecInputs::CecInputs(std::string path, const CecTimes& times, unsigned quietMilliseconds, PortSet ports,
                     DeviceCalls& calls)
    : m_times(times),
      m_quietMilliseconds(quietMilliseconds),
      m_ports(ports),
      m_adapter(std::move(path), times, calls, *this)
{
    for (const int port : ports.All()) m_inputs.try_emplace(port);
}

// An adapter that is not there yet is awaited.
std::string CecInputs::Start(InputListener& listener)
{
    m_listener = &listener;
    m_adapter.Start();
    return "";
}

bool CecInputs::IsPlugged(int port) const
{
    return std::any_of(m_devices.begin(), m_devices.end(),
                       [&](const auto& entry) { return entry.second.port == port; });
}

Capture CecInputs::ReadCapture(int port) const
{
    Capture capture;
    for (const auto& [address, device] : m_devices) {
        if (device.port != port) continue;
        for (const auto& [kind, message] : device.said) capture.cec += ToHex(message, ":") + "\n";
    }
    return capture;
}

// The bus has all ports.
void CecInputs::Refresh(int /*port*/)
{
    if (m_adapter.IsReady() && !m_isHurried) LookAgain();
}

bool CecInputs::IsSettling(int port) const
{
    return m_inputs.at(port).settling.IsRunning() ||
           std::any_of(m_devices.begin(), m_devices.end(), [&](const auto& entry) {
               return entry.second.port == port && entry.second.question < kQuestionCount;
           });
}

void CecInputs::SettleLater(int port) { Settle(port, kPauseMilliseconds); }

// Never later than it would come anyway: a device may send all the time.
void CecInputs::Settle(int port, unsigned milliseconds)
{
    Input& input = m_inputs.at(port);
    const gint64 due = g_get_monotonic_time() / 1000 + milliseconds;
    if (input.settling.IsRunning() && input.due <= due) return;
    input.due = due;
    input.settling.Start(milliseconds, [this, port] { m_listener->OnSettled(port); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The bus

// The adapter may come back soon, with the same devices.
void CecInputs::OnLost()
{
    m_pause.Stop();
    if (!m_absence.IsRunning()) m_absence.Start(m_times.round, [this] { ForgetAll(); });
}

void CecInputs::LookAgain()
{
    m_nextAddress = 0;
    m_round = 0;
    m_isHurried = true;
    Continue();
}

void CecInputs::Continue()
{
    if (!m_adapter.IsReady() || m_adapter.IsSending()) return;
    m_pause.Stop();
    const auto asked = std::find_if(m_devices.begin(), m_devices.end(),
                                    [](const auto& entry) { return entry.second.question < kQuestionCount; });
    if (asked != m_devices.end()) return Ask(asked->first);
    Pause();
}

void CecInputs::Pause()
{
    m_pause.Start(m_isHurried ? 0 : m_times.round / kAddresses, [this] { PollNext(); });
}

void CecInputs::PollNext()
{
    if (m_nextAddress == kAddresses) {
        m_nextAddress = 0;
        ++m_round;
    }
    const int address = m_nextAddress++;
    if (m_nextAddress == kAddresses) m_isHurried = false;
    if (IsDue(address)) return Poll(address);
    Pause();
}

bool CecInputs::IsFullRound() const { return m_round % kFullRounds == 0; }

bool CecInputs::IsDue(int address) const
{
    if (address == m_adapter.Address()) return false;
    return IsFullRound() || !m_adapter.HearsAll() || m_devices.count(address) > 0;
}

void CecInputs::Poll(int address)
{
    cec_msg poll;
    cec_msg_init(&poll, 0, static_cast<std::uint8_t>(address));
    m_adapter.Send(poll, [this, address](CecOutcome outcome) { HandlePoll(address, outcome); });
}

void CecInputs::HandlePoll(int address, CecOutcome outcome)
{
    const auto known = m_devices.find(address);
    if (outcome != CecOutcome::kFailed) m_absence.Stop();
    if (outcome == CecOutcome::kAnswered) {
        Device& device = m_devices[address];
        device.isSilent = false;
        if (IsFullRound() || std::exchange(device.isToBeAsked, false)) device.question = 0;
    } else if (outcome == CecOutcome::kUnacknowledged && known != m_devices.end()) {
        if (!std::exchange(known->second.isSilent, true)) return Poll(address);
        Forget(address);
    }
    Continue();
}

void CecInputs::Ask(int address)
{
    cec_msg question;
    cec_msg_init(&question, 0, static_cast<std::uint8_t>(address));
    kQuestions[m_devices.at(address).question].compose(&question, 1);
    question.timeout = kReplyMilliseconds;
    m_adapter.Send(question, [this, address](CecOutcome outcome) { HandleAnswer(address, outcome); });
}

void CecInputs::HandleAnswer(int address, CecOutcome outcome)
{
    if (outcome != CecOutcome::kFailed) m_absence.Stop();
    const auto asked = m_devices.find(address);
    if (asked == m_devices.end()) return Continue();  // forgotten while the adapter was away
    Device& device = asked->second;
    const std::string name = kQuestions[device.question].name;
    if (outcome == CecOutcome::kFailed) device.isToBeAsked = true;
    if (outcome == CecOutcome::kRefused) Append(device.missing, name + " (refused)");
    if (outcome == CecOutcome::kUnanswered || outcome == CecOutcome::kUnacknowledged) {
        Append(device.missing, name + " (no answer)");
    }
    if (++device.question == kQuestionCount) FinishAsking(address, device);
    Continue();
}

void CecInputs::FinishAsking(int address, Device& device)
{
    const std::string missing = std::exchange(device.missing, "");
    if (!missing.empty() && missing != device.complaint) {
        SWLOG(kLogWarn, "%s: the device at logical address %d does not report: %s", Printable(m_adapter.Path()).c_str(),
              address, missing.c_str());
    }
    device.complaint = missing;
    if (std::exchange(device.isNews, false) && device.port) Settle(*device.port, m_quietMilliseconds);
}

// ---------------------------------------------------------------------------------------------------------------------
// The devices

// A device that states its physical address without being asked has just come.
void CecInputs::OnMessage(const Bytes& message)
{
    const int address = message[0] >> 4U;
    if (message.size() < 2 || address == CEC_LOG_ADDR_UNREGISTERED) return;
    const auto [entry, isNew] = m_devices.try_emplace(address);
    Device& device = entry->second;
    if (device.question == kQuestionCount && OpcodeOf(message) == CEC_MSG_REPORT_PHYSICAL_ADDR) {
        device.isToBeAsked = true;
    }
    Hear(address, device, message);
    if (isNew) Continue();
}

void CecInputs::Hear(int address, Device& device, const Bytes& message)
{
    const unsigned opcode = OpcodeOf(message);
    const bool isRefusal = opcode == CEC_MSG_FEATURE_ABORT && message.size() > 2;
    Bytes& last = device.said[Kind(opcode, isRefusal ? message[2] : 0)];
    if (last == message) return;
    last = message;
    if (opcode == CEC_MSG_REPORT_PHYSICAL_ADDR && message.size() >= kPhysicalAddressSize) {
        MoveTo(device, PortFor(address, message));
    }
    if (!device.port || !DescribesSender(message)) return;
    device.isNews = device.question < kQuestionCount;  // else it counts at once
    if (!device.isNews) Settle(*device.port, m_quietMilliseconds);
}

std::optional<int> CecInputs::PortFor(int address, const Bytes& message) const
{
    const auto physicalAddress = static_cast<std::uint16_t>(message[2] << 8U | message[3]);
    const int input = physicalAddress >> 12U;
    if (input > kNoHdmiInput && input <= m_ports.hdmiCount) return input - 1;
    SWLOG(kLogWarn, "%s: the device at logical address %d is on no input of this TV: its physical address is %s",
          Printable(m_adapter.Path()).c_str(), address, PhysicalAddressText(physicalAddress).c_str());
    return std::nullopt;
}

// A device may be behind another one on the same port.
void CecInputs::MoveTo(Device& device, std::optional<int> port)
{
    if (device.port == port) return;
    const bool isFirst = port && !IsPlugged(*port);
    const std::optional<int> before = std::exchange(device.port, port);
    if (before && IsPlugged(*before)) {
        Settle(*before, m_quietMilliseconds);
    } else if (before) {
        m_inputs.at(*before).settling.Stop();
        m_listener->OnUnplugged(*before);
    }
    if (!isFirst) return;
    Settle(*port, m_times.questions);
    m_listener->OnPlugged(*port);
}

void CecInputs::Forget(int address)
{
    MoveTo(m_devices.at(address), std::nullopt);
    m_devices.erase(address);
}

void CecInputs::ForgetAll()
{
    while (!m_devices.empty()) Forget(m_devices.begin()->first);
}

}  // namespace srcwatch
