// SPDX-License-Identifier: Apache-2.0
//
// The platform in memory for tests: each starts with an empty one, and fails if a line of the library's log has no
// valid place.
#ifndef SRCWATCH_TESTS_PLATFORMTEST_H
#define SRCWATCH_TESTS_PLATFORMTEST_H

#include "MemoryPlatform.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace srcwatch_test {

/// Sets Platform::onLine while it exists.
class LogHook {
public:
    explicit LogHook(std::function<void(const LogLine&)> callback);
    LogHook(const LogHook&) = delete;
    LogHook& operator=(const LogHook&) = delete;
    ~LogHook();
};

/// Returns true if action returns in another thread, which it does not while another thread holds a lock that it takes.
bool ReturnsInAnotherThread(std::function<void()> action);

/// What was recorded while the shared objects were loaded, before main.
const std::vector<std::string>& LoadSequence();

/// Names that look like formats, escape sequences, several lines, and marks that turn the direction of writing.
constexpr const char* kHostileNames[] = {"%n%s%d%%", "\x1b[31m\x1b]0;title\x07", "a line\nand another\r\t",
                                         "\u202egnp.\u2066"};

class PlatformTest : public testing::Test {
protected:
    PlatformTest();
    ~PlatformTest() override;

    Platform& platform = ThePlatform();
    std::set<std::string> ownFiles;  ///< of the test, which may log beside the library's
};

}  // namespace srcwatch_test

#endif
