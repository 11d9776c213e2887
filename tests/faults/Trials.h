// SPDX-License-Identifier: Apache-2.0
//
// Calls of functions while memory is short, and what they found out.
#ifndef SRCWATCH_TESTS_TRIALS_H
#define SRCWATCH_TESTS_TRIALS_H

#include "FailingAllocator.h"
#include "Functions.h"
#include "Settings.h"

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

#include <sys/mman.h>

namespace srcwatch_test {

constexpr Shortage kShortages[] = {Shortage::kOnce, Shortage::kLasting};
constexpr long kManyPoints = 20000;  // more than any function has

// What a process found, where it can be seen when it has crashed.
struct Findings {
    long points[2];  // allocations, by kind of shortage
    long thrown;     // calls that ended in bad_alloc
    long ended;      // processes that GLib ended
    long point;      // the one that fails now
    int isLasting;
    bool hasFailed;      // there was an allocation of that number
    char result[16384];  // of the function when nothing fails
    char trouble[600];
};

class Shared {
public:
    Shared() : m_findings(mmap(nullptr, sizeof(Findings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_findings == MAP_FAILED) throw std::runtime_error("no shared memory");
    }
    ~Shared() { munmap(m_findings, sizeof(Findings)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    Findings* operator->() const { return static_cast<Findings*>(m_findings); }

    void Report(const std::string& trouble) const
    {
        Findings& findings = *operator->();
        if (trouble.empty() || findings.trouble[0] != '\0') return;
        (void)std::snprintf(findings.trouble, sizeof findings.trouble, "allocation %ld%s: %s", findings.point,
                            findings.isLasting != 0 ? " and all after it" : "", trouble.c_str());
    }

private:
    void* m_findings;
};

/// Runs body in a process of its own. @return Its wait status.
int InChild(const std::function<void()>& body);

/// Describes the end of a process; empty if it was as it should be.
std::string TroubleOf(int status);

Result Call(const Function& function);

/// Calls the function with the allocation of that number failing. @return False if it made fewer.
bool CallShort(const Function& function, long point, Shortage shortage, const Shared& shared);

/// What a function does when nothing fails.
struct Reference {
    std::string result;
    Settings before;
    Settings after;
};

/// Tries all points, in rounds until one leaves nothing in use that was not in use before it: what every round leaves
/// is lost.
void TryFunction(const Function& function, const Shared& shared);

/// Makes one call with a failing allocation and one without, in a process of their own.
void TryInProcess(const Function& function, const Reference& reference, Shortage shortage, bool isOpen,
                  const Shared& shared);

void PrintHead();
void Print(const std::string& name, const Shared& shared);

}  // namespace srcwatch_test

#endif
