// SPDX-License-Identifier: Apache-2.0
//
// A year of use in minutes: a service that sees devices come and go, saves and announces, and an application that is
// notified and queries. Neither grows.
// Usage: year_load [--saves N] [--queries N] [--leak] [--leak-descriptors]; the last two are faults on purpose.
#include "Load.h"
#include "Process.h"
#include "QDInfoAPI.h"
#include "QDInfoEventManager.h"
#include "Records.h"
#include "srcwatch-api.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <gio/gio.h>

namespace {

using namespace load;
using srcwatch_test::Footprint;
using srcwatch_test::Measure;

constexpr long kTolerableGrowthKiB = 256;  // the allocator's own ups and downs
constexpr int kAhead = 200;                // events that may be under way

void* volatile g_lost = nullptr;  // so that no compiler leaves a leak out

struct Board {
    std::atomic<bool> isOver;
    std::atomic<bool> isReady;
    std::atomic<std::int64_t> saves;
    std::atomic<std::int64_t> queries;
    std::atomic<std::int64_t> failures;
    std::atomic<std::int64_t> events;
};

struct Plan {
    int saves;
    int queries;
    bool leaks;
    bool leaksDescriptors;
};

// A device comes to a port, or goes from it: the record is set and saved, and the application is notified.
void Plug(qdinfo::CQDInfoData& table, qdinfo::CQDEventSender& sender, int number)
{
    const int port = number % srcwatch_test::kRecords;
    const bool isPlugged = number / srcwatch_test::kRecords % 2 == 0;
    if (isPlugged) {
        const std::string name = srcwatch_test::TextOfGeneration(number);
        table.SetDeviceType(SRCWATCH_DEVICE_STREAMING_BOX, port);
        table.SetDeviceName(name.c_str(), port);
        table.SetBrandName(name.c_str(), port);
    } else {
        table.ResetSourceInfo(port);
    }
    srcwatch_set_source_info(port, number % 2);
    sender.SendEvent(SRCWATCH_EVENT_CONNECTION, port, isPlugged ? 1 : 0, number);
}

void Serve(Board& board, const Plan& plan)
{
    static_cast<void>(qdinfo::CQDInfoAPI::Create(true));
    qdinfo::CQDInfoData& table = *qdinfo::CQDInfoAPI::GetQDInfoUtil();
    table.CreateAndAddNewActivity();
    qdinfo::CQDEventSender sender("qdinfo");
    for (int number = 0; number < plan.saves && !board.isOver; ++number) {
        while (board.saves - board.events > kAhead && !board.isOver)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        Plug(table, sender, number);
        ++board.saves;
        if (plan.leaks) g_lost = std::malloc(200);
        if (plan.leaksDescriptors && number % 100 == 0) static_cast<void>(open("/dev/null", O_RDONLY));
    }
    while (!board.isOver) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void OnEvent(void* board, srcwatch_event_s*) { ++static_cast<Board*>(board)->events; }

void Ask(Board& board, int number)
{
    char text1[SRCWATCH_TEXT_SIZE + 1] = {};
    char text2[SRCWATCH_TEXT_SIZE + 1] = {};
    int type = 0;
    const int port = number % srcwatch_test::kRecords;
    const int result =
        number % 2 == 0 ? srcwatch_get_device_info(port, &type, text1, text2) : srcwatch_get_model_name(text1, port);
    if (result != SRCWATCH_OK) ++board.failures;
    ++board.queries;
}

// Queries as often as the saves so far allow, so that both end together.
void Use(Board& board, const Plan& plan)
{
    if (srcwatch_register_event_callback(&OnEvent, &board) != 1) throw std::runtime_error("cannot register");
    static_cast<void>(qdinfo::CQDEventSender("qdinfo").IsServiceAvailable());
    board.isReady = true;
    const std::int64_t queriesPerSave = plan.queries / plan.saves;
    for (int number = 0; !board.isOver;) {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        if (number < plan.queries && (number < board.saves * queriesPerSave || board.saves >= plan.saves)) {
            Ask(board, number++);
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    srcwatch_unregister_event_callback(&OnEvent);
}

void Judge(Report& report, const char* who, const Footprint& before, const Footprint& after)
{
    std::printf("year: %s: %ld KiB, %ld descriptors half-way; %ld KiB, %ld descriptors at the end\n", who,
                before.anonymousKiB, before.descriptors, after.anonymousKiB, after.descriptors);
    report.Require(after.descriptors <= before.descriptors, std::string(who) + " leaves descriptors open");
    report.Require(after.anonymousKiB <= before.anonymousKiB + kTolerableGrowthKiB, std::string(who) + " grows");
}

int Run(const std::vector<std::string>& arguments)
{
    const Plan plan = {Number(arguments, "--saves", 6000), Number(arguments, "--queries", 40000),
                       Has(arguments, "--leak"), Has(arguments, "--leak-descriptors")};
    auto& board = Share<Board>();
    Worker application([&] { Use(board, plan); });
    if (!WaitUntil([&] { return board.isReady.load(); })) return 2;
    Worker service([&] { Serve(board, plan); });

    const Clock::time_point start = Clock::now();
    const auto longest = std::chrono::minutes(20);
    Report report;
    const auto isAt = [&](int saves) { return board.saves >= saves && board.events >= saves; };
    if (!WaitUntil([&] { return isAt(plan.saves / 2); }, longest)) return 2;
    const Footprint serviceBefore = Measure(service.Id());
    const Footprint applicationBefore = Measure(application.Id());
    const bool isDone = WaitUntil([&] { return isAt(plan.saves) && board.queries >= plan.queries; }, longest);
    report.Require(isDone, "not all of it was done");
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    std::printf("year: %lld plug events and saves, %lld queries, %lld events received in %.1f s\n",
                static_cast<long long>(board.saves), static_cast<long long>(board.queries),
                static_cast<long long>(board.events), seconds);
    Judge(report, "the service", serviceBefore, Measure(service.Id()));
    Judge(report, "the application", applicationBefore, Measure(application.Id()));
    report.Require(board.failures == 0, std::to_string(board.failures) + " queries failed");
    report.Require(board.events == board.saves, "events lost or sent twice");
    board.isOver = true;
    report.Require(service.Succeeds() && application.Succeeds(), "a process failed");
    return report.Result();
}

}  // namespace

int main(int argc, char** argv) { return load::RunAtHome(argc, argv, &Run); }
