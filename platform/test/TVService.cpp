// SPDX-License-Identifier: Apache-2.0
#include "Platform.h"
#include "Promise.h"
#include "Threads.h"

#include <cstring>
#include <set>

namespace conformance {

namespace {

/// The TV service's numbers of HDMI 1 to 8.
constexpr int kSources[] = {13, 14, 15, 16, 38, 39, 46, 47};

ISourceControl& Control(const Platform& platform)
{
    ISourceControl* control = nullptr;
    const int result = platform.CreateSourceControl(&control);
    Require(result == 0, "CreateSourceControl returns " + std::to_string(result));
    Require(control != nullptr, "CreateSourceControl succeeds with no control");
    return *control;
}

// The library asks for the control at each of its queries and never deletes it.
void ControlStaysTheServices(const std::string& library)
{
    constexpr std::size_t kQueries = 1000;
    const Platform platform(library);
    std::set<const ISourceControl*> controls;
    for (std::size_t query = 0; query < kQueries; ++query) controls.insert(&Control(platform));
    Require(controls.size() < kQueries, "each query leaves a new control behind, which nobody deletes");
}

// What a query leaves in its output, as a byte: a bool that holds another value than 0 and 1 must not be looked at.
unsigned char Answer(ISourceControl& control, int source, bool before, int& result)
{
    bool connected = before;
    result = control.IsExternalSourceConnected(source, &connected);
    unsigned char byte = 0;
    std::memcpy(&byte, &connected, sizeof byte);
    return byte;
}

void RequireAnswer(ISourceControl& control, int source)
{
    int result = 0;
    const int first = Answer(control, source, false, result);
    const int second = Answer(control, source, true, result);
    if (result < 1) return;
    const std::string name = "source " + std::to_string(source);
    Require(first == second, "the query of " + name + " succeeds, but the output stays as it was");
    Require(first <= 1, "the answer for " + name + " is " + std::to_string(first));
}

void QueriesAreAnswered(const std::string& library)
{
    const Platform platform(library);
    for (const int source : kSources) RequireAnswer(Control(platform), source);
}

void ThreadsQuery(const std::string& library)
{
    const Platform platform(library);
    InThreads([&](int /*thread*/) {
        for (int round = 0; round < 20; ++round) {
            for (const int source : kSources) RequireAnswer(Control(platform), source);
        }
    });
}

}  // namespace

Promises PromisesOfTVService()
{
    constexpr const char* kSection = "TV service";
    return {
        {kSection, "the source control is there, and stays the TV service's", ControlStaysTheServices},
        {kSection, "its query of each source answers through the virtual table, or fails", QueriesAreAnswered},
        {kSection, "threads query at once", ThreadsQuery},
    };
}

}  // namespace conformance
