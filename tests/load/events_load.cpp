// SPDX-License-Identifier: Apache-2.0
//
// One process announces events at a steady rate to receivers in processes of their own: each gets all of them, in
// order. With --stop N, one more receiver does nothing for N seconds in between, which stalls no other process.
// Usage: events_load [--seconds N] [--rate N] [--stop N] [--skip] [--swap] [--stall]; the last three are faults on
// purpose: an event that is not sent, two that are sent the wrong way round, a receiver that stalls.
#include "Load.h"
#include "QDInfoEventManager.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <optional>
#include <thread>

#include <gio/gio.h>

namespace {

using namespace load;

constexpr int kReceivers = 4;
constexpr int kStoppable = kReceivers;  // the one that --stop adds
constexpr auto kTick = std::chrono::milliseconds(2);
constexpr auto kStall = std::chrono::seconds(6);
constexpr std::int64_t kLongestDelayUs = 5000000;  // of an event at a receiver that runs, on a machine that is busy
constexpr std::int64_t kLongestSendUs = 100000;    // without the time for which there was no core

struct Receiving {
    std::atomic<bool> isReady;
    std::atomic<std::int64_t> received;
    std::atomic<std::int64_t> disorder;  // an event that does not follow the one before
    std::atomic<std::int64_t> longestDelayUs;
    int last;
};

struct Board {
    std::atomic<bool> isOver;
    std::atomic<std::int64_t> sent;
    std::atomic<std::int64_t> sendingUs;
    std::atomic<std::int64_t> longestSendUs;
    std::int64_t startUs;
    std::array<Receiving, kReceivers + 1> receivings;
};

struct Plan {
    int seconds;
    int rate;
    std::optional<int> stop;
    bool skips;
    bool swaps;
    bool stalls;
};

// args[0] is the event's number from 1, args[1] when it was sent, in microseconds since the start.
void OnEvent(void* data, srcwatch_event_s* event)
{
    auto& [board, receiving] = *static_cast<std::pair<Board*, Receiving*>*>(data);
    if (event->args[0] != receiving->last + 1) ++receiving->disorder;
    receiving->last = event->args[0];
    Raise(receiving->longestDelayUs, NowUs() - board->startUs - event->args[1]);
    ++receiving->received;
}

void Receive(Board& board, Receiving& receiving, bool stalls)
{
    std::pair<Board*, Receiving*> data(&board, &receiving);
    if (srcwatch_register_event_callback(&OnEvent, &data) != 1) throw std::runtime_error("cannot register");
    // The bus answers after it has taken the subscription.
    static_cast<void>(qdinfo::CQDEventSender("qdinfo").IsServiceAvailable());
    receiving.isReady = true;
    bool hasStalled = false;
    while (!board.isOver) {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        if (stalls && !hasStalled && receiving.received > 0) {
            std::this_thread::sleep_for(kStall);
            hasStalled = true;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    srcwatch_unregister_event_callback(&OnEvent);
}

int NumberToSend(int number, const Plan& plan)
{
    const int fault = plan.rate / 2;
    if (plan.skips && number == fault) return 0;
    if (plan.swaps && number == fault) return number + 1;
    if (plan.swaps && number == fault + 1) return number - 1;
    return number;
}

void SendOne(Board& board, qdinfo::CQDEventSender& sender, int number)
{
    const std::int64_t queued = QueuedUs();
    const std::int64_t start = NowUs();
    sender.SendEvent(SRCWATCH_EVENT_SCAN_PROGRESS, number, static_cast<long>(start - board.startUs), 0);
    const std::int64_t time = NowUs() - start;
    if (time > kLongestSendUs / 10) Raise(board.longestSendUs, time - (QueuedUs() - queued));
}

void Send(Board& board, const Plan& plan)
{
    qdinfo::CQDEventSender sender("qdinfo");
    const int total = plan.seconds * plan.rate;
    const std::int64_t start = NowUs();
    for (int number = 1; number <= total; ++number) {
        const int sent = NumberToSend(number, plan);
        if (sent > 0) SendOne(board, sender, sent);
        ++board.sent;
        const std::int64_t dueUs = std::int64_t{1000000} * number / plan.rate;
        const std::int64_t aheadUs = dueUs - (NowUs() - start);
        if (aheadUs > std::chrono::microseconds(kTick).count()) std::this_thread::sleep_for(kTick);
    }
    board.sendingUs = NowUs() - start;
}

bool HaveAll(const Board& board, int receivers, std::int64_t total)
{
    return std::all_of(board.receivings.begin(), board.receivings.begin() + receivers,
                       [total](const Receiving& receiving) { return receiving.received.load() >= total; });
}

// Stops the additional receiver a while after the start.
void StopForAWhile(const Worker& receiver, const Plan& plan)
{
    std::this_thread::sleep_for(std::chrono::seconds(1));
    receiver.Signal(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::seconds(*plan.stop));
    receiver.Signal(SIGCONT);
}

int Judge(const Board& board, int receivers, const Plan& plan)
{
    const std::int64_t total = std::int64_t{plan.seconds} * plan.rate;
    const double sendingS = static_cast<double>(board.sendingUs) / 1e6;
    std::int64_t longestDelayUs = 0;
    Report report;
    for (int i = 0; i < receivers; ++i) {
        const Receiving& receiving = board.receivings[static_cast<std::size_t>(i)];
        const std::string who = "receiver " + std::to_string(i) + ": ";
        report.Require(receiving.received == total, who + std::to_string(total - receiving.received) + " events lost");
        report.Require(receiving.disorder == 0, who + std::to_string(receiving.disorder) + " events out of order");
        if (i != kStoppable) longestDelayUs = std::max(longestDelayUs, receiving.longestDelayUs.load());
    }
    std::printf(
        "events: %lld in %.1f s (%.0f a second) to %d receivers%s, longest delay %.1f ms, longest send beside "
        "waiting for a core %.1f ms\n",
        static_cast<long long>(board.sent), sendingS, static_cast<double>(board.sent) / sendingS, receivers,
        plan.stop ? (", one stopped for " + std::to_string(*plan.stop) + " s").c_str() : "",
        static_cast<double>(longestDelayUs) / 1e3, static_cast<double>(board.longestSendUs) / 1e3);
    report.Require(longestDelayUs <= kLongestDelayUs, "an event was late");
    report.Require(board.longestSendUs <= kLongestSendUs, "the sender was held up");
    return report.Result();
}

int Run(const std::vector<std::string>& arguments)
{
    Plan plan = {Number(arguments, "--seconds", 5), Number(arguments, "--rate", 10000), {},
                 Has(arguments, "--skip"),          Has(arguments, "--swap"),           Has(arguments, "--stall")};
    if (Has(arguments, "--stop")) plan.stop = Number(arguments, "--stop", 0);
    const int receivers = kReceivers + (plan.stop ? 1 : 0);
    auto& board = Share<Board>();
    board.startUs = NowUs();
    std::vector<Worker> workers;
    for (int i = 0; i < receivers; ++i) {
        Receiving& receiving = board.receivings[static_cast<std::size_t>(i)];
        workers.emplace_back(
            [&board, &receiving, stalls = plan.stalls && i == 0] { Receive(board, receiving, stalls); });
        if (!WaitUntil([&receiving] { return receiving.isReady.load(); })) return 2;
    }
    Worker sender([&] { Send(board, plan); });
    if (plan.stop) StopForAWhile(workers.back(), plan);

    const std::int64_t total = std::int64_t{plan.seconds} * plan.rate;
    const bool isSent = WaitUntil([&] { return board.sendingUs > 0; }, std::chrono::seconds(plan.seconds * 4 + 10));
    // What is missing then is reported as lost.
    static_cast<void>(
        WaitUntil([&] { return HaveAll(board, receivers, total); }, std::chrono::seconds(plan.skips ? 2 : 30)));
    board.isOver = true;
    Report report;
    report.Require(isSent && sender.Succeeds(), "the sender failed");
    for (Worker& worker : workers) report.Require(worker.Succeeds(), "a receiver failed");
    return Judge(board, receivers, plan) | report.Result();
}

}  // namespace

int main(int argc, char** argv) { return load::RunAtHome(argc, argv, &Run); }
