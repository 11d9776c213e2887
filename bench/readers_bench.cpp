// SPDX-License-Identifier: Apache-2.0
//
// Many processes that query over the host platform while one saves a hundred times a second: without a pause, for how
// much they get done, and with pauses, for how long a query takes when there is a core for it.
#include "Child.h"
#include "Documents.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>
#include <vconf.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostReaders = 16;
constexpr std::chrono::milliseconds kRound(1000);
constexpr std::chrono::milliseconds kBetweenSaves(10);
constexpr std::chrono::milliseconds kPause(5);

struct Reading {
    std::int64_t queries;
    double medianUs;
    double p99Us;
};

// What the processes share. A round is announced by its number, so that all start together.
struct Board {
    std::atomic<int> round;
    std::atomic<int> finished;
    std::atomic<std::int64_t> saves;
    std::array<Reading, kMostReaders> readings;
};

void WaitForRound(const Board& board, int round)
{
    while (board.round.load() < round) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

double Quantile(std::vector<double>& values, double part)
{
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

Reading ReadForARound(std::chrono::milliseconds pause)
{
    std::vector<double> times;
    char text[SRCWATCH_TEXT_SIZE];
    const Clock::time_point end = Clock::now() + kRound;
    for (Clock::time_point start = Clock::now(); start < end; start = Clock::now()) {
        bench::Require(srcwatch_get_model_name(text, 0) == SRCWATCH_OK && text[0] != '\0', "a query failed");
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        if (pause.count() > 0) std::this_thread::sleep_for(pause);
    }
    return {static_cast<std::int64_t>(times.size()), Quantile(times, 0.5), Quantile(times, 0.99)};
}

int RunReader(Board& board, std::size_t number, std::chrono::milliseconds pause)
{
    char text[SRCWATCH_TEXT_SIZE];
    srcwatch_get_model_name(text, 0);  // opens the store
    bench::ReportReady();
    for (int round = 1;; ++round) {
        WaitForRound(board, round);
        board.readings[number] = ReadForARound(pause);
        ++board.finished;
    }
}

int RunWriter(Board& board)
{
    const std::string document = bench::TextOf(bench::ActivityDocument(8));
    bench::Require(vconf_set_str(qdinfo::kSourceActivityKey, document.c_str()) == 0, "cannot write the settings");
    bench::ReportReady();
    for (Clock::time_point next = Clock::now();; next += kBetweenSaves) {
        std::this_thread::sleep_until(next);
        bench::Require(vconf_set_str(qdinfo::kSourceActivityKey, document.c_str()) == 0, "a save failed");
        ++board.saves;
    }
}

// Adds the results of a round to the counters, which keep the worst reader's figures.
void Count(benchmark::State& state, const Board& board, std::size_t readers)
{
    double queries = 0;
    for (std::size_t i = 0; i < readers; ++i) {
        const Reading& reading = board.readings[i];
        queries += static_cast<double>(reading.queries);
        state.counters["median_us"] = std::max<double>(state.counters["median_us"], reading.medianUs);
        state.counters["p99_us"] = std::max<double>(state.counters["p99_us"], reading.p99Us);
        state.counters["p99_by_median"] =
            std::max<double>(state.counters["p99_by_median"], reading.p99Us / reading.medianUs);
    }
    state.counters["rate"] = queries / std::chrono::duration<double>(kRound).count();
}

void Readers(benchmark::State& state, std::chrono::milliseconds pause)
{
    const auto readers = static_cast<std::size_t>(state.range(0));
    const int file = bench::MakeShared(sizeof(Board));
    Board& board = *static_cast<Board*>(bench::OpenShared(file, sizeof(Board)));
    std::vector<std::unique_ptr<bench::Child>> processes;
    processes.push_back(std::make_unique<bench::Child>(std::vector<std::string>{"--write", std::to_string(file)}));
    for (std::size_t i = 0; i < readers; ++i) {
        processes.push_back(std::make_unique<bench::Child>(std::vector<std::string>{
            "--read", std::to_string(file), std::to_string(i), std::to_string(pause.count())}));
    }
    for (auto _ : state) {
        const std::int64_t savesBefore = board.saves;
        const Clock::time_point start = Clock::now();
        board.finished = 0;
        ++board.round;
        while (board.finished.load() < static_cast<int>(readers)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        state.counters["saves_per_second"] = static_cast<double>(board.saves - savesBefore) / seconds;
        Count(state, board, readers);
    }
    processes.clear();
    close(file);
}

constexpr std::chrono::milliseconds kNoPause(0);
BENCHMARK_CAPTURE(Readers, busy, kNoPause)->RangeMultiplier(2)->Range(1, kMostReaders)->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(Readers, paced, kPause)->RangeMultiplier(2)->Range(1, kMostReaders)->Iterations(1)->UseManualTime();

}  // namespace

int main(int argc, char** argv)
{
    for (const char* place : {"SRCWATCH_STATE_DIR", "SRCWATCH_RUN_DIR"}) bench::PrivatePlace(place);
    const std::string mode = argc > 2 ? argv[1] : "";
    if (mode == "--write" || mode == "--read") {
        Board& board = *static_cast<Board*>(bench::OpenShared(std::stoi(argv[2]), sizeof(Board)));
        if (mode == "--write") return RunWriter(board);
        return RunReader(board, std::stoul(argv[3]), std::chrono::milliseconds(std::stoi(argv[4])));
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
