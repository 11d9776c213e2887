// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"

#include "vconf.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

// Present in sanitized and instrumented programs only.
extern "C" {
int __lsan_do_recoverable_leak_check(void) __attribute__((weak));
void __gcov_dump(void) __attribute__((weak));
const char* __tsan_default_options(void);
}

// A finding ends a process with a failure; forked processes may start threads.
const char* __tsan_default_options(void) { return "halt_on_error=1:die_after_fork=0"; }

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr auto kProcessDeadline = std::chrono::seconds(120);
constexpr auto kDeadline = std::chrono::seconds(60);  // a busy disk takes seconds for one durable write
constexpr auto kPollInterval = std::chrono::milliseconds(1);

bool WaitUntil(Clock::time_point deadline, const std::function<bool()>& condition)
{
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(kPollInterval);
    }
    return true;
}

std::string MakePlace()
{
    std::string name = fs::temp_directory_path() / "srcwatch-host-test-XXXXXX";
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory: " + std::string(strerror(errno)));
    return name;
}

int FailedParts() { return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count(); }

// Without exit handlers, which are those of the test program.
[[noreturn]] void EndChild(bool isGood)
{
    const bool leaks = __lsan_do_recoverable_leak_check && __lsan_do_recoverable_leak_check() != 0;
    if (__gcov_dump) __gcov_dump();
    fflush(nullptr);
    _exit(isGood && !leaks ? 0 : 1);
}

}  // namespace

Process::~Process()
{
    if (m_pid > 0) Kill();
}

testing::AssertionResult Process::Succeeds()
{
    int status = 0;
    const auto hasEnded = [this, &status] { return waitpid(m_pid, &status, WNOHANG) == m_pid; };
    if (!WaitUntil(Clock::now() + kProcessDeadline, hasEnded)) return testing::AssertionFailure() << "does not end";

    m_pid = -1;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return testing::AssertionSuccess();
    if (WIFSIGNALED(status)) return testing::AssertionFailure() << "ended by signal " << WTERMSIG(status);
    return testing::AssertionFailure() << "ended with " << WEXITSTATUS(status);
}

void Process::Kill()
{
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

StartSignal::StartSignal() : m_ends{-1, -1}
{
    if (pipe(m_ends) != 0) throw std::runtime_error("no pipe");
}

StartSignal::~StartSignal()
{
    close(m_ends[0]);
    if (m_ends[1] >= 0) close(m_ends[1]);
}

void StartSignal::Await() const
{
    close(m_ends[1]);
    char byte = 0;
    while (read(m_ends[0], &byte, 1) < 0 && errno == EINTR) {
    }
}

void StartSignal::Send()
{
    close(m_ends[1]);
    m_ends[1] = -1;
}

HostTest::HostTest() : m_place(MakePlace())
{
    GivenEnvironment("SRCWATCH_STATE_DIR", StateDir());
    GivenEnvironment("SRCWATCH_RUN_DIR", RunDir());
    GivenEnvironment("SRCWATCH_PLATFORM_CONF", ConfPath());
    GivenEnvironment("SRCWATCH_LOG", "file:" + Path("log"));
    GivenEnvironment("SRCWATCH_LOG_LEVEL", "verbose");
    GivenEnvironment("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + Path("no-bus"));
}

HostTest::~HostTest()
{
    std::error_code ignored;
    fs::remove_all(m_place, ignored);
}

void HostTest::GivenEnvironment(const std::string& name, const std::string& value)
{
    m_environment.emplace_back(name, value);
}

Process HostTest::Start(const std::function<void()>& body) const
{
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("cannot fork");
    if (pid > 0) return Process(pid);

    for (const auto& [name, value] : m_environment) {
        if (value.empty()) {
            unsetenv(name.c_str());
        } else {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    const int before = FailedParts();
    body();
    EndChild(FailedParts() == before);
}

testing::AssertionResult HostTest::InProcess(const std::function<void()>& body) const { return Start(body).Succeeds(); }

std::string HostTest::Log() const { return ReadFile(Path("log")); }

std::vector<std::string> HostTest::LogLines(const std::string& text) const
{
    std::vector<std::string> lines;
    std::ifstream log(Path("log"));
    for (std::string line; std::getline(log, line);)
        if (line.find(text) != std::string::npos) lines.push_back(line);
    return lines;
}

bool Eventually(const std::function<bool()>& condition) { return WaitUntil(Clock::now() + kDeadline, condition); }

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
}

std::vector<std::string> FilesIn(const std::string& directory, const std::string& part)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename();
        if (name.find(part) != std::string::npos) names.push_back(name);
    }
    return names;
}

std::string Sql(const std::string& database, const std::string& sql)
{
    sqlite3* handle = nullptr;
    char* error = nullptr;
    std::string first;
    const auto keepFirst = [](void* into, int columns, char** values, char**) {
        if (columns > 0 && values[0]) *static_cast<std::string*>(into) = values[0];
        return 1;
    };
    if (sqlite3_open(database.c_str(), &handle) == SQLITE_OK) {
        sqlite3_busy_timeout(handle, 5000);
        sqlite3_exec(handle, sql.c_str(), keepFirst, &first, &error);
        if (error && sqlite3_errcode(handle) != SQLITE_ABORT) first = std::string("error: ") + error;
    }
    sqlite3_free(error);
    sqlite3_close(handle);
    return first;
}

testing::AssertionResult WriteNumber(const std::string& key, int number)
{
    int result = 0;
    const auto isDone = [&] { return (result = vconf_set_int(key.c_str(), number)) != -EBUSY; };
    if (Eventually(isDone) && result == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << key << ": " << result;
}

testing::AssertionResult HasNumber(const std::string& key, int number)
{
    int result = 0;
    int read = 0;
    const auto isDone = [&] { return (result = vconf_get_int(key.c_str(), &read)) != -EBUSY; };
    if (Eventually(isDone) && result == 0 && read == number) return testing::AssertionSuccess();
    return testing::AssertionFailure() << key << ": " << result << ", " << read << " instead of " << number;
}

std::string TextOf(const char* key)
{
    char* text = vconf_get_str(key);
    if (!text) return "(none)";
    std::string copy = text;
    free(text);
    return copy;
}

std::chrono::milliseconds TimeOf(const std::function<void()>& body)
{
    const auto start = Clock::now();
    body();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}
