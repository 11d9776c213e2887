// SPDX-License-Identifier: Apache-2.0
//
// The events that the service announces to applications on the system bus.
#ifndef SRCWATCH_SERVICE_ANNOUNCER_H
#define SRCWATCH_SERVICE_ANNOUNCER_H

#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "Record.h"
#include "srcwatch-protocol.h"

namespace srcwatch {

class Announcer {
public:
    virtual ~Announcer() = default;

    void AnnounceConnection(int port, bool isConnected)
    {
        Send(SRCWATCH_EVENT_CONNECTION, port, isConnected ? 1 : 0, 0, {});
    }
    void AnnounceDevice(int port, const Record& record)
    {
        const int isChanged = record.changed == SRCWATCH_CHANGED_NOT ? 0 : 1;
        Send(SRCWATCH_EVENT_DETECTED, port, record.device.deviceType, isChanged, record.device);
    }
    void AnnounceScanProgress(int percent, int port) { Send(SRCWATCH_EVENT_SCAN_PROGRESS, percent, port, 0, {}); }
    /// @param port  99 for the scan of the optical source, otherwise 0.
    void AnnounceScanEnd(int result, int devicesFound, int port)
    {
        Send(SRCWATCH_EVENT_SCAN_FINISHED, result, devicesFound, port, {});
    }

private:
    // Virtual, so that tests can listen.
    virtual void Send(int type, int first, int second, int third, const Classification& names)
    {
        m_sender.ClearEvent();
        m_sender.AppendArgs(first, second, third, 0);
        m_sender.AppendArgs(names.deviceName, names.brandName, names.providerName);
        m_sender.SendEvent(type);
    }

    qdinfo::CQDEventSender m_sender{QDINFO_CHANNEL_NAME};
};

}  // namespace srcwatch

#endif
