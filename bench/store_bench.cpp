// SPDX-License-Identifier: Apache-2.0
//
// What the host platform's settings store adds to a query over settings in memory.
#include "Child.h"
#include "Documents.h"
#include "MemoryPlatform.h"
#include "srcwatch-api.h"

#include <string>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <vconf.h>

namespace {

constexpr int kKeys = 16;

template <typename Function>
Function* HostFunction(const char* name)
{
    void* function = dlsym(RTLD_NEXT, name);
    bench::Require(function != nullptr, "this program is not linked with the host platform");
    return reinterpret_cast<Function*>(function);
}

// From now on the settings are those of the host platform, or those in memory again: the same code measures both.
void UseHostPlatform(bool on)
{
    static const srcwatch_test::StoreFunctions host = {
        HostFunction<decltype(vconf_get_int)>("vconf_get_int"), HostFunction<decltype(vconf_set_int)>("vconf_set_int"),
        HostFunction<decltype(vconf_get_str)>("vconf_get_str"), HostFunction<decltype(vconf_set_str)>("vconf_set_str")};
    srcwatch_test::ThePlatform().settings.other = on ? &host : nullptr;
}

std::int64_t MemoryReads() { return srcwatch_test::ThePlatform().counts.textReads; }

// The document among other settings, in the store that is in use.
void StoreSettings()
{
    for (int i = 1; i < kKeys; ++i) {
        const std::string key = "db/srcwatch-service/other-setting-" + std::to_string(i);
        bench::Require(vconf_set_int(key.c_str(), i) == 0, "cannot write the settings");
    }
    const std::string document = bench::TextOf(bench::ActivityDocument(8));
    bench::Require(vconf_set_str(qdinfo::kSourceActivityKey, document.c_str()) == 0, "cannot write the settings");
}

void Queries(benchmark::State& state)
{
    char text[SRCWATCH_TEXT_SIZE];
    int port = 0;
    for (auto _ : state) {
        if (srcwatch_get_model_name(text, port++ % 8) != SRCWATCH_OK) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(text);
    }
    if (text[0] == '\0') state.SkipWithError("the query read nothing");
}

void QueryOverMemory(benchmark::State& state)
{
    const std::int64_t before = MemoryReads();
    Queries(state);
    if (MemoryReads() - before != static_cast<std::int64_t>(state.iterations())) {
        state.SkipWithError("the settings in memory were not read once by each query");
    }
}

void QueryOverHost(benchmark::State& state)
{
    UseHostPlatform(true);
    const std::int64_t before = MemoryReads();
    Queries(state);
    if (MemoryReads() != before) state.SkipWithError("the settings in memory were read");
    UseHostPlatform(false);
}

BENCHMARK(QueryOverMemory);
BENCHMARK(QueryOverHost);

}  // namespace

int main(int argc, char** argv)
{
    bench::PrivatePlace("SRCWATCH_STATE_DIR");
    bench::PrivatePlace("SRCWATCH_RUN_DIR");
    StoreSettings();
    UseHostPlatform(true);
    StoreSettings();
    UseHostPlatform(false);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
