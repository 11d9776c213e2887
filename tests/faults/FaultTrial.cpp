// SPDX-License-Identifier: Apache-2.0
#include "FaultTrial.h"

#include "Frames.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <json/json.h>

namespace srcwatch_test {

namespace {

constexpr int kPorts = 4;
constexpr int kQuietMs = 20;

std::int64_t NowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string InputOf(int port) { return "hdmi" + std::to_string(port + 1); }

std::string Stores() { return HomePath("state") + ":" + HomePath("run"); }

std::string PathsThatCount(const std::string& inputs)
{
    return inputs + ":" + Stores() + ":" + HomePath("platform.conf") + ":" + SRCWATCH_PROFILES_FILE;
}

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream stream(text);
    return Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr) ? value : Json::Value();
}

}  // namespace

FaultTrial::FaultTrial(FaultPlan plan)
    : m_plan(std::move(plan)),
      m_calls(HomePath("control"), PathsThatCount(m_inputs.Path()), Stores()),
      m_models(kPorts),
      m_denyCounts(kPorts)
{
    if (const char* const program = std::getenv(kServiceVariable)) SetProgram(program);
}

void FaultTrial::Require(bool holds, const std::string& otherwise)
{
    if (!holds) m_result.troubles.push_back(otherwise);
}

void FaultTrial::Launch()
{
    m_service = LaunchService({"--quiet-ms", std::to_string(kQuietMs)}, m_calls.Environment());
}

void FaultTrial::PlugFrame(const std::string& input, const std::string& product)
{
    std::filesystem::create_directory(InputPath("." + input));
    WriteFile(InputPath("." + input) + "/spd.bin", SpdFrame("ACME", product, 8));
    std::filesystem::rename(InputPath("." + input), InputPath(input));
}

void FaultTrial::PlugAndWait(const std::string& input, const std::string& product)
{
    const std::size_t before = CountOf(SRCWATCH_EVENT_DETECTED);
    PlugFrame(input, product);
    Require(WaitForEvents(SRCWATCH_EVENT_DETECTED, before + 1), product + " is not detected on " + input);
}

bool FaultTrial::Remove(const std::string& input)
{
    std::filesystem::rename(InputPath(input), InputPath(".gone"));
    return std::filesystem::remove_all(InputPath(".gone")) > 0;
}

std::string FaultTrial::ModelOf(int port) { return StoredRecord(port)["ModelName"].asString(); }

int FaultTrial::DenyCountOf(int port) { return StoredRecord(port)["DenyCount"].asInt(); }

bool FaultTrial::IsDetecting() { return NumberSetting(qdinfo::kHotplugProgressKey) != 0; }

bool FaultTrial::IsRight() const
{
    for (int port = 0; port < kPorts; ++port) {
        const Json::Value record = StoredRecord(port);
        const std::string& model = m_models[static_cast<std::size_t>(port)];
        if (record["ModelName"].asString() != model || (record["DevType"].asInt() != 0) == model.empty()) return false;
        if (record["DenyCount"].asInt() != m_denyCounts[static_cast<std::size_t>(port)]) return false;
    }
    return true;
}

// Entries only come; there are too few for any to go.
bool FaultTrial::KeepsStatistics() const
{
    const Json::Value now = Parse(TextSetting(qdinfo::kStatisticsKey).value_or("{}"))["Auto"];
    return std::all_of(m_statistics.begin(), m_statistics.end(),
                       [&](const Json::Value& entry) { return std::find(now.begin(), now.end(), entry) != now.end(); });
}

// Hdmi1 had a device that was denied twice, hdmi3 has one, hdmi4 one that was denied and goes while no service runs.
bool FaultTrial::Prepare()
{
    Launch();
    if (!WaitUntilServing()) return false;
    for (const int port : {0, 2, 3}) PlugAndWait(InputOf(port), "Old " + std::to_string(port + 1));
    for (const int port : {0, 0, 3}) static_cast<void>(Call(SRCWATCH_REQUEST_DENY, port));  // its effect is checked
    static_cast<void>(Remove(InputOf(0)));
    m_models = {"", "", "Old 3", "Old 4"};
    m_denyCounts = {2, 0, 0, 1};
    if (!RunUntil([this] { return IsRight(); }) || StopService(SIGTERM) != 0) return false;
    static_cast<void>(Remove(InputOf(3)));
    m_models[3] = "";
    m_statistics = Parse(TextSetting(qdinfo::kStatisticsKey).value_or("{}"))["Auto"];
    if (m_plan.phase == "boot") std::filesystem::remove_all(HomePath("run"));
    if (m_plan.phase == "boot" || m_plan.phase == "restart") return true;
    Launch();
    return WaitUntilServing() && RunUntil([this] { return IsRight() && !IsDetecting(); });
}

void FaultTrial::Act()
{
    m_begin = NowMs();
    m_calls.Fail(m_plan.error, m_plan.first, m_plan.length, m_plan.milliseconds);
    if (m_plan.phase == "boot" || m_plan.phase == "restart") {
        Launch();
        static_cast<void>(WaitUntilServing());  // or until it has ended, which is looked at later
    } else if (m_plan.phase == "detect") {
        PlugFrame("hdmi1", "New");
        m_models[0] = "New";
    } else if (m_plan.phase == "unplug") {
        static_cast<void>(Remove("hdmi3"));
        m_models[2] = "";
    } else if (m_plan.phase == "deny") {
        Request(SRCWATCH_REQUEST_DENY);
    } else if (m_plan.phase == "forget") {
        Request(SRCWATCH_REQUEST_FORGET);
    } else {
        m_service->Signal(SIGTERM);
    }
}

// Every request is answered, and one that is answered without an error is stored by then.
void FaultTrial::Request(int type)
{
    qdinfo::CQDEventSender sender("qdinfo");
    sender.AppendArgs(2, 0, 0, 0);
    std::stringstream reply;
    const bool isAnswered = sender.Call(type, reply) == 1;
    Require(isAnswered, "a request is not answered in time");
    if (!isAnswered || Parse(reply.str()).isMember("error")) return;
    if (type == SRCWATCH_REQUEST_DENY) m_denyCounts[2] = 1;
    if (type == SRCWATCH_REQUEST_FORGET) m_models[2] = "";
    Require(IsRight(), "a request is answered with success, and is not stored");
}

// Waits for the end of the faults and for the right state.
void FaultTrial::Settle()
{
    if (m_plan.phase == "stop") static_cast<void>(m_service->Wait(kDeadline));
    static_cast<void>(RunUntil([this] { return NowMs() >= m_calls.End(); }));  // soon, or when the time is over
    if (!ServesOrRestarts()) return;
    const bool isRight = RunUntil([this] {
        return IsRight() && !IsDetecting() && Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"] == 0 &&
               NumberSetting(qdinfo::kMvpdSupportKey) == 1;
    });
    Require(isRight, "the state is not right");
    m_result.agreementMs = static_cast<int>(std::max<std::int64_t>(0, NowMs() - std::max(m_begin, m_calls.End())));
}

// A service may end with a clear error. Its supervisor then starts it again.
bool FaultTrial::ServesOrRestarts()
{
    bool isServing = WaitUntilServing();
    if (const std::optional<int> result = m_service->Result()) {
        const bool isExpected = *result == 1 || (m_plan.phase == "stop" && *result == 0);
        Require(isExpected, "the service ends with " + std::to_string(*result));
        Require(*result != 1 || m_service->Errors().find("srcwatch-service: ") != std::string::npos,
                "it ends in silence");
        m_calls.Stop();
        Launch();
        isServing = WaitUntilServing();
    }
    Require(isServing, "the service does not serve");
    return isServing;
}

// A later save writes what the service has in memory, and a change of the files of a device is still seen.
void FaultTrial::CheckMemory()
{
    m_calls.Stop();
    PlugAndWait("hdmi2", "Probe");
    m_models[1] = "Probe";
    if (m_plan.phase == "detect") {
        WriteFile(InputPath("hdmi1") + "/.spd", SpdFrame("ACME", "Newer", 8));
        std::filesystem::rename(InputPath("hdmi1") + "/.spd", InputPath("hdmi1") + "/spd.bin");
        m_models[0] = "Newer";
    }
    if (!m_models[2].empty()) {
        const int answered = Call(SRCWATCH_REQUEST_DENY, 2)["record"]["DenyCount"].asInt();
        Require(answered == ++m_denyCounts[2], "the deny count is wrong in memory");
    }
    Require(RunUntil([this] { return IsRight(); }), "the records are wrong in memory, or changes are not seen");
    Require(KeepsStatistics(), "statistics are lost");
}

void FaultTrial::CheckEnd()
{
    const int status = StopService(SIGTERM);
    Require(status == 0, "the service ends with " + std::to_string(status) + " when asked to");
    Require(NumberSetting(qdinfo::kMvpdSupportKey) == 0, "detection is left switched on");
    Require(IsRight(), "the end of the service changes the records");
}

FaultResult FaultTrial::Run()
{
    if (!Prepare()) throw std::runtime_error("the trial cannot be prepared: " + Log());
    Act();
    Settle();
    m_result.calls = m_calls.Calls();
    m_result.failed = m_calls.Failed();
    m_result.where = m_calls.Where();
    if (m_result.troubles.empty()) CheckMemory();
    if (m_result.troubles.empty()) CheckEnd();
    if (!m_result.troubles.empty()) {
        m_result.troubles.push_back(TextSetting(qdinfo::kSourceActivityKey).value_or("no records"));
    }
    return m_result;
}

}  // namespace srcwatch_test
