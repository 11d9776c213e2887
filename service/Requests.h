// SPDX-License-Identifier: Apache-2.0
//
// What the service answers to the requests of srcwatch-protocol.h.
#ifndef SRCWATCH_SERVICE_REQUESTS_H
#define SRCWATCH_SERVICE_REQUESTS_H

#include "Commands.h"
#include "Detector.h"
#include "PortSet.h"
#include "Records.h"

#include <gio/gio.h>
#include <json/value.h>

namespace qdinfo {
class CQDEventReciever;
}

namespace srcwatch {

class Requests {
public:
    Requests(PortSet ports, Records& records, const Settings& settings, Detector& detector, const Commands& commands)
        : m_ports(ports), m_records(records), m_settings(settings), m_detector(detector), m_commands(commands)
    {
    }

    /// Answers the requests that come by method calls to a receiver on this connection from now on. Until then their
    /// replies are empty.
    void Register(GDBusConnection* bus, qdinfo::CQDEventReciever& receiver);

    Json::Value Answer(int type, int port);

private:
    static void OnRequest(void* self, srcwatch_event_s* event);
    Json::Value AnswerStatus() const;
    Json::Value AnswerProfiles() const;
    Json::Value AnswerRecord(int port) const;
    Json::Value AnswerCapture(int port) const;
    Json::Value AnswerWith(int port, const Json::Value& record) const;
    Json::Value AnswerDeny(int port);
    Json::Value AnswerForget(int port);
    Json::Value AnswerIfSaved(int port, const Record& before);

    const PortSet m_ports;
    Records& m_records;
    const Settings& m_settings;
    Detector& m_detector;
    const Commands& m_commands;
};

}  // namespace srcwatch

#endif
