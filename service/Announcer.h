// SPDX-License-Identifier: Apache-2.0
//
// The events that the service announces to applications.
#ifndef SRCWATCH_SERVICE_ANNOUNCER_H
#define SRCWATCH_SERVICE_ANNOUNCER_H

#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "Record.h"

namespace srcwatch {

/// Announces on the system bus. Its functions are virtual so that tests can listen.
class Announcer {
public:
    virtual ~Announcer() = default;
    virtual void AnnounceConnection(int port, bool connected);
    virtual void AnnounceDevice(int port, const Record& record);
    virtual void AnnounceScanProgress(int percent, int port);
    /// @param port  99 for the scan of the optical source, otherwise 0.
    virtual void AnnounceScanEnd(int result, int devicesFound, int port);

private:
    qdinfo::CQDEventSender m_sender{QDINFO_CHANNEL_NAME};
};

}  // namespace srcwatch

#endif
