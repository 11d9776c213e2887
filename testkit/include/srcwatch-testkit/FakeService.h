// SPDX-License-Identifier: Apache-2.0
//
// A detection service that the test plays: records and events are what the test gives, and no program is needed.
#ifndef SRCWATCH_TESTKIT_FAKESERVICE_H
#define SRCWATCH_TESTKIT_FAKESERVICE_H

#include "srcwatch-testkit/Waiting.h"

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include <QDInfoActivityInfo.h>
#include <QDInfoEventManager.h>
#include <srcwatch.hpp>

namespace srcwatch_test {

/// Owns the service's name on the bus while it exists, in the program of the test, and behaves as the service does as
/// far as applications see it. It needs the main loop where requests or commands are to reach it.
class FakeService {
public:
    /// Switches detection on; the records are as they are stored. Throws std::runtime_error if the bus refuses the
    /// name.
    FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;
    /// Switches detection off and releases the name.
    ~FakeService();

    /// Has a device plugged in and detected: sets the cable, announces the connection, stores the record, announces the
    /// detection. A port that is plugged in already gets another record.
    void Plug(int port, const qdinfo::CQDInfoActivityInfo& record);
    /// Removes the cable, clears the record, announces it.
    void Unplug(int port);

    /// Shows how far a first-setup scan is, 0 to 90 per cent, and announces it.
    static void ProceedScan(int percent, int port);
    /// Ends a scan with a value of enum srcwatch_scan_result, and announces it.
    static void FinishScan(int result, int found);

    /// Announces any event, and changes nothing.
    static void Announce(const srcwatch::Event& event);
    /// Announces an event by its numbers and texts.
    static void Send(int type, const std::vector<int>& numbers, const std::vector<std::string>& texts = {"", "", ""});

    /// Runs the main loop until a command to the service has come that was not returned yet. @return A value of enum
    /// srcwatch_scan_command. Throws std::runtime_error if there is none when the time is over.
    int ExpectCommand(std::chrono::milliseconds limit = kDeadline);

    /// A request, with what followed its numbers.
    struct Call {
        srcwatch_event_s event;
        std::string extra;
    };
    /// Replies to requests of a type from now on.
    void Answer(int type, const std::string& reply);
    /// The requests so far of the types that are answered.
    const std::vector<Call>& Calls() const { return m_calls; }

private:
    static void OnCall(void* self, srcwatch_event_s* event);
    qdinfo::CQDInfoActivityInfo& RecordOf(int port);
    void Store(int port);

    std::vector<qdinfo::CQDInfoActivityInfo> m_hdmi;
    qdinfo::CQDInfoActivityInfo m_optical;
    std::deque<int> m_commands;
    std::map<int, std::string> m_replies;
    std::vector<Call> m_calls;
    qdinfo::CQDEventReciever m_receiver{"qdinfo", true};
    unsigned m_watch = 0;
};

}  // namespace srcwatch_test

#endif
