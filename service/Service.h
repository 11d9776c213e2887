// SPDX-License-Identifier: Apache-2.0
//
// The reference detection service: its parts, its start and its end.
#ifndef SRCWATCH_SERVICE_SERVICE_H
#define SRCWATCH_SERVICE_SERVICE_H

#include "Announcer.h"
#include "CombinedInputs.h"
#include "Commands.h"
#include "Configuration.h"
#include "DetectionLog.h"
#include "Detector.h"
#include "DeviceCalls.h"
#include "Handle.h"
#include "PortSet.h"
#include "Records.h"
#include "Requests.h"
#include "Settings.h"
#include "Timer.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace srcwatch {

/// The library's service side and the owner of the channel's bus name, of which a process has one.
class Service {
public:
    /// @param readAgain  Reads the configuration as it is now.
    Service(Configuration configuration, std::function<Configuration()> readAgain);
    ~Service();

    /// Serves until a signal or a failure ends it. @return The failure, or empty after a signal.
    std::string Run();

    /// Returns true if Run() ended because another service took the bus name.
    bool WasTakenOver() const { return m_takenOver; }

private:
    std::vector<std::unique_ptr<InputBackEnd>> MakeBackEnds();
    std::string Prepare();
    std::string CheckInputsDirectory() const;
    std::string Places() const;
    void Reload();
    void LoadProfiles();
    std::string ConnectToBus();
    void OwnName();
    void CheckOwnership();
    void HandleOwner(const std::string& owner);
    void Begin();
    bool WatchSettings();
    void UnwatchSettings();
    void ShowSupport(bool supported);
    void FeedWatchdog();
    void KeepCopies();
    void End(const std::string& failure);
    void ClearStates();
    bool IsNameOwned() const;

    Configuration m_configuration;
    const std::function<Configuration()> m_readAgain;
    const Options& m_options = m_configuration.options;
    const PortSet m_ports;
    Settings m_settings;
    Records m_records;
    Announcer m_announcer;
    DeviceCalls m_deviceCalls;
    CombinedInputs m_inputs;
    DetectionLog m_log;
    Detector m_detector;
    Commands m_commands;
    Requests m_requests;

    bool m_begun = false;
    bool m_takenOver = false;
    std::string m_failure;
    Timer m_nameDeadline;
    Timer m_watchdog;
    Timer m_nextCopy;
    std::vector<unsigned> m_watches;
    Handle<GDBusConnection, g_object_unref> m_bus;
    std::unique_ptr<qdinfo::CQDEventReciever> m_receiver;
    Handle<GMainLoop, g_main_loop_unref> m_loop;
};

}  // namespace srcwatch

#endif
