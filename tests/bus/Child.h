// SPDX-License-Identifier: Apache-2.0
//
// Another program, with its input and output in the test's hands.
#ifndef SRCWATCH_TESTS_CHILD_H
#define SRCWATCH_TESTS_CHILD_H

#include "Waiting.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace srcwatch_test {

class Child {
public:
    /// Starts a program, which is searched in the path; it has the environment of the test.
    explicit Child(std::vector<std::string> command);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();  ///< Kills it if it still runs.

    void WriteLine(const std::string& line) const;
    /// The next line of its output, without the newline. Empty if it ended or the deadline came first.
    std::string ReadLine(std::chrono::milliseconds deadline = kDeadline);
    /// Closes its input, reads the rest of its output and waits for its end.
    std::string Finish();
    /// Waits for its end; its exit code, or minus the signal that ended it.
    int Wait();

private:
    bool ReadMore(std::chrono::milliseconds deadline);

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    std::string m_read;
    int m_status = 0;
};

/// Returns true if a program is in the path.
bool IsInstalled(const std::string& program);

}  // namespace srcwatch_test

#endif
