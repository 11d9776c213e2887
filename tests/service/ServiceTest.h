// SPDX-License-Identifier: Apache-2.0
//
// The real service as a process, on a private bus and with settings of its own; the test is an application.
#ifndef SRCWATCH_TESTS_SERVICETEST_H
#define SRCWATCH_TESTS_SERVICETEST_H

#include "PrivateBus.h"
#include "Process.h"
#include "QDInfoEventManager.h"
#include "QDInfoNames.h"
#include "ServiceProcess.h"
#include "TempDirectory.h"
#include "TestPlatform.h"
#include "Waiting.h"
#include "srcwatch-api.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

namespace srcwatch_test {

/// An event as an application's callback got it.
struct Event {
    int type;
    std::vector<int> args;  // the first three
    std::vector<std::string> texts;
};
bool operator==(const Event& a, const Event& b);
std::ostream& operator<<(std::ostream& out, const Event& event);

/// Runs the tests of a program, or another body, on a TV of its own with an infrared remote.
int RunInHome(int argc, char** argv, int hdmiInputs);
int RunInHome(int argc, char** argv, int hdmiInputs, const std::function<int()>& body);
inline std::string HomePath(const std::string& name) { return TestPlatform::Path(name); }

/// Makes a bus beside the one that the test program itself connects to.
std::unique_ptr<PrivateBus> MakeSecondBus(const std::string& policy = "");

/// What every system bus allows, before the rules of services are added: connections, signals, and calls to the bus.
extern const char* const kSystemBusRules;

class ServiceTest : public testing::Test {
protected:
    ServiceTest();
    ~ServiceTest() override;

    /// Starts the service and waits until it serves.
    void StartService(const std::vector<std::string>& options = {});
    /// Starts it without waiting.
    std::unique_ptr<Process> LaunchService(const std::vector<std::string>& options = {},
                                           const std::map<std::string, std::string>& environment = {});
    /// Makes this command start the program.
    void SetLauncher(std::vector<std::string> launcher) { m_launcher = std::move(launcher); }
    /// Makes it another build of the program.
    void SetProgram(std::string program) { m_program = std::move(program); }
    bool WaitUntilServing();
    /// Ends it with a signal. @return Its exit code.
    int StopService(int signal);
    /// Suspends it, until SIGCONT.
    void SuspendService() const;

    /// Plugs a capture in, by its name or its path, as a link to it, and out again. Plug() waits for the detection.
    void Plug(const std::string& input, const std::string& capture);
    void LinkCapture(const std::string& input, const std::string& capture) const;
    void Unplug(const std::string& input);
    std::string InputPath(const std::string& name) const { return m_inputs / name; }

    /// Returns a port's stored record; null if there is none.
    static Json::Value StoredRecord(int port);
    /// Settings, as this process reads them.
    static std::optional<std::string> TextSetting(const std::string& key);
    static std::optional<int> NumberSetting(const std::string& key);

    std::vector<Event> EventsOf(int type) const;
    std::size_t CountOf(int type) const { return EventsOf(type).size(); }
    bool WaitForEvents(int type, std::size_t count);
    /// The number of saves that the service announced.
    std::size_t Saves() const { return m_saves; }

    /// Returns the reply to a request.
    static Json::Value Call(int type, int port);

    /// The service's log, and how many of its lines contain a text.
    static std::string Log();
    static int LogLinesWith(const std::string& text) { return srcwatch_test::LogLinesWith(text); }

    TempDirectory m_inputs;
    std::unique_ptr<Process> m_service;
    std::vector<Event> m_events;

private:
    static void OnEvent(void* self, srcwatch_event_s* event);
    static void OnSaved(void* self, srcwatch_event_s* event);

    std::size_t m_saves = 0;
    int m_servingBefore = 0;
    std::vector<std::string> m_launcher;
    std::string m_program = SRCWATCH_SERVICE_PROGRAM;
    std::unique_ptr<qdinfo::CQDEventReciever> m_saveReceiver;
};

/// The service from outside: raw captures in, what applications see out.
class Service : public ServiceTest {
protected:
    static constexpr int kConnection = SRCWATCH_EVENT_CONNECTION;
    static constexpr int kDetected = SRCWATCH_EVENT_DETECTED;
    static constexpr int kProgress = SRCWATCH_EVENT_SCAN_PROGRESS;
    static constexpr int kFinished = SRCWATCH_EVENT_SCAN_FINISHED;
    static constexpr int kOptical = SRCWATCH_PORT_OPTICAL;

    static inline const std::string kActivity = qdinfo::kSourceActivityKey;
    static inline const std::string kOpticalActivity = qdinfo::kOpticalActivityKey;
    static inline const std::string kStatistics = qdinfo::kStatisticsKey;
    static inline const std::string kScanResult = qdinfo::kScanResultKey;

    static inline const std::vector<std::string> kNoTexts = {"", "", ""};

    /// The library's answers about a port. They must succeed.
    static std::string Query(int (*query)(char*, int), int port);
    static int QueryType(int port);
    /// The port that the device was on before, and whether it changed.
    static std::pair<int, bool> QueryChange(int port);

    /// The ports of events, or what else stands first in them.
    static std::vector<int> FirstArgs(const std::vector<Event>& events);
};

}  // namespace srcwatch_test

#endif
