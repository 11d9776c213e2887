// SPDX-License-Identifier: Apache-2.0
//
// The reference detection service: its parts, its start and its end.
#ifndef SRCWATCH_SERVICE_SERVICE_H
#define SRCWATCH_SERVICE_SERVICE_H

#include "Announcer.h"
#include "CombinedInputs.h"
#include "Commands.h"
#include "DetectionLog.h"
#include "Detector.h"
#include "DeviceCalls.h"
#include "Handle.h"
#include "PortSet.h"
#include "Records.h"
#include "Requests.h"
#include "Settings.h"
#include "Timer.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace srcwatch {

struct Options {
    std::string inputs;                    ///< directory; empty for none
    std::vector<std::string> cecAdapters;  ///< devices
    std::map<int, std::string> spdFiles;   ///< by port
    std::vector<std::string> receivers;    ///< video devices that tell +5 V
    std::vector<std::string> profiles;
    std::string detections;  ///< file of detections, "-" for standard output; empty for none
    Origin origin;           ///< of the lines in it
    unsigned scanStepMilliseconds = 400;
    unsigned quietMilliseconds = 100;
    unsigned cecRoundMilliseconds = 5000;

    bool HasInputs() const
    {
        return !inputs.empty() || !cecAdapters.empty() || !spdFiles.empty() || !receivers.empty();
    }
};

/// The library's service side and the owner of the channel's bus name, of which a process has one.
class Service {
public:
    explicit Service(Options options);
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

    const Options m_options;
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
