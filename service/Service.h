// SPDX-License-Identifier: Apache-2.0
//
// The reference detection service: its life, from the bus name on to the end, and what it is made of.
#ifndef SRCWATCH_SERVICE_SERVICE_H
#define SRCWATCH_SERVICE_SERVICE_H

#include "Announcer.h"
#include "Commands.h"
#include "Detector.h"
#include "Glib.h"
#include "PortSet.h"
#include "Records.h"
#include "Requests.h"

#include <memory>
#include <string>
#include <vector>

namespace srcwatch {

struct Options {
    std::string inputs;
    std::vector<std::string> profiles;
    unsigned scanStepMilliseconds = 400;
    unsigned quietMilliseconds = 100;
};

/// One per process: it is the library's server part and owns the channel's bus name.
class Service {
public:
    explicit Service(Options options);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Serve until told to end. @return What went wrong, or empty after an end that was asked for.
    std::string Run();

    /// Whether the end was that another service took over.
    bool WasTakenOver() const { return m_TakenOver; }

private:
    std::string Prepare();
    void LoadProfiles();
    std::string ConnectToBus();
    void OwnName();
    void CheckOwnership();
    void HandleOwner(const std::string& owner);
    void Begin();
    void WatchSettings();
    void ShowSupport(bool supported);
    void End(const std::string& failure);
    void WithdrawStates();

    const Options m_Options;
    const PortSet m_Ports;
    Records m_Records;
    BusAnnouncer m_Announcer;
    Detector m_Detector;
    Commands m_Commands;
    Requests m_Requests;

    bool m_Begun = false;
    bool m_TakenOver = false;
    std::string m_Failure;
    Timer m_NameDeadline;
    std::vector<unsigned> m_Watches;
    GObjectPtr<GDBusConnection> m_Bus;
    std::unique_ptr<qdinfo::CQDEventReciever> m_Receiver;
    std::unique_ptr<GMainLoop, void (*)(GMainLoop*)> m_Loop;
};

}  // namespace srcwatch

#endif
