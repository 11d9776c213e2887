// SPDX-License-Identifier: Apache-2.0
#include "PendingDetections.h"

#include "QDInfoCommon.h"
#include "Settings.h"

namespace srcwatch {

void PendingDetections::Begin(int port)
{
    m_since[port] = g_get_monotonic_time();
    if (m_ports.insert(port).second) Show();
}

void PendingDetections::End(int port)
{
    if (m_ports.erase(port) > 0) Show();
}

void PendingDetections::Clear()
{
    m_ports.clear();
    Show();
}

int PendingDetections::MillisecondsSince(int port) const
{
    return static_cast<int>((g_get_monotonic_time() - m_since.at(port)) / 1000);
}

// Applications take an activity index above 0 to mean that the hot-plug notification is on the screen.
void PendingDetections::Show()
{
    m_settings.WriteNumber(VCONF_HOTPLUG_PROGRESS, m_ports.empty() ? 0 : 1);
    m_settings.WriteNumber(VCONF_SOURCE_ACTIVITY_INDEX, m_ports.empty() ? 0 : *m_ports.begin() + 1);
}

}  // namespace srcwatch
