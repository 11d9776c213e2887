// SPDX-License-Identifier: Apache-2.0
//
// The events that the service announces to applications.
#ifndef SRCWATCH_SERVICE_ANNOUNCER_H
#define SRCWATCH_SERVICE_ANNOUNCER_H

#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "Record.h"

namespace srcwatch {

class Announcer {
public:
    virtual ~Announcer() = default;
    virtual void Connection(int port, bool connected) = 0;
    virtual void Detected(int port, const Record& record) = 0;
    virtual void ScanProgress(int percent, int port) = 0;
    /// @param port  99 for the scan of the optical source, otherwise 0.
    virtual void ScanFinished(int result, int devicesFound, int port) = 0;
};

/// Announces on the system bus.
class BusAnnouncer : public Announcer {
public:
    void Connection(int port, bool connected) override;
    void Detected(int port, const Record& record) override;
    void ScanProgress(int percent, int port) override;
    void ScanFinished(int result, int devicesFound, int port) override;

private:
    qdinfo::CQDEventSender m_sender{QDINFO_CHANNEL_NAME};
};

}  // namespace srcwatch

#endif
