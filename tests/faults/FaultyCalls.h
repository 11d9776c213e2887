// SPDX-License-Identifier: Apache-2.0
//
// System calls of a program that a test starts, made to fail from the test.
#ifndef SRCWATCH_TESTS_FAULTYCALLS_H
#define SRCWATCH_TESTS_FAULTYCALLS_H

#include "FaultControl.h"

#include <map>
#include <string>

namespace srcwatch_test {

class FaultyCalls {
public:
    /// @param path    A file to make, which the program shares.
    /// @param paths   The directories and files whose calls count, separated by colons.
    /// @param stores  Those of them that the program stores in.
    FaultyCalls(std::string path, const std::string& paths, const std::string& stores = "");
    ~FaultyCalls();
    FaultyCalls(const FaultyCalls&) = delete;
    FaultyCalls& operator=(const FaultyCalls&) = delete;

    /// The variables to start the program with.
    const std::map<std::string, std::string>& Environment() const { return m_environment; }

    /// Counts calls from now on, and fails some of those that may meet the error: a number of them from the first one
    /// on, counted from 1; or, with 0 as their number, those of a time that begins with the first one. With kHang as
    /// the error, they do not return.
    void Fail(int error, int first, int count, int milliseconds = 0);
    void Stop() { m_control->isArmed = 0; }

    int Calls() const { return m_control->calls; }
    int Failed() const { return m_control->failed; }
    std::string Where() const { return m_control->where; }
    /// Milliseconds of the monotonic clock at which the last fault was over; 0 if there was none.
    std::int64_t End() const;

private:
    std::string m_path;
    FaultControl* m_control;
    std::map<std::string, std::string> m_environment;
};

}  // namespace srcwatch_test

#endif
