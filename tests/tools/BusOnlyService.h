// SPDX-License-Identifier: Apache-2.0
//
// A detection service in the test's own process: it owns the name, and answers and sends what the test wants.
// It writes no settings: what the tool shows is what a test has stored. The test kit's FakeService stores, too.
#ifndef SRCWATCH_TESTS_BUSONLYSERVICE_H
#define SRCWATCH_TESTS_BUSONLYSERVICE_H

#include "BusPeer.h"
#include "QDInfoEventManager.h"

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace srcwatch_test {

class BusOnlyService {
public:
    BusOnlyService() : m_receiver("qdinfo", true)
    {
        EXPECT_TRUE(RunUntil([] { return !BusPeer().OwnerOf("org.nalto.tv.qdinfo").empty(); }));
    }

    /// Reply to method calls of a type.
    void Answer(int type, const std::string& reply)
    {
        m_replies[type] = reply;
        m_receiver.RegisterEventCallback(type, OnCall, this);
    }

    /// The calls that arrived, with what followed them.
    struct Call {
        srcwatch_event_s event;
        std::string extra;
    };
    std::vector<Call> calls;

    static void Send(int type, const std::vector<int>& numbers, const std::vector<std::string>& texts = {"", "", ""})
    {
        qdinfo::CQDEventSender sender("qdinfo");
        srcwatch_event_s event{};
        std::copy(numbers.begin(), numbers.end(), event.args);
        sender.AppendArgs(event);
        sender.AppendArgs(texts[0], texts[1], texts[2]);
        sender.SendEvent(type);
    }

private:
    static void OnCall(void* self, srcwatch_event_s* event)
    {
        auto& service = *static_cast<BusOnlyService*>(self);
        auto& request = *static_cast<std::stringstream*>(event->ptr_args[1]);
        std::string extra;
        std::getline(request >> std::ws, extra, '\t');
        service.calls.push_back({*event, extra});
        *static_cast<std::stringstream*>(event->ptr_args[0]) << service.m_replies[event->type];
    }

    std::map<int, std::string> m_replies;
    qdinfo::CQDEventReciever m_receiver;
};

}  // namespace srcwatch_test

#endif
