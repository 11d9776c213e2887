// SPDX-License-Identifier: Apache-2.0
#include "Announcer.h"

#include "srcwatch-protocol.h"

namespace srcwatch {

void Announcer::AnnounceConnection(int port, bool connected)
{
    m_sender.SendEvent(SRCWATCH_EVENT_CONNECTION, port, connected ? 1 : 0, 0);
}

void Announcer::AnnounceDevice(int port, const Record& record)
{
    m_sender.ClearEvent();
    m_sender.AppendArgs(port, record.device.deviceType, record.changed == SRCWATCH_CHANGED_NOT ? 0 : 1, 0);
    m_sender.AppendArgs(record.device.deviceName, record.device.brandName, record.device.providerName);
    m_sender.SendEvent(SRCWATCH_EVENT_DETECTED);
}

void Announcer::AnnounceScanProgress(int percent, int port)
{
    m_sender.SendEvent(SRCWATCH_EVENT_SCAN_PROGRESS, percent, port, 0);
}

void Announcer::AnnounceScanEnd(int result, int devicesFound, int port)
{
    m_sender.SendEvent(SRCWATCH_EVENT_SCAN_FINISHED, result, devicesFound, port);
}

}  // namespace srcwatch
