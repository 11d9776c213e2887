// SPDX-License-Identifier: Apache-2.0
//
// A program that a test starts. It never outlives the test.
#ifndef SRCWATCH_TESTKIT_PROCESS_H
#define SRCWATCH_TESTKIT_PROCESS_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace srcwatch_test {

class Process {
public:
    /// Starts a program, found by PATH, with these variables added to the environment. Its standard output and error go
    /// to the files outputPath + ".out" and ".err". Throws if it cannot be started.
    Process(const std::vector<std::string>& command, const std::string& outputPath,
            const std::map<std::string, std::string>& environment = {});
    /// Kills the program if it still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return m_id; }
    void Signal(int number) const;

    /// Returns the exit code once the program has ended, 128 plus the signal's number after a signal; nothing while it
    /// runs.
    std::optional<int> Result();
    /// Waits for the end. @return As Result(); nothing if the time is over before.
    std::optional<int> Wait(std::chrono::milliseconds time = std::chrono::seconds(10));

    std::string Output() const;
    std::string Errors() const;

private:
    pid_t m_id;
    std::string m_outputPath;
    std::optional<int> m_result;
};

/// The resources that a process holds.
struct Footprint {
    long anonymousKiB = 0;
    long descriptors = 0;
};
Footprint Measure(pid_t process);

/// Returns the whole content of a file; empty if it cannot be read.
std::string ReadFile(const std::string& path);

}  // namespace srcwatch_test

#endif
