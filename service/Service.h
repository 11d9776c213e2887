// SPDX-License-Identifier: Apache-2.0
//
// The reference detection service: its life, from the bus name on to the end, and what it is made of.
#ifndef SRCWATCH_SERVICE_SERVICE_H
#define SRCWATCH_SERVICE_SERVICE_H

#include "Announcer.h"
#include "Commands.h"
#include "Detector.h"
#include "Handle.h"
#include "PortSet.h"
#include "Records.h"
#include "Requests.h"
#include "Timer.h"

#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

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
    bool WasTakenOver() const { return m_takenOver; }

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

    const Options m_options;
    const PortSet m_ports;
    Records m_records;
    BusAnnouncer m_announcer;
    Detector m_detector;
    Commands m_commands;
    Requests m_requests;

    bool m_begun = false;
    bool m_takenOver = false;
    std::string m_failure;
    Timer m_nameDeadline;
    std::vector<unsigned> m_watches;
    Handle<GDBusConnection, g_object_unref> m_bus;
    std::unique_ptr<qdinfo::CQDEventReciever> m_receiver;
    Handle<GMainLoop, g_main_loop_unref> m_loop;
};

}  // namespace srcwatch

#endif
