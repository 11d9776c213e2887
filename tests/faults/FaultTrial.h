// SPDX-License-Identifier: Apache-2.0
//
// One trial: system calls of the service fail while it starts, sees a device, loses one or answers a request; then its
// state must be the right one, in the store and in memory, and nothing may be lost that was stored before.
#ifndef SRCWATCH_TESTS_FAULTTRIAL_H
#define SRCWATCH_TESTS_FAULTTRIAL_H

#include "FaultyCalls.h"
#include "ServiceTest.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace srcwatch_test {

/// What the service does while calls fail.
constexpr const char* kPhases[] = {"boot", "restart", "detect", "unplug", "deny", "forget", "stop"};

/// Which calls fail.
struct FaultPlan {
    std::string phase;
    int error = 0;         ///< errno value
    int first = 0;         ///< number of the first, from 1; 0 for none
    int length = 0;        ///< how many; 0 for all of the time
    int milliseconds = 0;  ///< the time
};

/// What became of it.
struct FaultResult {
    int calls = 0;  ///< that could have failed in the phase
    int failed = 0;
    int agreementMs = 0;  ///< time from the last fault until the state was right
    std::string where;
    std::vector<std::string> troubles;
};

/// Names a program that is tried in place of the service, if it is set.
constexpr const char* kServiceVariable = "SRCWATCH_TEST_SERVICE";

/// Runs in a home of its own with four HDMI inputs.
class FaultTrial final : public ServiceTest {
public:
    explicit FaultTrial(FaultPlan plan);

    FaultResult Run();

private:
    void TestBody() override {}

    void Launch();
    void PlugFrame(const std::string& input, const std::string& product);
    void PlugAndWait(const std::string& input, const std::string& product);
    bool Remove(const std::string& input);
    bool Prepare();
    void Act();
    void Request(int type);
    void Settle();
    bool ServesOrRestarts();
    void CheckMemory();
    void CheckEnd();

    bool IsRight() const;
    static bool IsDetecting();
    bool KeepsStatistics() const;
    static std::string ModelOf(int port);
    static int DenyCountOf(int port);
    void Require(bool holds, const std::string& otherwise);

    const FaultPlan m_plan;
    FaultyCalls m_calls;
    FaultResult m_result;
    std::int64_t m_begin = 0;           // milliseconds of the monotonic clock
    std::vector<std::string> m_models;  // expected, by port
    std::vector<int> m_denyCounts;
    Json::Value m_statistics;
};

}  // namespace srcwatch_test

#endif
