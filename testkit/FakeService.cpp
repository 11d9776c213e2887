// SPDX-License-Identifier: Apache-2.0
#include "FakeService.h"

#include "BusCalls.h"
#include "QDInfoNames.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <json/json.h>
#include <vconf.h>

namespace srcwatch_test {

namespace {

constexpr int kProgressBase = 100;

void Require(bool holds, const std::string& otherwise)
{
    if (!holds) throw std::runtime_error("fake service: " + otherwise);
}

void WriteNumber(const char* key, int value)
{
    Require(vconf_set_int(key, value) == 0, std::string("cannot write ") + key);
}

void SetCable(int port, bool isPlugged)
{
    if (port == SRCWATCH_PORT_OPTICAL) return;  // which the TV service does not watch
    const int source = qdinfo::HDMI_SOURCE_IDS[port];
    Require(srcwatch_host_set_connected(source, isPlugged) == 0, "cannot set a cable");
}

struct Announcer {
    void operator()(const srcwatch::ConnectionChanged& event) const
    {
        FakeService::Send(SRCWATCH_EVENT_CONNECTION, {event.port, event.plugged ? 1 : 0});
    }
    void operator()(const srcwatch::Detected& event) const
    {
        FakeService::Send(SRCWATCH_EVENT_DETECTED, {event.port, static_cast<int>(event.type), event.changed ? 1 : 0},
                          {event.name, event.brand, event.provider});
    }
    void operator()(const srcwatch::ScanProgressed& event) const
    {
        FakeService::Send(SRCWATCH_EVENT_SCAN_PROGRESS, {event.percent, event.port});
    }
    void operator()(const srcwatch::ScanFinished& event) const
    {
        FakeService::Send(SRCWATCH_EVENT_SCAN_FINISHED, {event.result, event.found});
    }
};

}  // namespace

FakeService::FakeService()
    : m_hdmi(static_cast<std::size_t>(std::clamp<int>(get_hdmi_count(), 0, std::size(qdinfo::HDMI_SOURCE_IDS))))
{
    const auto onCommand = [](const char*, const srcwatch_host_value* value, void* self) {
        if (value != nullptr && value->text == nullptr)
            static_cast<FakeService*>(self)->m_commands.push_back(value->number);
    };
    m_watch = srcwatch_host_watch_setting(qdinfo::kScanProgressKey, onCommand, this);
    Require(m_watch != 0, "cannot watch the settings");
    Require(RunUntil([] { return OwnsName(SRCWATCH_BUS_NAME); }), "the bus does not grant " SRCWATCH_BUS_NAME);
    for (const char* key : {qdinfo::kMvpdSupportKey, qdinfo::kHotplugSupportKey}) WriteNumber(key, 1);
}

FakeService::~FakeService()
{
    srcwatch_host_unwatch_setting(m_watch);
    for (const char* key : {qdinfo::kMvpdSupportKey, qdinfo::kHotplugSupportKey})
        static_cast<void>(vconf_set_int(key, 0));  // nothing can be done if it fails
}

void FakeService::Plug(int port, const qdinfo::CQDInfoActivityInfo& record)
{
    RecordOf(port) = record;
    RecordOf(port).SetPortNumber(port);
    SetCable(port, true);
    Announce(srcwatch::ConnectionChanged{port, true});
    Store(port);
    qdinfo::CQDInfoActivityInfo& stored = RecordOf(port);
    Announce(srcwatch::Detected{port, static_cast<srcwatch::DeviceType>(stored.GetDeviceType()),
                                stored.GetChangedType() != SRCWATCH_CHANGED_NOT, stored.GetDeviceName(),
                                stored.GetBrandName(), stored.GetProviderName()});
}

void FakeService::Unplug(int port)
{
    RecordOf(port).ResetSourceInfo();
    SetCable(port, false);
    Store(port);
    Announce(srcwatch::ConnectionChanged{port, false});
}

void FakeService::ProceedScan(int percent, int port)
{
    WriteNumber(qdinfo::kScanResultKey, kProgressBase + percent);
    Announce(srcwatch::ScanProgressed{percent, port});
}

void FakeService::FinishScan(int result, int found)
{
    WriteNumber(qdinfo::kScanResultKey, result);
    Announce(srcwatch::ScanFinished{result, found});
}

void FakeService::Announce(const srcwatch::Event& event) { std::visit(Announcer(), event); }

void FakeService::Send(int type, const std::vector<int>& numbers, const std::vector<std::string>& texts)
{
    qdinfo::CQDEventSender sender("qdinfo");
    srcwatch_event_s event{};
    std::copy_n(numbers.begin(), std::min(numbers.size(), std::size(event.args)), event.args);
    sender.AppendArgs(event);
    sender.AppendArgs(texts.at(0), texts.at(1), texts.at(2));
    sender.SendEvent(type);
}

int FakeService::ExpectCommand(std::chrono::milliseconds limit)
{
    Require(RunUntil([this] { return !m_commands.empty(); }, limit), "no command has come");
    const int command = m_commands.front();
    m_commands.pop_front();
    return command;
}

void FakeService::Answer(int type, const std::string& reply)
{
    m_replies[type] = reply;
    m_receiver.RegisterEventCallback(type, OnCall, this);
}

void FakeService::OnCall(void* self, srcwatch_event_s* event)
{
    auto& service = *static_cast<FakeService*>(self);
    auto& request = *static_cast<std::stringstream*>(event->ptr_args[1]);
    std::string extra;
    std::getline(request >> std::ws, extra, '\t');
    service.m_calls.push_back({*event, extra});
    *static_cast<std::stringstream*>(event->ptr_args[0]) << service.m_replies[event->type];
}

qdinfo::CQDInfoActivityInfo& FakeService::RecordOf(int port)
{
    if (port == SRCWATCH_PORT_OPTICAL) return m_optical;
    Require(port >= 0 && static_cast<std::size_t>(port) < m_hdmi.size(), "no such port: " + std::to_string(port));
    return m_hdmi[static_cast<std::size_t>(port)];
}

// The HDMI records are stored together.
void FakeService::Store(int port)
{
    const bool isOptical = port == SRCWATCH_PORT_OPTICAL;
    Json::Value document;
    if (isOptical) {
        static_cast<void>(m_optical.Write(document["activity"]));  // which is null, so it can take the record
    } else {
        for (qdinfo::CQDInfoActivityInfo& record : m_hdmi)
            static_cast<void>(record.Write(document["activity"].append(Json::Value())));  // the same
    }
    const char* const key = isOptical ? qdinfo::kOpticalActivityKey : qdinfo::kSourceActivityKey;
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), document);
    Require(vconf_set_str(key, text.c_str()) == 0, std::string("cannot write ") + key);
    Send(SRCWATCH_EVENT_RECORDS_SAVED, {});
}

}  // namespace srcwatch_test
