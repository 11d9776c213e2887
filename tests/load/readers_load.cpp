// SPDX-License-Identifier: Apache-2.0
//
// One process saves a hundred times a second; sixteen query all the time. Every record that they get is of one save,
// and no query waits.
// Usage: readers_load [--seconds N] [--two-saves] [--stop-a-reader]; the last two are faults on purpose.
#include "Load.h"
#include "QDInfoServerData.h"
#include "Records.h"
#include "srcwatch-api.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include <sys/types.h>

namespace {

using namespace load;

constexpr int kReaders = 16;
constexpr std::int64_t kLongestWaitUs = 100000;
constexpr auto kBetweenSaves = std::chrono::milliseconds(10);
constexpr auto kBetweenQueries = std::chrono::microseconds(500);

struct Reading {
    std::atomic<bool> isReady;
    std::atomic<std::int64_t> queries;
    std::atomic<std::int64_t> failures;
    std::atomic<std::int64_t> mixtures;   // two fields of different saves
    std::atomic<std::int64_t> backwards;  // an older save after a newer one
    std::atomic<std::int64_t> longestUs;
    std::atomic<std::int64_t> longestWaitUs;  // without the time for which there was no core
};

struct Board {
    std::atomic<bool> hasBegun;
    std::atomic<bool> isOver;
    std::atomic<std::int64_t> saves;
    std::atomic<std::int64_t> failedSaves;
    std::array<Reading, kReaders> readings;
};

struct Seen {
    std::string device;
    std::string brand;
};

bool Query(int port, Seen& seen)
{
    int type = 0;
    char device[SRCWATCH_TEXT_SIZE + 1] = {};
    char brand[SRCWATCH_TEXT_SIZE + 1] = {};
    if (srcwatch_get_device_info(port, &type, device, brand) != SRCWATCH_OK) return false;
    seen = {device, brand};
    return type == SRCWATCH_DEVICE_STREAMING_BOX;
}

int GenerationOf(const std::string& text)
{
    const std::size_t at = text.find_last_of(' ');
    return at == std::string::npos ? 0 : std::atoi(text.c_str() + at);
}

void Read(Board& board, Reading& reading, std::chrono::microseconds pause)
{
    int last = 0;
    Seen seen;
    for (int round = 0; !board.isOver; ++round) {
        const std::int64_t queued = QueuedUs();
        const std::int64_t start = NowUs();
        const bool isAnswered = Query(round % srcwatch_test::kRecords, seen);
        const std::int64_t time = NowUs() - start;
        Raise(reading.longestUs, time);
        if (time > kLongestWaitUs / 10) Raise(reading.longestWaitUs, time - (QueuedUs() - queued));
        ++reading.queries;
        reading.isReady = true;
        if (!isAnswered) ++reading.failures;
        if (isAnswered && seen.device != seen.brand) ++reading.mixtures;
        const int generation = GenerationOf(seen.device);
        if (generation < last) ++reading.backwards;
        last = generation;
        std::this_thread::sleep_for(pause);
    }
}

// The fault: what belongs together is saved in two pieces, as without a lock around it.
bool SaveInTwo(qdinfo::CQDInfoServerData& store, int generation)
{
    for (int port = 0; port < srcwatch_test::kRecords; ++port)
        store.SetDeviceName(srcwatch_test::TextOfGeneration(generation).c_str(), port);
    return store.t_SaveActivityInfoToFile();
}

void Write(Board& board, bool savesInTwo)
{
    qdinfo::CQDInfoServerData& store = *qdinfo::CSingleton<qdinfo::CQDInfoServerData>::GetInstance();
    store.CreateAndAddNewActivity();
    Clock::time_point next = Clock::now();
    for (int generation = 1; !board.isOver; ++generation) {
        if (savesInTwo && !SaveInTwo(store, generation)) ++board.failedSaves;
        srcwatch_test::FillRecords(store, generation);
        if (!store.t_SaveActivityInfoToFile()) ++board.failedSaves;
        ++board.saves;
        board.hasBegun = true;
        next += kBetweenSaves;
        std::this_thread::sleep_until(next);
    }
}

std::int64_t Sum(const Board& board, std::atomic<std::int64_t> Reading::*figure)
{
    std::int64_t sum = 0;
    for (const Reading& reading : board.readings) sum += (reading.*figure).load();
    return sum;
}

std::int64_t Most(const Board& board, std::atomic<std::int64_t> Reading::*figure)
{
    std::int64_t most = 0;
    for (const Reading& reading : board.readings) most = std::max(most, (reading.*figure).load());
    return most;
}

int Judge(const Board& board, int seconds)
{
    const std::int64_t queries = Sum(board, &Reading::queries);
    std::printf(
        "readers: %d s, 1 writer, %d readers: %lld saves, %lld queries, longest query %.1f ms, of which "
        "waiting for anything but a core at most %.1f ms\n",
        seconds, kReaders, static_cast<long long>(board.saves), static_cast<long long>(queries),
        static_cast<double>(Most(board, &Reading::longestUs)) / 1e3,
        static_cast<double>(Most(board, &Reading::longestWaitUs)) / 1e3);
    Report report;
    report.Require(board.failedSaves == 0, std::to_string(board.failedSaves) + " saves failed");
    report.Require(board.saves > seconds, "hardly any saves");
    report.Require(queries > 100L * seconds, "hardly any queries");
    const auto requireNone = [&](std::atomic<std::int64_t> Reading::*figure, const char* what) {
        const std::int64_t count = Sum(board, figure);
        report.Require(count == 0, std::to_string(count) + what);
    };
    requireNone(&Reading::failures, " queries failed");
    requireNone(&Reading::mixtures, " records of two saves");
    requireNone(&Reading::backwards, " older records after newer ones");
    report.Require(Most(board, &Reading::longestWaitUs) <= kLongestWaitUs, "a reader waited too long");
    return report.Result();
}

int Run(const std::vector<std::string>& arguments)
{
    const int seconds = Number(arguments, "--seconds", 5);
    const bool savesInTwo = Has(arguments, "--two-saves");
    auto& board = Share<Board>();
    Worker writer([&] { Write(board, savesInTwo); });
    if (!WaitUntil([&] { return board.hasBegun.load(); })) return 2;
    std::vector<Worker> readers;
    const bool stopsReader = Has(arguments, "--stop-a-reader");
    for (Reading& reading : board.readings) {
        // The one that will be stopped makes no pauses, so that it is within a query then.
        const bool pauses = !stopsReader || !readers.empty();
        readers.emplace_back([&board, &reading, pauses] {
            Read(board, reading, pauses ? kBetweenQueries : std::chrono::microseconds(0));
        });
    }
    if (!WaitUntil([&] {
            return std::all_of(board.readings.begin(), board.readings.end(),
                               [](const Reading& r) { return r.isReady.load(); });
        }))
        return 2;

    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    if (stopsReader) {
        for (int stop = 0; stop < 10; ++stop) {
            readers[0].Signal(SIGSTOP);
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            readers[0].Signal(SIGCONT);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    board.isOver = true;
    Report ends;
    for (Worker& reader : readers) ends.Require(reader.Succeeds(), "a reader failed");
    ends.Require(writer.Succeeds(), "the writer failed");
    return Judge(board, seconds) | ends.Result();
}

}  // namespace

int main(int argc, char** argv) { return load::RunAtHome(argc, argv, &Run); }
