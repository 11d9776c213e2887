// SPDX-License-Identifier: Apache-2.0
#include "Trial.h"

#include "Promise.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace conformance {

namespace {

using Clock = std::chrono::steady_clock;

constexpr rlim_t kMostMemory = rlim_t{1} << 30U;

// Failures to set a limit leave a test that may take more of the machine, but no other result.
void LimitResources()
{
    const rlimit noCore{0, 0};
    const rlimit memory{kMostMemory, kMostMemory};
    static_cast<void>(setrlimit(RLIMIT_CORE, &noCore));
    static_cast<void>(setrlimit(RLIMIT_DATA, &memory));
}

// The standard output stream is the report of all tests, where a platform must not print.
void RedirectStreams(bool isVerbose)
{
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null < 0) std::_Exit(EXIT_FAILURE);
    dup2(null, STDIN_FILENO);
    if (!isVerbose) dup2(null, STDERR_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

// Runs an action to its end, which is that of the process, too.
[[noreturn]] void Carry(const std::function<void()>& action)
{
    try {
        action();
        std::_Exit(EXIT_SUCCESS);
    } catch (const std::exception& e) {
        Report(e.what());
    } catch (...) {
        Report("the platform has thrown an exception");
    }
    std::_Exit(EXIT_FAILURE);
}

[[noreturn]] void RunTest(const std::function<void()>& test, const Limits& limits, int report)
{
    static_cast<void>(setpgid(0, 0));  // the parent does the same, and one of them is first
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    LimitResources();
    if (dup2(report, kReportDescriptor) < 0) std::_Exit(EXIT_FAILURE);
    close(report);
    RedirectStreams(limits.isVerbose);
    Carry([&] {
        test();
        Report(kKept);
    });
}

std::string DescribeEnd(int status)
{
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return "the process was ended by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
    }
    return "the process ended with exit code " + std::to_string(WEXITSTATUS(status)) + " before the test was over";
}

// What a test says, and how its process ends.
class Observation {
public:
    Observation(pid_t id, int report) : m_id(id), m_report(report) {}

    /// Waits for the end of the process. @return False if the time is over before.
    bool Wait(std::chrono::seconds time)
    {
        const Clock::time_point end = Clock::now() + time;
        while (waitpid(m_id, &m_status, WNOHANG) == 0) {
            if (Clock::now() >= end) return false;
            pollfd reports{m_report, POLLIN, 0};
            // A report that nobody writes to any more would end each poll at once.
            if (poll(&reports, 1, 20) > 0 && !Read()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        while (Read()) {
        }
        return true;
    }

    std::optional<std::string> Result() const
    {
        const bool isKept = m_text == kKept;
        if (isKept && WIFEXITED(m_status)) return std::nullopt;
        if (isKept || m_text.empty()) return DescribeEnd(m_status);
        return m_text.substr(0, m_text.find('\n'));
    }

private:
    bool Read()
    {
        char buffer[512];
        const ssize_t size = read(m_report, buffer, sizeof buffer);
        if (size > 0 && m_text.size() < sizeof buffer) m_text.append(buffer, static_cast<std::size_t>(size));
        return size > 0;
    }

    pid_t m_id;
    int m_report;
    int m_status = 0;
    std::string m_text;
};

}  // namespace

void Report(const std::string& line)
{
    const std::string text = line.substr(0, 400) + (line == kKept ? "" : "\n");
    // If this fails, the missing report is what the test fails with.
    static_cast<void>(write(kReportDescriptor, text.data(), text.size()) < 0);
}

std::optional<std::string> Try(const std::function<void()>& test, const Limits& limits)
{
    int report[2];
    if (pipe2(report, O_CLOEXEC | O_NONBLOCK) != 0) return std::string("no pipe: ") + std::strerror(errno);
    const pid_t id = fork();
    if (id == 0) RunTest(test, limits, report[1]);
    close(report[1]);
    std::optional<std::string> result;
    if (id < 0) {
        result = std::string("no process: ") + std::strerror(errno);
    } else {
        static_cast<void>(setpgid(id, id));
        Observation observation(id, report[0]);
        const bool hasEnded = observation.Wait(limits.time);
        kill(-id, SIGKILL);  // also what the test or the platform has started
        if (!hasEnded) waitpid(id, nullptr, 0);
        result = hasEnded ? observation.Result()
                          : "not over within " + std::to_string(limits.time.count()) + " seconds: the platform hangs";
    }
    close(report[0]);
    return result;
}

Process::Process(const std::function<void()>& action) : m_id(fork())
{
    Require(m_id >= 0, "no further process can be started");
    if (m_id > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Carry(action);
}

Process::~Process() { Kill(); }

void Process::Join()
{
    int status = 0;
    waitpid(m_id, &status, 0);
    m_id = -1;
    if (WIFSIGNALED(status)) throw Broken("in a further process, " + DescribeEnd(status));
    Require(WEXITSTATUS(status) == EXIT_SUCCESS,
            "a further process ended with exit code " + std::to_string(WEXITSTATUS(status)));
}

void Process::Kill()
{
    if (m_id <= 0) return;
    kill(m_id, SIGKILL);
    waitpid(m_id, nullptr, 0);
    m_id = -1;
}

void InProcess(const std::function<void()>& action) { Process(action).Join(); }

bool Eventually(const std::function<bool()>& attempt)
{
    const Clock::time_point end = Clock::now() + std::chrono::seconds(5);
    while (!attempt()) {
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace conformance
