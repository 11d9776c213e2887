// SPDX-License-Identifier: Apache-2.0
//
// Follows the TV: whatever happens to it, to the service or to the inputs is in the state at once.
#ifndef SRCWATCH_PANEL_WATCH_H
#define SRCWATCH_PANEL_WATCH_H

#include "Bus.h"
#include "Inputs.h"
#include "KnownDevices.h"
#include "Later.h"
#include "PathWatch.h"
#include "PortProgress.h"
#include "ServiceCalls.h"
#include "State.h"
#include "srcwatch-host.h"

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace panel {

class Watch {
public:
    /// @param onChange  Is called when the state has changed.
    Watch(const Inputs& inputs, KnownDevices& devices, ServiceCalls& calls, State& state,
          std::function<void()> onChange);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    bool HasService() const { return m_bus.HasService(); }
    /// Looks at the inputs and their records now, without waiting for the notice of a change.
    void RefreshPorts();
    /// Notes that a scan of the optical source was commanded.
    void SetOptical(bool isActive);

private:
    struct Port {
        PortProgress progress;
        std::optional<bool> isPlugged;  // nothing before the first look
        bool isReported = false;
        Json::Value stale;  // the record of the device that was there before; null without one
    };

    static void OnSetting(const char* key, const srcwatch_host_value* value, void* self);
    static void OnReplaced(void* self);
    void WatchSettings();
    void OnEvent(const srcwatch_event_s& event);
    void OnBus();
    void RefreshAll();
    void RefreshStates();
    void RefreshCaptures();
    void AskStatus();
    void OnStatus(const ServiceReply& reply);
    void AskProfiles();
    void SetService();
    bool LookAt(int port, const Json::Value& record);
    Json::Value DescribePort(int port, const Json::Value& record, const Json::Value& history);
    void NoteScan(const srcwatch_event_s& event);

    const Inputs& m_inputs;
    KnownDevices& m_devices;
    ServiceCalls& m_calls;
    State& m_state;
    const std::function<void()> m_onChange;
    const std::vector<int> m_numbers;
    std::map<int, Port> m_ports;
    Json::Value m_status;
    Json::Value m_scan;
    bool m_isAsking = false;
    bool m_isFirstStatus = true;
    unsigned m_settings = 0;     // id of the watch
    unsigned m_replacement = 0;  // the same
    Later m_portsLater;
    Later m_statesLater;
    Later m_capturesLater;
    Later m_statusLater;
    Later m_retryLater;
    PathWatch m_inputsWatch;
    PathWatch m_capturesWatch;
    Bus m_bus;
};

}  // namespace panel

#endif
