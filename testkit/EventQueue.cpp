// SPDX-License-Identifier: Apache-2.0
#include "EventQueue.h"

#include "BusCalls.h"
#include "QDInfoEventManager.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace srcwatch_test {

namespace {

constexpr int kTypes[] = {SRCWATCH_EVENT_CONNECTION, SRCWATCH_EVENT_DETECTED, SRCWATCH_EVENT_SCAN_PROGRESS,
                          SRCWATCH_EVENT_SCAN_FINISHED};

struct Describer {
    std::string operator()(const srcwatch::ConnectionChanged& event) const
    {
        return "ConnectionChanged: port " + std::to_string(event.port) + (event.plugged ? ", plugged" : ", unplugged");
    }
    std::string operator()(const srcwatch::Detected& event) const
    {
        return "Detected: port " + std::to_string(event.port) + ", " + to_string(event.type) +
               (event.changed ? ", another device, '" : ", '") + event.name + "', '" + event.brand + "', '" +
               event.provider + "'";
    }
    std::string operator()(const srcwatch::ScanProgressed& event) const
    {
        return "ScanProgressed: " + std::to_string(event.percent) + " %, port " + std::to_string(event.port);
    }
    std::string operator()(const srcwatch::ScanFinished& event) const
    {
        return "ScanFinished: result " + std::to_string(event.result) + ", " + std::to_string(event.found) + " found";
    }
};

// The first word of what an event of that kind is in words.
std::string NameOf(const srcwatch::Event& kind)
{
    const std::string text = Describe(kind);
    return text.substr(0, text.find(':'));
}

}  // namespace

std::string Describe(const srcwatch::Event& event) { return std::visit(Describer(), event); }

// Events are decoded as those of an application's subscription are.
struct EventQueue::Receiver {
    explicit Receiver(srcwatch::EventCallback callback)
        : subscriber(std::make_shared<srcwatch::detail::Subscriber>(std::move(callback)))
    {
        for (const int type : kTypes)
            receiver.RegisterEventCallback(type, &srcwatch::detail::Subscriber::handle, subscriber.get());
    }

    std::shared_ptr<srcwatch::detail::Subscriber> subscriber;
    qdinfo::CQDEventReciever receiver{"qdinfo", false};
};

EventQueue::EventQueue()
    : m_receiver(std::make_unique<Receiver>([this](const srcwatch::Event& event) { m_events.push_back(event); }))
{
    static_cast<void>(AskBus("GetId", nullptr));  // then the bus knows of the receiver
}

EventQueue::~EventQueue() = default;

srcwatch::Event EventQueue::Take(const std::function<bool(const srcwatch::Event&)>& matches,
                                 const srcwatch::Event& kind, std::chrono::milliseconds limit)
{
    auto found = m_events.end();
    const bool hasCome = RunUntil(
        [&] { return (found = std::find_if(m_events.begin(), m_events.end(), matches)) != m_events.end(); }, limit);
    if (!hasCome) {
        std::string others = m_events.empty() ? "; nothing has come" : "; what has come:";
        for (const srcwatch::Event& event : m_events) others += "\n  " + Describe(event);
        throw std::runtime_error("no such event " + NameOf(kind) + " within " + std::to_string(limit.count()) + " ms" +
                                 others);
    }
    srcwatch::Event event = *found;
    m_events.erase(found);
    return event;
}

}  // namespace srcwatch_test
