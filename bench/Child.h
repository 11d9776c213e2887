// SPDX-License-Identifier: Apache-2.0
//
// Further processes of a benchmark: this program again, with other arguments. They die with it.
#ifndef SRCWATCH_BENCH_CHILD_H
#define SRCWATCH_BENCH_CHILD_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// A running process, ended by the destructor.
class Child {
public:
    /// Runs this program with the arguments until it has called ReportReady(). Ends the benchmark if it does not.
    explicit Child(const std::vector<std::string>& arguments);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

private:
    pid_t m_pid = -1;
};

/// Called in the process that a Child runs: it can be measured now.
void ReportReady();

/// Memory of a type that this process and its children share; the children open it by its number.
int MakeShared(std::size_t size);
void* OpenShared(int file, std::size_t size);

/// Returns an environment variable that names a private place. Ends the program if it is not set, before a
/// benchmark touches the system's own bus or settings.
std::string PrivatePlace(const char* variable);

/// Ends the program if the condition does not hold.
void Require(bool condition, const char* what);

}  // namespace bench

#endif
