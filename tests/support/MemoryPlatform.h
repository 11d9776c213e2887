// SPDX-License-Identifier: Apache-2.0
//
// The platform in memory, for programs that bring it themselves: log, settings store, system information and TV
// service. What it answers is set up in ThePlatform(). All that the library asks of it is kept in one sequence, so that
// a test can check the order of side effects across them; a program that measures has it counted only.
#ifndef SRCWATCH_TESTS_MEMORYPLATFORM_H
#define SRCWATCH_TESTS_MEMORYPLATFORM_H

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#pragma GCC visibility push(default)  // as in MemoryPlatform.cpp
#include <dlog.h>
#pragma GCC visibility pop

namespace srcwatch_test {

/// One call of the platform log, taken apart.
struct LogLine {
    int id;
    int priority;
    std::string tag;
    std::string format;  ///< as passed, prefix and newline included
    std::string file;
    std::string function;
    int line;
    long stamp;
    std::string message;  ///< formatted, without the prefix and without the newline that ends every line
};

/// What every format begins with.
extern const char kLogPrefix[];

/// The functions of another settings store.
struct StoreFunctions {
    int (*getNumber)(const char* key, int* value);
    int (*setNumber)(const char* key, int value);
    char* (*getText)(const char* key);
    int (*setText)(const char* key, const char* value);
};

template <typename Value>
using ByName = std::map<std::string, Value, std::less<>>;

/// What the settings store answers.
struct Settings {
    ByName<int> numbers;
    ByName<std::string> texts;
    ByName<int> failingNumbers;                     ///< read fails, but the output is written
    std::set<std::string, std::less<>> unwritable;  ///< keys whose writes fail
    std::function<void()> onAccess;                 ///< called at each read and write, once it is recorded; may throw
    const StoreFunctions* other = nullptr;          ///< answers in place of the settings above
};

struct TvService {
    int createResult = 0;
    bool createNull = false;
    std::map<int, bool> connected;   ///< by source identifier; others leave the output untouched
    std::map<int, int> queryResult;  ///< by source identifier; 1 where absent
};

/// The answer to a question for a number; without one the output is left untouched.
struct NumberAnswer {
    int result;
    std::optional<int> number;
};

/// The variable that holds the number of HDMI inputs: "fail" if it cannot be asked, 4 if unset.
constexpr char kHdmiCountVariable[] = "SRCWATCH_TEST_HDMI_COUNT";
NumberAnswer HdmiCountOfEnvironment();

/// How often the platform was called.
struct CallCounts {
    std::int64_t lines = 0;  ///< of the log
    std::int64_t textReads = 0;
    ByName<std::int64_t> numberWrites;  ///< by key
};

struct Platform {
    Settings settings;
    TvService tv;
    NumberAnswer hdmiCount = HdmiCountOfEnvironment();
    ByName<bool> features;         ///< by name
    ByName<bool> failingFeatures;  ///< read fails, but the output is written
    int otherFeatureResult = -1;   ///< of reading a feature that is named in neither
    CallCounts counts;

    /// Lines and calls are kept, one call after the other; if not, they are counted only, and callers take turns
    /// themselves. Fixed by ConfigurePlatform().
    bool keepsCalls = true;
    std::vector<LogLine> log;

    /// Only where calls are kept: the sequence is kept, not only the lines.
    bool keepsSequence = true;

    /// What was asked, in order:
    ///   "E QDInfo.cpp srcwatch_is_TWC: text"   log line at ERROR ("D" at DEBUG)
    ///   "get KEY"  "set KEY 5"  "gets KEY"  "sets KEY text"
    ///   "feature NAME"  "control 1 0"  "connected 13"  "count 122"
    std::vector<std::string> sequence;

    /// Called with each line once it is recorded, without PlatformMutex(); lines that are logged meanwhile, by the
    /// callback or by other threads, do not call it. It may throw.
    std::function<void(const LogLine&)> onLine;

    /// "function: message" of the lines of a priority.
    std::vector<std::string> LogOf(int priority) const;
    std::vector<std::string> SequenceWithoutLog() const;
    /// Forgets the lines and the sequence.
    void ForgetCalls();
};

/// The state of the platform, for the whole process.
Platform& ThePlatform();

/// Sets the platform up before its first call, which comes while the library is loaded. A program that defines it
/// replaces a definition that leaves everything as it is.
void ConfigurePlatform(Platform& platform);

/// Held while a call is answered and recorded: for tests that read the state while other threads call.
std::recursive_mutex& PlatformMutex();

/// The number of HDMI inputs that the library must see; -1 if there are none.
int ExpectedHdmiCount();

}  // namespace srcwatch_test

#endif
