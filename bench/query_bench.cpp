// SPDX-License-Identifier: Apache-2.0
//
// The queries about a port over settings in memory, beside the least and the obvious code over JsonCpp with the same
// answer; and how their cost grows with the work.
#include "Documents.h"
#include "Handle.h"
#include "MemoryPlatform.h"
#include "Queries.h"
#include "srcwatch.hpp"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

namespace {

using srcwatch_test::Query;

using Copy = srcwatch::Handle<char, std::free>;

// The ports in turn, so that no figure depends on the place of one record.
class Ports {
public:
    explicit Ports(int count) : m_count(count) {}
    int Next() { return m_port = m_port + 1 < m_count ? m_port + 1 : 0; }

private:
    int m_count;
    int m_port = -1;
};

std::string& Stored(const char* key) { return srcwatch_test::ThePlatform().settings.texts[key]; }

// Stores a document of this many records.
const std::string& StoreActivity(int records)
{
    return Stored(qdinfo::kSourceActivityKey) = bench::TextOf(bench::ActivityDocument(records));
}

std::int64_t Reads() { return srcwatch_test::ThePlatform().counts.textReads; }

// A query that did not read the store, or read it more often, is not to be measured.
class ReadCheck {
public:
    explicit ReadCheck(std::int64_t readsPerQuery) : m_perQuery(readsPerQuery), m_before(Reads()) {}

    void Finish(benchmark::State& state) const
    {
        const std::int64_t reads = Reads() - m_before;
        const std::int64_t queries = static_cast<std::int64_t>(state.iterations());
        if (reads != m_perQuery * queries) state.SkipWithError("the store was not read as often as it has to be");
        state.counters["reads_per_query"] = static_cast<double>(reads) / static_cast<double>(queries);
    }

private:
    std::int64_t m_perQuery;
    std::int64_t m_before;
};

// The library's text query.
void Ours(benchmark::State& state, const Query& query, int records)
{
    StoreActivity(records);
    Ports ports(records);
    char text[SRCWATCH_TEXT_SIZE];
    const srcwatch_test::CallerOutputs outputs = {text, nullptr, nullptr, nullptr, nullptr};
    const ReadCheck reads(query.reads);
    for (auto _ : state) {
        if (query.call(ports.Next(), outputs) != SRCWATCH_OK) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(text);
    }
    reads.Finish(state);
}

// The fastest way with plain JsonCpp: the stored text is copied, as every store that others write to has to, the reader
// is kept, no error text is asked for, the element is moved out of the document.
void Floor(benchmark::State& state, const Query& query, int records)
{
    const std::string& stored = StoreActivity(records);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Ports ports(records);
    for (auto _ : state) {
        const Copy text(strdup(stored.c_str()));
        Json::Value root;
        reader->parse(text.get(), text.get() + std::strlen(text.get()), &root, nullptr);
        Json::Value record = std::move(root["activity"][ports.Next()]);
        std::string value = record[query.key].asString();
        benchmark::DoNotOptimize(value);
    }
}

// The straightforward way: builder and reader made for each query, the element copied.
void Naive(benchmark::State& state, const Query& query, int records)
{
    const std::string& stored = StoreActivity(records);
    Ports ports(records);
    for (auto _ : state) {
        const Copy text(strdup(stored.c_str()));
        Json::CharReaderBuilder builder;
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        Json::Value root;
        std::string errors;
        reader->parse(text.get(), text.get() + std::strlen(text.get()), &root, &errors);
        const Json::Value record = root["activity"][ports.Next()];
        std::string value = record[query.key].asString();
        benchmark::DoNotOptimize(value);
    }
}

// A text query through the C++ interface.
void CppText(benchmark::State& state)
{
    StoreActivity(1);
    const ReadCheck reads(1);
    for (auto _ : state) {
        const auto text = srcwatch::cec_name(0);
        if (!text) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(text->data());
    }
    reads.Finish(state);
}

void DeviceInfo(benchmark::State& state)
{
    StoreActivity(8);
    Ports ports(8);
    int type = 0;
    char str1[SRCWATCH_TEXT_SIZE];
    char str2[SRCWATCH_TEXT_SIZE];
    const ReadCheck reads(1);
    for (auto _ : state) {
        if (srcwatch_get_device_info(ports.Next(), &type, str1, str2) != SRCWATCH_OK) {
            state.SkipWithError("the query failed");
        }
        benchmark::DoNotOptimize(str1);
    }
    reads.Finish(state);
}

// On a port whose device has a codeset: the record is read for the device info and again for the codeset.
void CodesetInfo(benchmark::State& state)
{
    StoreActivity(8);
    bool hasCodeset = false;
    char codeset[10];
    const ReadCheck reads(2);
    for (auto _ : state) {
        if (srcwatch_get_codeset_info(1, &hasCodeset, codeset) != SRCWATCH_OK) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(codeset);
    }
    reads.Finish(state);
}

// A document of about this many bytes, as more records of the same kind.
void DocumentSize(benchmark::State& state)
{
    const auto wanted = static_cast<std::size_t>(state.range(0));
    const std::size_t perRecord = bench::TextOf(bench::ActivityDocument(8)).size() / 8;
    const std::string& stored = StoreActivity(static_cast<int>((wanted + perRecord / 2) / perRecord));
    char text[SRCWATCH_TEXT_SIZE];
    const ReadCheck reads(1);
    for (auto _ : state) {
        srcwatch_get_cec_name(text, 0);
        benchmark::DoNotOptimize(text);
    }
    reads.Finish(state);
    state.counters["work"] = static_cast<double>(stored.size());
}

void PortCount(benchmark::State& state)
{
    Ours(state, srcwatch_test::QueryNamed("srcwatch_get_cec_name"), static_cast<int>(state.range(0)));
    state.counters["work"] = static_cast<double>(state.range(0));
}

void Statistics(benchmark::State& state)
{
    Stored(qdinfo::kStatisticsKey) = bench::TextOf(bench::StatisticsDocument(static_cast<int>(state.range(0))));
    srcwatch_kpi_info_s infos[8];
    const ReadCheck reads(1);
    for (auto _ : state) {
        if (srcwatch_get_all_device_kpi_info(infos) != SRCWATCH_OK) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(infos);
    }
    reads.Finish(state);
    state.counters["work"] = static_cast<double>(state.range(0));
}

using Way = void (*)(benchmark::State&, const Query&, int);

void RegisterTextQueries(const char* way, Way run)
{
    constexpr std::size_t kPrefix = sizeof("srcwatch_get_") - 1;
    for (const Query& query : srcwatch_test::TextQueries()) {
        for (const int records : {1, 2, 4, 8}) {
            const std::string name = std::string(way) + "/" + (query.name + kPrefix) + "/" + std::to_string(records);
            benchmark::RegisterBenchmark(
                name.c_str(), [run, query, records](benchmark::State& state) { run(state, query, records); });
        }
    }
}

BENCHMARK(CppText);
BENCHMARK(DeviceInfo);
BENCHMARK(CodesetInfo);
BENCHMARK(PortCount)->DenseRange(1, 8);
BENCHMARK(DocumentSize)->Arg(1000)->Arg(2000)->Arg(5000)->Arg(10000)->Arg(20000)->Arg(50000)->Arg(100000);
BENCHMARK(Statistics)->Arg(1)->Arg(10)->Arg(50)->Arg(100)->Arg(200)->Arg(500)->Arg(1000);

}  // namespace

int main(int argc, char** argv)
{
    RegisterTextQueries("Ours", Ours);
    RegisterTextQueries("Floor", Floor);
    RegisterTextQueries("Naive", Naive);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
