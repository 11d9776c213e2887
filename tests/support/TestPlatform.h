// SPDX-License-Identifier: Apache-2.0
//
// In-process stand-ins of the platform: log, settings store, system information and TV service. All that the library
// asks of them is kept in one sequence, so that a test can hold the order of side effects across them.
#ifndef SRCWATCH_TESTS_TESTPLATFORM_H
#define SRCWATCH_TESTS_TESTPLATFORM_H

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#pragma GCC visibility push(default)  // as in TestPlatform.cpp
#include <dlog.h>
#pragma GCC visibility pop
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace srcwatch_test {

// One call of the platform log, taken apart.
struct LogLine {
    int id;
    int priority;
    std::string tag;
    std::string format;  // as given, prefix and newline included
    std::string file;
    std::string function;
    int line;
    long stamp;
    std::string message;  // formatted, without the prefix and without the newline that ends every line
};

// What the stand-ins answer. A test sets it up; each test starts with none.
struct Settings {
    std::map<std::string, int> numbers;
    std::map<std::string, std::string> texts;
    std::map<std::string, int> failingNumbers;  // read fails, but the output is written
    std::set<std::string> unwritable;           // keys whose writes fail
    std::function<void()> onAccess;             // called at each read and write, once it is recorded; may throw
};

struct TvService {
    int createResult = 0;
    bool createNull = false;
    std::map<int, bool> connected;   // by source identifier; others leave the output untouched
    std::map<int, int> queryResult;  // by source identifier; 1 where absent
};

struct Platform {
    Settings settings;
    TvService tv;
    std::map<std::string, bool> features;         // by name; reading another one fails
    std::map<std::string, bool> failingFeatures;  // read fails, but the output is written
    std::set<std::string> otherLogFiles;          // files that may log besides the library's: a test's own
    std::vector<LogLine> log;

    // What was asked, in order:
    //   "E QDInfo.cpp srcwatch_is_TWC: text"   log line at ERROR ("D" at DEBUG)
    //   "get KEY"  "set KEY 5"  "gets KEY"  "sets KEY text"
    //   "feature NAME"  "control 1 0"  "connected 13"  "count 122"
    std::vector<std::string> sequence;

    std::vector<std::string> LogOf(int priority) const;  // "function: message" of the lines of a priority
    std::vector<std::string> SequenceWithoutLog() const;
};

// Runs body on the stand-ins' state, serialised with the library's calls.
Platform& ThePlatform();

// Held while a call is answered and recorded: for tests that look while other threads call.
std::recursive_mutex& PlatformMutex();

// Calls back from within each log line while it exists: once the line is recorded, and without PlatformMutex(). Lines
// that are logged meanwhile, by the callback or by other threads, call nobody back. The callback may throw.
class LogHook {
public:
    explicit LogHook(std::function<void(const LogLine&)> callback);
    LogHook(const LogHook&) = delete;
    LogHook& operator=(const LogHook&) = delete;
    ~LogHook();
};

// Whether action returns in another thread, which it does not while somebody holds a lock that it takes.
bool ReturnsInAnotherThread(std::function<void()> action);

// What was recorded while the shared objects were loaded, before main.
const std::vector<std::string>& LoadSequence();

// The variable that holds the number of HDMI inputs of the stand-in: "fail" when it cannot be asked, 4 when unset.
constexpr char kHdmiCountVariable[] = "SRCWATCH_TEST_HDMI_COUNT";

/// Names that look like formats, escape sequences, several lines, and marks that turn the direction of writing.
constexpr const char* kHostileNames[] = {"%n%s%d%%", "\x1b[31m\x1b]0;title\x07", "a line\nand another\r\t",
                                         "\u202egnp.\u2066"};

// What the library must make of that variable.
int GivenHdmiCount();

// Starts each test with empty stand-ins, and fails it when a log line came from a place that does not exist.
class PlatformTest : public testing::Test {
protected:
    PlatformTest();
    ~PlatformTest() override;

    Platform& platform = ThePlatform();
};

}  // namespace srcwatch_test

#endif
