// SPDX-License-Identifier: Apache-2.0
#include "Watch.h"

#include "Events.h"
#include "InputName.h"
#include "Tv.h"
#include "Words.h"
#include "srcwatch-protocol.h"

#include <cstring>

#include <glib.h>

namespace panel {

namespace {

constexpr unsigned kRetryMilliseconds = 1000;
constexpr unsigned kStatusMilliseconds = 100;    // between two questions for it
constexpr unsigned kCapturesMilliseconds = 100;  // after which a new capture is complete

double Milliseconds() { return static_cast<double>(g_get_monotonic_time()) / 1000; }

// A detection may be quicker than the notice of what was plugged in. Then the service knows how long it took.
Json::Value TimeOf(const PortProgress& progress, const Json::Value& history)
{
    if (const auto took = progress.Milliseconds()) return static_cast<double>(static_cast<gint64>(*took * 10)) / 10;
    return progress.IsFromHere() && !history.empty() ? history[history.size() - 1]["milliseconds"] : Json::Value();
}

// Applications cannot distinguish a scan that runs from none; the service says that.
std::string StageOf(const std::string& stage, bool isActive, bool isOver)
{
    if (isActive || stage != "running") return stage;
    return isOver ? "finished" : "idle";
}

}  // namespace

Watch::Watch(const Inputs& inputs, KnownDevices& devices, ServiceCalls& calls, State& state,
             std::function<void()> onChange)
    : m_inputs(inputs),
      m_devices(devices),
      m_calls(calls),
      m_state(state),
      m_onChange(std::move(onChange)),
      m_numbers(Ports()),
      m_portsLater(0, [this] { RefreshPorts(); }),
      m_statesLater(0,
                    [this] {
                        RefreshStates();
                        m_statusLater.Ask();
                    }),
      m_capturesLater(kCapturesMilliseconds, [this] { RefreshCaptures(); }),
      m_statusLater(kStatusMilliseconds, [this] { AskStatus(); }),
      m_retryLater(kRetryMilliseconds, [this] { RefreshAll(); }),
      m_inputsWatch(inputs.Directory(), [this] { RefreshPorts(); }),
      m_capturesWatch(devices.Directory(), [this] { m_capturesLater.Ask(); }),
      m_bus({[this] { OnBus(); }, [this](const srcwatch_event_s& event) { OnEvent(event); }})
{
    m_scan["port"] = m_scan["found"] = Json::nullValue;
    m_scan["active"] = false;
    SetService();
    SetOptical(false);
    RefreshCaptures();
    RefreshAll();
}

Watch::~Watch()
{
    srcwatch_host_unwatch_setting(m_settings);
    srcwatch_host_unwatch_setting(m_replacement);
}

void Watch::SetOptical(bool isActive)
{
    Json::Value optical;
    optical["active"] = isActive;
    m_state.Set("optical", optical);
}

// ---------------------------------------------------------------------------------------------------------------------
// Settings

// Records and statistics are durable settings, all states are volatile ones.
void Watch::OnSetting(const char* key, const srcwatch_host_value* /*value*/, void* self)
{
    auto& watch = *static_cast<Watch*>(self);
    const bool isDurable = std::strncmp(key, "db/", 3) == 0;
    (isDurable ? watch.m_portsLater : watch.m_statesLater).Ask();
}

void Watch::OnReplaced(void* self)
{
    auto& watch = *static_cast<Watch*>(self);
    watch.m_portsLater.Ask();
    watch.m_statesLater.Ask();
}

void Watch::WatchSettings()
{
    if (m_settings == 0) m_settings = srcwatch_host_watch_setting(nullptr, OnSetting, this);
    if (m_replacement == 0) m_replacement = srcwatch_host_watch_replacement(OnReplaced, this);
    if (m_settings == 0 || m_replacement == 0) m_retryLater.Ask();
}

void Watch::RefreshAll()
{
    WatchSettings();
    RefreshStates();
    RefreshPorts();
}

// ---------------------------------------------------------------------------------------------------------------------
// Ports and states

// Returns true if the record is that of the device on the port: the service needs a moment to clear that of another
// one.
bool Watch::LookAt(int port, const Json::Value& record)
{
    Port& known = m_ports[port];
    const bool isPlugged = m_inputs.IsPlugged(port);
    const bool isChanged = known.isPlugged && *known.isPlugged != isPlugged;
    if (isChanged && !isPlugged) known.isReported = false;  // the service will say so, too
    if (isChanged) known.stale = record;
    if (record != known.stale) known.stale = Json::Value();
    known.isPlugged = isPlugged;
    const bool isDetected = known.stale.isNull() && record["DevType"].isInt() && record["DevType"] != 0;
    known.progress.Update({isPlugged, known.isReported, isDetected}, Milliseconds());
    return isDetected;
}

Json::Value Watch::DescribePort(int port, const Json::Value& record, const Json::Value& history)
{
    const bool isDetected = LookAt(port, record);
    const Port& known = m_ports[port];
    const std::string capture = m_inputs.CaptureOn(port);
    Json::Value json;
    json["port"] = port;
    json["label"] = srcwatch::PortName(port);
    json["input"] = srcwatch::InputName(port);
    json["present"] = true;
    json["state"] = known.progress.State();
    json["milliseconds"] = isDetected ? TimeOf(known.progress, history) : Json::Value();
    json["capture"] = capture.empty() ? Json::Value() : Json::Value(capture);
    json["device"] = DescribeDevice(port);
    json["record"] = record;
    json["history"] = history;
    return json;
}

// What cannot be read for the moment stays as it was.
void Watch::RefreshPorts()
{
    m_portsLater.Cancel();
    const auto stored = ReadStored(m_numbers);
    if (!stored) return m_retryLater.Ask();
    for (const int port : m_numbers) {
        m_state.SetPort(DescribePort(port, stored->records.at(port), stored->histories.at(port)));
    }
    m_state.Set("statistics", stored->statistics);
    m_onChange();
}

void Watch::RefreshStates()
{
    m_statesLater.Cancel();
    m_state.Set("features", DescribeFeatures());
    Json::Value twc = DescribeTwc();
    const Json::Value& port = m_status["twc"]["port"];
    twc["port"] = port.isInt() && port.asInt() >= 0 ? port : Json::Value();
    m_state.Set("twc", twc);
    Json::Value scan = DescribeScan();
    for (const char* const name : {"port", "found", "active"}) scan[name] = m_scan[name];
    scan["stage"] = StageOf(scan["stage"].asString(), m_scan["active"].asBool(), !m_scan["found"].isNull());
    m_state.Set("scan", scan);
    m_onChange();
}

void Watch::RefreshCaptures()
{
    m_state.Set("captures", m_devices.Refresh());
    m_onChange();
}

// ---------------------------------------------------------------------------------------------------------------------
// Events

void Watch::NoteScan(const srcwatch_event_s& event)
{
    const bool isProgress = event.type == SRCWATCH_EVENT_SCAN_PROGRESS;
    if (event.args[isProgress ? 1 : 2] == SRCWATCH_PORT_OPTICAL) return SetOptical(isProgress);
    m_scan["active"] = isProgress;
    m_scan["port"] = isProgress ? Json::Value(event.args[1]) : Json::Value();
    m_scan["found"] = isProgress ? Json::Value() : Json::Value(event.args[1]);
}

void Watch::OnEvent(const srcwatch_event_s& event)
{
    m_state.Append("events", DescribeEvent(event));
    const auto port = m_ports.find(event.args[0]);
    switch (event.type) {
        case SRCWATCH_EVENT_CONNECTION:  // plugged or not
        case SRCWATCH_EVENT_DETECTED:    // the type, or none
            if (port == m_ports.end()) break;
            port->second.isReported = event.args[1] != 0;
            if (event.type == SRCWATCH_EVENT_DETECTED) port->second.stale = Json::Value();
            break;
        default:
            NoteScan(event);
    }
    m_statusLater.Ask();
    RefreshStates();
    RefreshPorts();
}

// ---------------------------------------------------------------------------------------------------------------------
// Bus and service

void Watch::SetService()
{
    Json::Value service;
    service["bus"] = m_bus.HasBus();
    service["running"] = m_bus.HasService();
    service["status"] = m_status;
    m_state.Set("service", service);
}

void Watch::OnBus()
{
    m_status = Json::Value();
    m_isFirstStatus = true;
    if (HasService()) {
        m_statusLater.Ask();
        AskProfiles();
    } else {
        m_scan["active"] = false;
        SetOptical(false);
        for (auto& [number, port] : m_ports) port.isReported = false;
    }
    SetService();
    RefreshAll();
}

void Watch::AskStatus()
{
    if (!HasService()) return;
    if (m_isAsking) return m_statusLater.Ask();
    m_isAsking = true;
    m_calls.Call(SRCWATCH_REQUEST_STATUS, 0, [this](const ServiceReply& reply) { OnStatus(reply); });
}

// Only the first one says which devices are plugged in: it may be older than the events that arrived since.
void Watch::OnStatus(const ServiceReply& reply)
{
    m_isAsking = false;
    if (!HasService()) return;
    m_status = reply.object;
    SetService();
    if (reply.IsReply()) m_scan["active"] = m_status["scan"]["state"] == "running";
    if (reply.IsReply() && m_isFirstStatus) {
        m_isFirstStatus = false;
        for (auto& [number, port] : m_ports) port.stale = Json::Value();
        for (const Json::Value& port : m_status["plugged"]) {
            const auto known = port.isInt() ? m_ports.find(port.asInt()) : m_ports.end();
            if (known != m_ports.end()) known->second.isReported = true;
        }
        RefreshPorts();
    }
    RefreshStates();
}

void Watch::AskProfiles()
{
    m_calls.Call(SRCWATCH_REQUEST_PROFILES, 0, [this](const ServiceReply& reply) {
        if (reply.IsReply()) m_devices.SetServicePaths(reply.object["paths"]);
        RefreshCaptures();
    });
}

}  // namespace panel
