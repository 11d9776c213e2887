// SPDX-License-Identifier: Apache-2.0
//
// The per-port functions for every port that there is, and the scan's progress for every value that can be stored,
// against the answer that each function has here for a value: all 2^32 values, or with a stride every STRIDE-th, and
// always those around the edges.
#include "MemoryPlatform.h"
#include "QDInfoAPI.h"
#include "Queries.h"
#include "StubStore.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using exhaustive::StoreCalls;
using exhaustive::storeCalls;
using srcwatch_test::CallCounts;
using srcwatch_test::ExpectedHdmiCount;
using srcwatch_test::IsAccepted;
using srcwatch_test::kOptical;
using srcwatch_test::Outputs;
using srcwatch_test::Query;

constexpr std::uint64_t kAll = std::uint64_t{1} << 32;
constexpr std::uint64_t kBlock = std::uint64_t{1} << 16;
constexpr std::uint64_t kEdge = 200;  // no value that is treated specially lies further from 0
constexpr char kCommandKey[] = "memory/srcwatch-service/scan_progress";

// The scan's progress as it is stored.
int& Progress()
{
    static int& progress = srcwatch_test::ThePlatform().settings.numbers["memory/srcwatch-service/scan_result"];
    return progress;
}

// ---------------------------------------------------------------------------------------------------------------------
// What a call does

struct Buffers {
    char text1[SRCWATCH_TEXT_SIZE];
    char text2[SRCWATCH_TEXT_SIZE];
    int number1;
    int number2;
    bool flag;
};

Buffers g_buffers;

Outputs Untouched()
{
    return {std::string(SRCWATCH_TEXT_SIZE, '#'), std::string(SRCWATCH_TEXT_SIZE, '#'), -777, -777, true};
}

struct Answer {
    int result = 0;
    StoreCalls store;
    CallCounts platform;
    int command = 0;  // that was written last
    Outputs outputs = Untouched();
};

// Forgets the calls of store and platform, and fills the buffers.
void Forget()
{
    storeCalls = StoreCalls();
    srcwatch_test::ThePlatform().counts = CallCounts();
    srcwatch_test::ThePlatform().settings.numbers.erase(kCommandKey);
    std::memset(&g_buffers, '#', sizeof(g_buffers));
    g_buffers.number1 = g_buffers.number2 = -777;
    g_buffers.flag = true;
}

// What was called and written since Forget().
Answer Done(int result)
{
    Answer answer;
    answer.result = result;
    answer.store = storeCalls;
    answer.platform = srcwatch_test::ThePlatform().counts;
    const auto& numbers = srcwatch_test::ThePlatform().settings.numbers;
    const auto command = numbers.find(kCommandKey);
    if (command != numbers.end()) answer.command = command->second;
    answer.outputs = {std::string(g_buffers.text1, SRCWATCH_TEXT_SIZE),
                      std::string(g_buffers.text2, SRCWATCH_TEXT_SIZE), g_buffers.number1, g_buffers.number2,
                      g_buffers.flag};
    return answer;
}

bool operator==(const Answer& a, const Answer& b)
{
    const auto all = [](const Answer& answer) {
        const StoreCalls& store = answer.store;
        const CallCounts& platform = answer.platform;
        const Outputs& outputs = answer.outputs;
        return std::tie(answer.result, store.loads, store.opticalLoads, store.kpiLoads, store.saves,
                        store.savesWithNotify, store.tableLoads, store.port, platform.lines, platform.textReads,
                        platform.numberWrites, answer.command, outputs.text1, outputs.text2, outputs.number1,
                        outputs.number2, outputs.flag);
    };
    return all(a) == all(b);
}

[[noreturn]] void Finding(const char* function, int value, const char* what)
{
    static_cast<void>(std::fprintf(stderr, "finding: %s for %d: %s\n", function, value, what));
    _exit(1);
}

// One function: how it is called, and what it must do.
struct Function {
    const char* name;
    std::function<int(int value)> call;
    std::function<Answer(int value)> expected;
};

// ---------------------------------------------------------------------------------------------------------------------
// The per-port functions

bool IsHdmi(int port) { return port >= 0 && port <= 7; }

// The record is not loaded for a refused port.
Answer QueryAnswer(const Query& query, int port)
{
    const std::string stored = IsAccepted(port) ? exhaustive::StoredDocument(port) : "";
    const srcwatch_test::Outcome outcome = Expected(query, port, &stored);
    Answer answer;
    answer.result = outcome.result;
    answer.outputs = outcome.outputs;
    answer.outputs.text1.resize(SRCWATCH_TEXT_SIZE, '#');
    answer.platform.lines = static_cast<std::int64_t>(outcome.log.size());
    answer.store.loads = IsHdmi(port) ? query.reads : 0;
    answer.store.opticalLoads = port == kOptical ? query.reads : 0;
    answer.store.port = IsAccepted(port) ? port : 0;
    return answer;
}

Function FunctionOf(const Query& query)
{
    const srcwatch_test::CallerOutputs outputs = {g_buffers.text1, g_buffers.text2, &g_buffers.number1,
                                                  &g_buffers.number2, &g_buffers.flag};
    return {query.name, [call = query.call, outputs](int port) { return call(port, outputs); },
            [&query](int port) { return QueryAnswer(query, port); }};
}

Answer KpiAnswer(int port)
{
    Answer answer;
    answer.result = IsAccepted(port) ? 1 : 2;
    if (!IsAccepted(port)) return answer;
    answer.store.kpiLoads = 1;
    answer.store.port = port;
    answer.platform.lines = 1;
    return answer;
}

Answer SaveWithNotifyAnswer(int port)
{
    Answer answer;
    answer.store.savesWithNotify = 1;
    answer.store.port = port;
    return answer;
}

Answer SaveAnswer(int port)
{
    Answer answer;
    answer.store.saves = 1;
    answer.store.port = port;
    return answer;
}

Answer RemoveAnswer(int port)
{
    Answer answer;
    if (port != kOptical && (port < 0 || port >= ExpectedHdmiCount())) return answer;
    answer.store.tableLoads = 1;
    answer.store.saves = 1;
    answer.store.port = -1;
    answer.platform.lines = 1;
    return answer;
}

Answer TwcAnswer(int port, srcwatch_test::ByName<std::int64_t> writes, int firstCommand)
{
    Answer answer;
    answer.platform.lines = IsHdmi(port) ? 2 : 3;
    answer.platform.numberWrites = std::move(writes);
    if (!IsHdmi(port)) return answer;
    answer.platform.numberWrites[kCommandKey] = 1;
    answer.command = firstCommand + port;
    return answer;
}

Answer TwcStartAnswer(int port) { return TwcAnswer(port, {{"memory/srcwatch-service/twc_status_internal", 1}}, 2010); }

Answer TwcEndAnswer(int port)
{
    return TwcAnswer(port,
                     {{"memory/srcwatch-service/twc_seq_id", 1},
                      {"memory/srcwatch-service/twc_frame_count", 1},
                      {"memory/srcwatch-service/twc_status_internal", 1}},
                     2020);
}

int CallKpi(int port)
{
    static srcwatch_kpi_info_s& info = *new srcwatch_kpi_info_s{-777, -777, "", "", "", ""};
    const int result = srcwatch_get_device_kpi_info(port, &info);
    return info.hdmi_no == -777 && info.t == -777 ? result : -100;
}

// What has no result shows that it passed the port on.
template <int Mode>
int CallSave(int port)
{
    srcwatch_set_source_info(port, Mode);
    return Mode > 1 || storeCalls.port == port ? 0 : -100;
}

template <void (*Command)(int)>
int CallCommand(int port)
{
    Command(port);
    return 0;
}

std::vector<Function> PerPort()
{
    std::vector<Function> functions;
    for (const Query& query : srcwatch_test::AllQueries()) functions.push_back(FunctionOf(query));
    const Function others[] = {
        {"srcwatch_get_device_kpi_info", &CallKpi, &KpiAnswer},
        {"srcwatch_set_source_info, mode 0", &CallSave<0>, &SaveWithNotifyAnswer},
        {"srcwatch_set_source_info, mode 1", &CallSave<1>, &SaveAnswer},
        {"srcwatch_set_source_info, mode 2", &CallSave<2>, [](int) { return Answer(); }},
        {"srcwatch_remove_source_info", &CallCommand<srcwatch_remove_source_info>, &RemoveAnswer},
        {"srcwatch_TWC_check_start", &CallCommand<srcwatch_TWC_check_start>, &TwcStartAnswer},
        {"srcwatch_TWC_check_end", &CallCommand<srcwatch_TWC_check_end>, &TwcEndAnswer},
    };
    functions.insert(functions.end(), std::begin(others), std::end(others));
    return functions;
}

// ---------------------------------------------------------------------------------------------------------------------
// The progress of a scan

Answer ProgressAnswer(int value)
{
    Answer answer;
    if (value >= 100 && value <= 190) {
        answer.outputs.number1 = value - 100;
    } else if (value >= 1 && value <= ExpectedHdmiCount()) {
        answer.outputs.number1 = 90;
        answer.result = value;
    } else if (value == 0) {
        answer.outputs.number1 = 0;
    } else if (value >= -3 && value <= -1) {
        answer.result = value;
    } else {
        answer.result = -99;
        answer.platform.lines = 1;
    }
    return answer;
}

int CallProgress(int value)
{
    Progress() = value;
    return srcwatch_get_oobe_stb_scan_progress(&g_buffers.number1);
}

// ---------------------------------------------------------------------------------------------------------------------
// Going through the values

int ValueAt(std::uint64_t at) { return static_cast<int>(static_cast<std::uint32_t>(at)); }

void CheckOne(const Function& function, int value)
{
    Forget();
    const int result = function.call(value);
    if (!(Done(result) == function.expected(value))) {
        Finding(function.name, value, "another result, other outputs or other calls than expected");
    }
}

// What count calls with values that are not near an edge must have done; all such values are alike but for the port
// itself.
Answer Times(Answer one, int count)
{
    for (int* const counter : {&one.store.loads, &one.store.opticalLoads, &one.store.kpiLoads, &one.store.saves,
                               &one.store.savesWithNotify, &one.store.tableLoads}) {
        *counter *= count;
    }
    one.platform.lines *= count;
    for (auto& writes : one.platform.numberWrites) writes.second *= count;
    return one;
}

// Checks the sums of a block.
bool BlockHolds(const Function& function, std::uint64_t first, std::uint64_t count, std::uint64_t stride)
{
    const Answer expected = function.expected(ValueAt(first + (count - 1) * stride));
    Forget();
    bool all = true;
    for (std::uint64_t i = 0; i < count; ++i) {
        all = function.call(ValueAt(first + i * stride)) == expected.result && all;
    }
    return all && Done(expected.result) == Times(expected, static_cast<int>(count));
}

// Checks the sums first, and value by value if they are not what is expected.
void CheckBlock(const Function& function, std::uint64_t first, std::uint64_t count, std::uint64_t stride)
{
    const bool isNearEdge = first < kEdge || first + (count - 1) * stride >= kAll - kEdge;
    if (!isNearEdge && BlockHolds(function, first, count, stride)) return;
    for (std::uint64_t i = 0; i < count; ++i) CheckOne(function, ValueAt(first + i * stride));
    if (!isNearEdge) Finding(function.name, ValueAt(first), "sums of a block other than those of its values");
}

// A shard of the values: every jobs-th block.
void CheckShard(const Function& function, std::uint64_t stride, unsigned job, unsigned jobs)
{
    const std::uint64_t values = kAll / stride;
    for (std::uint64_t at = job * kBlock; at < values; at += jobs * kBlock) {
        CheckBlock(function, at * stride, std::min(kBlock, values - at), stride);
    }
}

void CheckEdges(const Function& function)
{
    for (int value = -1000; value <= 1000; ++value) CheckOne(function, value);
    for (int i = 0; i < 1000; ++i) {
        CheckOne(function, INT_MAX - i);
        CheckOne(function, INT_MIN + i);
    }
}

// In a process for each job, as the functions share a lock and the counters.
bool CheckAll(const Function& function, std::uint64_t stride, unsigned jobs)
{
    std::vector<pid_t> workers;
    for (unsigned job = 0; job < jobs; ++job) {
        const pid_t worker = fork();
        if (worker == 0) {
            CheckShard(function, stride, job, jobs);
            _exit(0);
        }
        workers.push_back(worker);
    }
    bool all = true;
    for (const pid_t worker : workers) {
        int status = -1;
        all = worker > 0 && waitpid(worker, &status, 0) == worker && status == 0 && all;
    }
    return all;
}

double Seconds(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Estimate(const std::vector<Function>& functions, std::uint64_t stride, unsigned jobs)
{
    constexpr std::uint64_t kSample = std::uint64_t{1} << 20;
    double seconds = 0;
    for (const Function& function : functions) {
        seconds += Seconds([&] { CheckBlock(function, 1000000, kSample, 1); });
    }
    const double total = seconds * static_cast<double>(kAll / stride) / static_cast<double>(kSample) / jobs;
    std::printf("%zu functions, 2^32 values with stride %llu, %u jobs: about %.0f s\n", functions.size(),
                static_cast<unsigned long long>(stride), jobs, total);
    static_cast<void>(std::fflush(stdout));
}

bool Check(const Function& function, std::uint64_t stride, unsigned jobs)
{
    bool holds = false;
    CheckEdges(function);
    const double seconds = Seconds([&] { holds = CheckAll(function, stride, jobs); });
    std::printf("%s: %llu values, %.1f s: %s\n", function.name, static_cast<unsigned long long>(kAll / stride), seconds,
                holds ? "as expected" : "NOT as expected");
    static_cast<void>(std::fflush(stdout));
    return holds;
}

// Returns the functions of a subject: "ports", "progress", or one by its name; none if it is unknown.
std::vector<Function> FunctionsOf(const std::string& subject)
{
    if (subject == "progress") return {{"srcwatch_get_oobe_stb_scan_progress", &CallProgress, &ProgressAnswer}};
    std::vector<Function> functions = PerPort();
    if (subject == "ports") return functions;
    functions.erase(std::remove_if(functions.begin(), functions.end(),
                                   [&](const Function& function) { return subject != function.name; }),
                    functions.end());
    return functions;
}

int Usage()
{
    static_cast<void>(std::fputs("usage: exhaustive ports|progress|FUNCTION [STRIDE [JOBS]]\n", stderr));
    return 2;
}

}  // namespace

int main(int count, char** arguments)
{
    const std::vector<Function> functions = count > 1 ? FunctionsOf(arguments[1]) : std::vector<Function>();
    const std::uint64_t stride = count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1;
    const auto jobs = static_cast<unsigned>(count > 3 ? std::strtoul(arguments[3], nullptr, 10) : 1);
    if (functions.empty() || stride == 0 || stride > kAll || jobs == 0 || jobs > 64) return Usage();

    qdinfo::CQDInfoAPI::Create(true);
    std::printf("%d HDMI inputs\n", std::max(ExpectedHdmiCount(), 0));
    Estimate(functions, stride, jobs);
    bool all = true;
    for (const Function& function : functions) all = Check(function, stride, jobs) && all;
    return all ? 0 : 1;
}
