// SPDX-License-Identifier: Apache-2.0
//
// A TV of the test program's own, on an ordinary machine: configuration, settings, cables and message bus.
#ifndef SRCWATCH_TESTKIT_TESTPLATFORM_H
#define SRCWATCH_TESTKIT_TESTPLATFORM_H

#include <string>
#include <vector>

namespace srcwatch_test {

/// What kind of TV it is.
struct TvModel {
    int hdmiInputs = 4;
    std::vector<std::string> features = {};  ///< those that are on, by the names of the platform's configuration
};

/**
 * Has the program run on a TV that nobody else sees, and of which nothing is left: to be constructed first in main().
 *
 * The library asks for the number of inputs while it is loaded, so the program is started again, with an environment
 * that names the TV. The constructor returns in that second process alone; the first one waits for its end, removes the
 * TV, and ends with the same exit code (128 plus the signal's number after a signal). A program that is started from
 * the second one, as the application under test may be, sees the same TV.
 */
class TestPlatform {
public:
    /// @param argv  The arguments of main().
    explicit TestPlatform(char** argv, const TvModel& model = {});
    TestPlatform(const TestPlatform&) = delete;
    TestPlatform& operator=(const TestPlatform&) = delete;

    /// Removes all settings and cables, and unplugs the inputs: a TV that was never used. For the begin of each test.
    static void Clear();

    /// Returns the path of a file of the TV: "log" (the detection service's), "platform.conf", "inputs", or a name of
    /// the test's own. Throws std::logic_error without a TestPlatform.
    static std::string Path(const std::string& name);
};

}  // namespace srcwatch_test

#endif
