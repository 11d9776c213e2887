// SPDX-License-Identifier: Apache-2.0
// What the tests of the host platform share. Each test has a private place, and what uses the platform runs in
// processes of its own, which have not used it before. The test program itself never does.
#ifndef SRCWATCH_TESTS_HOSTTEST_H
#define SRCWATCH_TESTS_HOSTTEST_H

#include "Intruder.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/types.h>

using srcwatch_test::Intruder;

// A process that runs a body; ended on destruction at the latest.
class Process {
public:
    explicit Process(pid_t pid) : m_pid(pid) {}
    Process(Process&& other) noexcept : m_pid(other.m_pid) { other.m_pid = -1; }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    // Waits for its end: by itself, in time, without failed expectation, sanitizer finding or signal.
    testing::AssertionResult Succeeds();
    void Kill();

private:
    pid_t m_pid;
};

// Lets processes begin something at the same time.
class StartSignal {
public:
    StartSignal();
    ~StartSignal();
    StartSignal(const StartSignal&) = delete;
    StartSignal& operator=(const StartSignal&) = delete;
    void Await() const;  // in the children
    void Send();         // in the parent

private:
    int m_ends[2];
};

class HostTest : public testing::Test {
protected:
    HostTest();
    ~HostTest() override;

    // Runs body in a new process with this test's environment and waits for its end.
    testing::AssertionResult InProcess(const std::function<void()>& body) const;
    Process Start(const std::function<void()>& body) const;

    // Environment variables of the processes; an empty value unsets one.
    void GivenEnvironment(const std::string& name, const std::string& value);

    std::string Path(const std::string& name) const { return m_place + '/' + name; }
    std::string StateDir() const { return Path("state"); }
    std::string RunDir() const { return Path("run"); }
    std::string DurableDatabase() const { return Path("state/settings.db"); }
    std::string VolatileDatabase() const { return Path("run/volatile.db"); }
    std::string ConfPath() const { return Path("platform.conf"); }

    // The log, and its lines that contain a text.
    std::string Log() const;
    std::vector<std::string> LogLines(const std::string& text) const;

private:
    std::string m_place;
    std::vector<std::pair<std::string, std::string>> m_environment;
};

// Waits for a condition. Returns false if it does not come true within a minute.
bool Eventually(const std::function<bool()>& condition);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
std::vector<std::string> FilesIn(const std::string& directory, const std::string& part);

// Runs SQL on a database file by SQLite itself and returns the first column of the first row.
std::string Sql(const std::string& database, const std::string& sql);

// Write or read a number, again and again while the store is busy: on a loaded machine, others may keep it for the
// second after which a call fails.
testing::AssertionResult WriteNumber(const std::string& key, int number);
testing::AssertionResult HasNumber(const std::string& key, int number);

// Reads a text setting. Returns "(none)" if it cannot be read.
std::string TextOf(const char* key);

std::chrono::milliseconds TimeOf(const std::function<void()>& body);

#endif
