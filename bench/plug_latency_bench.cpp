// SPDX-License-Identifier: Apache-2.0
//
// From the moment at which a device's directory appears to an application's callback with the detection's result: the
// real service, its usual quiet time of 100 ms, a private bus.
#include "Frames.h"
#include "ServiceTest.h"

#include <chrono>
#include <stdexcept>

#include <benchmark/benchmark.h>

namespace {

using Clock = std::chrono::steady_clock;

class Bench : public srcwatch_test::ServiceTest {
public:
    void TestBody() override {}

    void Start() { StartService(); }

    // Seconds from the directory's appearance to the callback: of a link to files that have long been there.
    double MeasurePlugOfCapture()
    {
        const std::size_t before = CountOf(SRCWATCH_EVENT_DETECTED);
        const Clock::time_point start = Clock::now();
        LinkCapture("hdmi1", "tivaro-one");
        if (!WaitForEvents(SRCWATCH_EVENT_DETECTED, before + 1)) throw std::runtime_error("nothing was detected");
        const std::chrono::duration<double> time = Clock::now() - start;
        Unplug("hdmi1");
        return time.count();
    }

    // The same of a file that was just written.
    double MeasurePlug()
    {
        std::filesystem::create_directory(InputPath(".hdmi1"));
        srcwatch_test::WriteFile(InputPath(".hdmi1") + "/spd.bin", srcwatch_test::SpdFrame("ACME", "Box", 8));
        const std::size_t before = CountOf(SRCWATCH_EVENT_DETECTED);
        const Clock::time_point start = Clock::now();
        std::filesystem::rename(InputPath(".hdmi1"), InputPath("hdmi1"));
        if (!WaitForEvents(SRCWATCH_EVENT_DETECTED, before + 1)) throw std::runtime_error("nothing was detected");
        const std::chrono::duration<double> time = Clock::now() - start;
        Unplug("hdmi1");
        return time.count();
    }
};

Bench* g_Bench = nullptr;

void PlugToCallback(benchmark::State& state)
{
    for (auto _ : state) state.SetIterationTime(g_Bench->MeasurePlug());
}
BENCHMARK(PlugToCallback)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void PlugCaptureToCallback(benchmark::State& state)
{
    for (auto _ : state) state.SetIterationTime(g_Bench->MeasurePlugOfCapture());
}
BENCHMARK(PlugCaptureToCallback)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    return srcwatch_test::RunInHome(argc, argv, 4, [&] {
        benchmark::Initialize(&argc, argv);
        Bench bench;
        bench.Start();
        g_Bench = &bench;
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    });
}
