// SPDX-License-Identifier: Apache-2.0
#include "Load.h"

#include "ServiceTest.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace load {

namespace {

constexpr int kHdmiInputs = 4;

void RunWorker(pid_t parent, const std::function<void()>& body)
{
    static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));  // a child that outlives its parent ends by itself
    if (getppid() != parent) _exit(1);
    try {
        body();
    } catch (const std::exception& e) {
        static_cast<void>(std::fprintf(stderr, "a process failed: %s\n", e.what()));
        _exit(1);
    }
    _exit(0);
}

}  // namespace

void* ShareMemory(std::size_t size)
{
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
    return memory;
}

Worker::Worker(const std::function<void()>& body)
{
    static_cast<void>(std::fflush(nullptr));  // or the child prints it again
    const pid_t parent = getpid();
    m_id = fork();
    if (m_id < 0) throw std::runtime_error("cannot fork");
    if (m_id == 0) RunWorker(parent, body);
}

Worker::~Worker()
{
    if (m_id < 0) return;
    Signal(SIGKILL);
    static_cast<void>(waitpid(m_id, nullptr, 0));  // it was killed
}

void Worker::Signal(int number) const { static_cast<void>(kill(m_id, number)); }  // it may have ended

bool Worker::Succeeds()
{
    int status = 0;
    const pid_t id = m_id;
    if (!WaitUntil([id, &status] { return waitpid(id, &status, WNOHANG) == id; })) return false;
    m_id = -1;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds time)
{
    const Clock::time_point deadline = Clock::now() + time;
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::int64_t NowUs()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()).count();
}

std::int64_t QueuedUs()
{
    std::ifstream statistics("/proc/thread-self/schedstat");
    std::int64_t runningNs = 0;
    std::int64_t queuedNs = 0;
    statistics >> runningNs >> queuedNs;
    return queuedNs / 1000;
}

void Raise(std::atomic<std::int64_t>& maximum, std::int64_t value)
{
    if (maximum.load() < value) maximum = value;  // one writer each
}

void Report::Require(bool holds, const std::string& otherwise)
{
    if (holds) return;
    m_found = true;
    std::printf("FOUND: %s\n", otherwise.c_str());
}

int Number(const std::vector<std::string>& arguments, const std::string& option, int otherwise)
{
    const auto found = std::find(arguments.begin(), arguments.end(), option);
    return found == arguments.end() || found + 1 == arguments.end() ? otherwise : std::stoi(*(found + 1));
}

bool Has(const std::vector<std::string>& arguments, const std::string& option)
{
    return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
}

int RunAtHome(int argc, char** argv, int (*body)(const std::vector<std::string>& arguments))
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, 0));  // only the order of lines depends on it
    return srcwatch_test::RunInHome(argc, argv, kHdmiInputs, [&] { return body(arguments); });
}

}  // namespace load
