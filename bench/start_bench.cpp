// SPDX-License-Identifier: Apache-2.0
//
// Starting a process with the library, and one without it: the processor time from its first instruction until it has
// ended, with nothing in between. A start waits for nothing, so on an idle machine this is what it takes.
#include "Child.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// The libraries in preload are found by their paths, as those of an installed system are found in the loader's cache. A
// run path into the build tree would have the loader look there for each of the other libraries first.
void Start(benchmark::State& state, const char* name, const char* preload)
{
    std::string program = std::string(SRCWATCH_BENCH_DIR) + "/" + name;
    std::string preloaded = std::string("LD_PRELOAD=") + preload;
    char* const argv[] = {program.data(), nullptr};
    std::vector<char*> environment = {preloaded.data()};
    for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
    environment.push_back(nullptr);

    for (auto _ : state) {
        pid_t process = 0;
        int status = -1;
        rusage used{};
        bench::Require(posix_spawn(&process, program.c_str(), nullptr, nullptr, argv, environment.data()) == 0,
                       "posix_spawn");
        bench::Require(wait4(process, &status, 0, &used) == process, "wait4");
        if (status != 0) state.SkipWithError("the process failed");
        state.SetIterationTime(Seconds(used.ru_utime) + Seconds(used.ru_stime));
    }
}

BENCHMARK_CAPTURE(Start, plain, "start_plain", "")->UseManualTime();
BENCHMARK_CAPTURE(Start, library, "start_library_alone", SRCWATCH_BENCH_LIBRARY_ALONE)->UseManualTime();
BENCHMARK_CAPTURE(Start, library_and_host, "start_library", SRCWATCH_BENCH_LIBRARY ":" SRCWATCH_BENCH_HOST)
    ->UseManualTime();

}  // namespace

int main(int argc, char** argv)
{
    bench::PrivatePlace("SRCWATCH_PLATFORM_CONF");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
