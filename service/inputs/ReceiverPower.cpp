// SPDX-License-Identifier: Apache-2.0
#include "ReceiverPower.h"

#include "Log.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <linux/videodev2.h>

namespace srcwatch {

ReceiverPower::ReceiverPower(std::string path, const Times& times, PortSet ports, DeviceCalls& calls)
    : m_path(std::move(path)), m_times(times), m_calls(calls)
{
    for (int port = 0; port < ports.hdmiCount; ++port) m_settling.try_emplace(port);
}

std::string ReceiverPower::Start(InputListener& listener)
{
    m_listener = &listener;
    Look();
    return "";
}

bool ReceiverPower::IsPlugged(int port) const
{
    return m_settling.count(port) > 0 && (m_inputs >> static_cast<unsigned>(port) & 1U) != 0;
}

// The control has all inputs.
void ReceiverPower::Refresh(int /*port*/)
{
    if (m_listener != nullptr) Look();
}

bool ReceiverPower::IsSettling(int port) const
{
    const auto found = m_settling.find(port);
    return found != m_settling.end() && found->second.IsRunning();
}

void ReceiverPower::CancelSettling(int port)
{
    const auto found = m_settling.find(port);
    if (found != m_settling.end()) found->second.Stop();
}

void ReceiverPower::SettleLater(int port)
{
    m_settling.at(port).Start(kPauseMilliseconds, [this, port] { m_listener->OnSettled(port); });
}

void ReceiverPower::Look()
{
    m_next.Start(m_times.interval, [this] { Look(); });
    const unsigned inputs = ReadInputs();
    for (auto& [port, settling] : m_settling) SetPower(port, (inputs >> static_cast<unsigned>(port) & 1U) != 0);
}

// Opened again after a failure, so that a receiver that was gone is found again.
unsigned ReceiverPower::ReadInputs()
{
    if (m_descriptor < 0) {
        const int opened = m_calls.Open(m_path);
        if (opened < 0) return Fail("cannot be opened", -opened);
        m_descriptor = opened;
    }
    v4l2_control control{};
    control.id = V4L2_CID_DV_RX_POWER_PRESENT;
    const int error = m_calls.Control(m_descriptor, VIDIOC_G_CTRL, &control);
    if (error != 0) return Fail("cannot report +5 V", error);
    m_complaint.clear();
    return static_cast<unsigned>(control.value);
}

unsigned ReceiverPower::Fail(const std::string& what, int error)
{
    Close();
    const std::string complaint = what + ": " + std::strerror(error);
    if (std::exchange(m_complaint, complaint) != complaint) {
        SWLOG(kLogWarn, "%s: %s", Printable(m_path).c_str(), complaint.c_str());
    }
    return 0;
}

void ReceiverPower::SetPower(int port, bool hasPower)
{
    if (IsPlugged(port) == hasPower) return;
    m_inputs ^= 1U << static_cast<unsigned>(port);
    Timer& settling = m_settling.at(port);
    if (!hasPower) {
        settling.Stop();
        return m_listener->OnUnplugged(port);
    }
    settling.Start(m_times.settling, [this, port] { m_listener->OnSettled(port); });
    m_listener->OnPlugged(port);
}

void ReceiverPower::Close()
{
    if (m_descriptor >= 0) m_calls.Close(std::exchange(m_descriptor, -1));
}

}  // namespace srcwatch
