// SPDX-License-Identifier: Apache-2.0
//
// What the load programs share: processes, memory that they share, times, and what they found. A program ends with 0
// when all that it watches held; otherwise it prints "FOUND: ..." and ends with 1. Each has options that plant a fault.
#ifndef SRCWATCH_TESTS_LOAD_H
#define SRCWATCH_TESTS_LOAD_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace load {

using Clock = std::chrono::steady_clock;

/// Memory, full of zeros, for this process and those that it forks. It is never released.
void* ShareMemory(std::size_t size);
template <typename Type>
Type& Share()
{
    return *static_cast<Type*>(ShareMemory(sizeof(Type)));
}

/// A forked process that runs body. It dies with its parent, or in the destructor.
class Worker {
public:
    explicit Worker(const std::function<void()>& body);
    Worker(Worker&& other) noexcept : m_id(other.m_id) { other.m_id = -1; }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    pid_t Id() const { return m_id; }
    void Signal(int number) const;
    /// Waits for its end. @return True if it ended by itself with 0.
    bool Succeeds();

private:
    pid_t m_id;
};

/// Waits until the condition holds. @return False if that takes more than the time.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds time = std::chrono::seconds(30));

/// Microseconds of the monotonic clock.
std::int64_t NowUs();

/// How long this thread was ready to run and had no core: that is due to the machine.
std::int64_t QueuedUs();

/// Raises a maximum.
void Raise(std::atomic<std::int64_t>& maximum, std::int64_t value);

/// Collects what was found.
class Report {
public:
    void Require(bool holds, const std::string& otherwise);
    int Result() const { return m_found ? 1 : 0; }

private:
    bool m_found = false;
};

/// The number after an option such as "--seconds", or the default; and whether there is an option.
int Number(const std::vector<std::string>& arguments, const std::string& option, int otherwise);
bool Has(const std::vector<std::string>& arguments, const std::string& option);

/// Runs body with the program's arguments in a private home with four HDMI inputs.
int RunAtHome(int argc, char** argv, int (*body)(const std::vector<std::string>& arguments));

}  // namespace load

#endif
