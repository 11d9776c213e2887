// SPDX-License-Identifier: Apache-2.0
//
// Random faults around the running service, and devices that come and go meanwhile: after each fault the records must
// be what is plugged in, deny counts what was answered, and statistics not go back.
//
// Usage: service_soak SEED FAULTS   prints what was found, and figures; ends with 1 if anything was found.
#include "FaultyCalls.h"
#include "Frames.h"
#include "Intruder.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <sstream>

#include <json/json.h>
#include <sys/resource.h>

namespace srcwatch_test {
namespace {

constexpr int kPorts = 4;
constexpr std::chrono::milliseconds kRightWithin(10000);

std::string InputOf(int port) { return "hdmi" + std::to_string(port + 1); }
std::string State(const std::string& name) { return HomePath("state/" + name); }

class ServiceSoak final : public ServiceTest {
public:
    explicit ServiceSoak(unsigned seed);

    /// @return True if the service survived all faults as it must. Ends with the first that it did not.
    bool Run(int faults);

private:
    void TestBody() override {}

    using Fault = void (ServiceSoak::*)();
    static const std::map<std::string, Fault> kFaults;

    void Launch();
    void WaitBriefly() { RunFor(std::chrono::milliseconds(Random(300))); }
    int Random(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    void Plug(int port);
    void Unplug(int port);
    void ChangeInputs();
    void Request();

    void LockStore();
    void FailSomeCalls();
    void FailForATime();
    void Suspend();
    void Kill();
    void Restart();
    void RestartBus();
    void FillDisk();
    void OverflowNotices();
    void DeleteDatabase();
    void TruncateDatabase();
    void DeleteDirectory();

    void LaunchIfEnded();
    int Recover();
    bool IsRight() const;
    std::map<int, int> CountStatistics() const;
    bool KeepsStatistics();
    std::string Describe() const;

    std::mt19937 m_random;
    FaultyCalls m_calls;
    int m_products = 0;
    std::array<std::string, kPorts> m_plugged;  // product, or empty
    std::array<bool, kPorts> m_isForgotten{};   // its record may come back
    std::array<int, kPorts> m_denyCounts{};
    std::array<bool, kPorts> m_mayBeDenied{};  // once more
    std::map<int, int> m_statistics;           // entries by port
    bool m_isDestroyed = false;                // the stored values were
    std::string m_trouble;
};

const std::map<std::string, ServiceSoak::Fault> ServiceSoak::kFaults = {
    {"locked store", &ServiceSoak::LockStore},
    {"failing calls", &ServiceSoak::FailSomeCalls},
    {"calls that fail for a time", &ServiceSoak::FailForATime},
    {"suspended", &ServiceSoak::Suspend},
    {"killed", &ServiceSoak::Kill},
    {"restarted", &ServiceSoak::Restart},
    {"bus restarted", &ServiceSoak::RestartBus},
    {"disk full", &ServiceSoak::FillDisk},
    {"notices lost", &ServiceSoak::OverflowNotices},
    {"database deleted", &ServiceSoak::DeleteDatabase},
    {"database truncated", &ServiceSoak::TruncateDatabase},
    {"state directory deleted", &ServiceSoak::DeleteDirectory},
};

ServiceSoak::ServiceSoak(unsigned seed)
    : m_random(seed),
      m_calls(HomePath("control"), m_inputs.Path() + ":" + HomePath("state") + ":" + HomePath("run"),
              HomePath("state") + ":" + HomePath("run"))
{
}

void ServiceSoak::Launch()
{
    m_service = LaunchService({"--quiet-ms", "20"}, m_calls.Environment());
    if (!WaitUntilServing()) m_trouble = "the service does not serve";
}

void ServiceSoak::Plug(int port)
{
    const auto at = static_cast<std::size_t>(port);
    const std::string product = "Box " + std::to_string(++m_products);
    std::filesystem::create_directory(InputPath(".new"));
    WriteFile(InputPath(".new") + "/spd.bin", SpdFrame("ACME", product, 8));
    std::filesystem::rename(InputPath(".new"), InputPath(InputOf(port)));
    m_plugged[at] = product;
    m_isForgotten[at] = false;
}

void ServiceSoak::Unplug(int port)
{
    std::filesystem::rename(InputPath(InputOf(port)), InputPath(".gone"));
    std::filesystem::remove_all(InputPath(".gone"));
    m_plugged[static_cast<std::size_t>(port)].clear();
    m_isForgotten[static_cast<std::size_t>(port)] = false;
}

void ServiceSoak::ChangeInputs()
{
    for (int count = 1 + Random(3); count > 0; --count) {
        const int port = Random(kPorts);
        const bool wasPlugged = !m_plugged[static_cast<std::size_t>(port)].empty();
        if (wasPlugged) Unplug(port);
        if (!wasPlugged || Random(3) == 0) Plug(port);
        WaitBriefly();
    }
}

// What is answered with success must hold from then on; without an answer it may have been done or not.
void ServiceSoak::Request()
{
    const int port = Random(kPorts);
    const bool isDeny = Random(2) == 0;
    qdinfo::CQDEventSender sender("qdinfo");
    sender.AppendArgs(port, 0, 0, 0);
    std::stringstream reply;
    const bool isAnswered = sender.Call(isDeny ? SRCWATCH_REQUEST_DENY : SRCWATCH_REQUEST_FORGET, reply) == 1;
    Json::Value answer;
    static_cast<void>(Json::parseFromStream(Json::CharReaderBuilder(), reply, &answer, nullptr));  // null without one
    if (isAnswered && answer.isMember("error")) return;
    const auto at = static_cast<std::size_t>(port);
    if (isDeny && isAnswered) ++m_denyCounts[at];
    if (isDeny && !isAnswered) m_mayBeDenied[at] = true;
    if (!isDeny) m_isForgotten[at] = true;
}

void ServiceSoak::LockStore()
{
    Intruder intruder(State("settings.db"));
    static_cast<void>(intruder.Run("BEGIN IMMEDIATE"));  // may fail while the service writes
    ChangeInputs();
    Request();
    WaitBriefly();
}

void ServiceSoak::FailSomeCalls()
{
    m_calls.Fail(EIO, 1 + Random(200), 1 + Random(60));
    ChangeInputs();
    Request();
    m_calls.Stop();
}

void ServiceSoak::FailForATime()
{
    constexpr int kErrors[] = {EIO, ENOSPC, ENOMEM, EMFILE, ENOLCK, EACCES};
    m_calls.Fail(kErrors[Random(6)], 1 + Random(30), 0, 1 + Random(2000));
    ChangeInputs();
    Request();
    WaitBriefly();
    m_calls.Stop();
}

void ServiceSoak::Suspend()
{
    m_service->Signal(SIGSTOP);
    ChangeInputs();
    m_service->Signal(SIGCONT);
}

void ServiceSoak::Kill()
{
    ChangeInputs();
    m_service->Signal(SIGKILL);
    static_cast<void>(m_service->Wait());  // it was killed
    ChangeInputs();
    Launch();
}

void ServiceSoak::Restart()
{
    ChangeInputs();
    if (StopService(SIGTERM) != 0) m_trouble = "the service does not end well";
    ChangeInputs();
    Launch();
}

void ServiceSoak::RestartBus()
{
    ChangeInputs();
    TheBus().Restart();
    ChangeInputs();
    if (m_service->Wait(kDeadline) != 1) m_trouble = "the service does not end with the bus";
    Launch();
}

void ServiceSoak::FillDisk()
{
    rlimit before{};
    static_cast<void>(prlimit(m_service->Id(), RLIMIT_FSIZE, nullptr, &before));
    const rlimit full{4096, before.rlim_max};
    static_cast<void>(prlimit(m_service->Id(), RLIMIT_FSIZE, &full, nullptr));
    ChangeInputs();
    Request();
    static_cast<void>(prlimit(m_service->Id(), RLIMIT_FSIZE, &before, nullptr));
}

void ServiceSoak::OverflowNotices()
{
    constexpr int kMoreThanTheQueue = 9000;
    m_service->Signal(SIGSTOP);
    for (int i = 0; i < kMoreThanTheQueue; ++i) {
        std::filesystem::create_directory(InputPath("hdmi9"));
        std::filesystem::remove(InputPath("hdmi9"));
    }
    ChangeInputs();
    m_service->Signal(SIGCONT);
}

void ServiceSoak::DeleteDatabase()
{
    m_isDestroyed = true;
    for (const char* file : {"settings.db", "settings.db-wal", "settings.db-shm"}) std::filesystem::remove(State(file));
    ChangeInputs();
}

void ServiceSoak::TruncateDatabase()
{
    m_isDestroyed = true;
    std::filesystem::resize_file(State("settings.db"), static_cast<std::uintmax_t>(Random(4)) * 4096);
    ChangeInputs();
}

void ServiceSoak::DeleteDirectory()
{
    m_isDestroyed = true;
    std::error_code error;
    do {
        std::filesystem::remove_all(HomePath("state"), error);
    } while (error);  // the service may put a file in just then
    ChangeInputs();
}

// A service may end with a clear error; its supervisor then starts it again.
void ServiceSoak::LaunchIfEnded()
{
    const std::optional<int> result = m_service->Result();
    if (!result) return;
    if (*result != 1) m_trouble = "the service ends with " + std::to_string(*result);
    Launch();
}

bool ServiceSoak::IsRight() const
{
    for (std::size_t port = 0; port < kPorts; ++port) {
        const Json::Value record = StoredRecord(static_cast<int>(port));
        const std::string model = record["ModelName"].asString();
        if (model != m_plugged[port] && !(m_isForgotten[port] && model.empty())) return false;
        const int surplus = record["DenyCount"].asInt() - m_denyCounts[port];
        if (surplus != 0 && !(surplus == 1 && m_mayBeDenied[port])) return false;
    }
    return true;
}

std::map<int, int> ServiceSoak::CountStatistics() const
{
    std::istringstream text(TextSetting(qdinfo::kStatisticsKey).value_or("{}"));
    Json::Value document;
    std::map<int, int> counts;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), text, &document, nullptr)) return counts;
    for (const Json::Value& entry : document["Auto"]) ++counts[entry["port"].asInt()];
    return counts;
}

// The number of entries of a port only grows, up to its limit.
bool ServiceSoak::KeepsStatistics()
{
    std::map<int, int> now = CountStatistics();
    const bool areKept = std::all_of(m_statistics.begin(), m_statistics.end(),
                                     [&](const auto& before) { return now[before.first] >= before.second; });
    m_statistics = now;
    return areKept || m_isDestroyed;
}

std::string ServiceSoak::Describe() const
{
    std::ostringstream text;
    for (std::size_t port = 0; port < kPorts; ++port) {
        const Json::Value record = StoredRecord(static_cast<int>(port));
        text << " [" << m_plugged[port] << ", denied " << m_denyCounts[port] << "; stored "
             << record["ModelName"].asString() << ", denied " << record["DenyCount"].asInt() << ']';
    }
    return text.str();
}

// @return How long it took until the state was right, in milliseconds.
int ServiceSoak::Recover()
{
    const auto begin = std::chrono::steady_clock::now();
    LaunchIfEnded();
    const bool isRight = RunUntil([this] { return IsRight(); }, 2 * kRightWithin);
    const auto time = std::chrono::steady_clock::now() - begin;
    if (!isRight || time > kRightWithin) m_trouble += " the state is not right in time" + Describe();
    if (!KeepsStatistics()) m_trouble += " statistics went back";
    for (std::size_t port = 0; port < kPorts; ++port) {
        if (!m_mayBeDenied[port]) continue;
        m_denyCounts[port] = StoredRecord(static_cast<int>(port))["DenyCount"].asInt();
        m_mayBeDenied[port] = false;
    }
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

bool ServiceSoak::Run(int faults)
{
    const std::vector<std::pair<std::string, Fault>> list(kFaults.begin(), kFaults.end());
    std::map<std::string, int> longest;
    Launch();
    int number = 0;
    while (m_trouble.empty() && number++ < faults) {
        const auto& [name, fault] = list[static_cast<std::size_t>(Random(static_cast<int>(list.size())))];
        m_isDestroyed = false;
        (this->*fault)();
        longest[name] = std::max(longest[name], Recover());
        if (m_trouble.empty()) continue;
        std::printf("FOUND: fault %d, %s: %s\n%s", number, name.c_str(), m_trouble.c_str(), Log().c_str());
    }
    for (const auto& [name, milliseconds] : longest) std::printf("%s: right after %d ms\n", name.c_str(), milliseconds);
    return m_trouble.empty();
}

}  // namespace
}  // namespace srcwatch_test

int main(int argc, char** argv)
{
    if (argc != 3) {
        static_cast<void>(std::fputs("usage: service_soak SEED FAULTS\n", stderr));
        return 2;
    }
    const auto seed = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
    const int faults = static_cast<int>(std::strtol(argv[2], nullptr, 10));
    return srcwatch_test::RunInHome(argc, argv, 4,
                                    [=] { return srcwatch_test::ServiceSoak(seed).Run(faults) ? 0 : 1; });
}
