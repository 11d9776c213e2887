// SPDX-License-Identifier: Apache-2.0
//
// The per-port functions for every port that there is, and the scan's progress for every value that can be stored,
// against what is stated: all 2^32 values, or with a stride every so many, and always those around the edges.
#include "QDInfoAPI.h"
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
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using exhaustive::Calls;
using exhaustive::calls;

constexpr int kOptical = 99;
constexpr std::uint64_t kAll = std::uint64_t{1} << 32;
constexpr std::uint64_t kBlock = std::uint64_t{1} << 16;

// ---------------------------------------------------------------------------------------------------------------------
// What a call gives

struct Outputs {
    char text1[SRCWATCH_TEXT_SIZE];
    char text2[SRCWATCH_TEXT_SIZE];
    int number1;
    int number2;
    bool flag;
};

Outputs Untouched()
{
    Outputs outputs{};
    std::memset(outputs.text1, '#', sizeof(outputs.text1));
    std::memset(outputs.text2, '#', sizeof(outputs.text2));
    outputs.number1 = -777;
    outputs.number2 = -778;
    outputs.flag = true;
    return outputs;
}

Outputs g_outputs = Untouched();

struct Answer {
    int result = 0;
    Calls calls;
    Outputs outputs = Untouched();
};

bool Same(const Calls& a, const Calls& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }  // numbers, without padding

bool Same(const Outputs& a, const Outputs& b)
{
    return std::memcmp(a.text1, b.text1, sizeof(a.text1)) == 0 && std::memcmp(a.text2, b.text2, sizeof(a.text2)) == 0 &&
           a.number1 == b.number1 && a.number2 == b.number2 && a.flag == b.flag;
}

[[noreturn]] void Finding(const char* function, int value, const char* what)
{
    static_cast<void>(std::fprintf(stderr, "finding: %s for %d: %s\n", function, value, what));
    _exit(1);
}

// One function: how it is called, and what it must give.
struct Function {
    const char* name;
    bool (*allGive)(int result, std::uint64_t first, std::uint64_t count, std::uint64_t stride);
    int (*call)(int value);
    Answer (*expected)(int value);
};

// In a template of its own, so that nothing but the function stands between two calls.
template <int (*Call)(int)>
bool AllGive(int result, std::uint64_t first, std::uint64_t count, std::uint64_t stride)
{
    bool all = true;
    for (std::uint64_t i = 0; i < count; ++i) {
        all = (Call(static_cast<int>(static_cast<std::uint32_t>(first + i * stride))) == result) && all;
    }
    return all;
}

// ---------------------------------------------------------------------------------------------------------------------
// The per-port functions

bool IsHdmi(int port) { return port >= 0 && port <= 7; }
bool IsAccepted(int port) { return IsHdmi(port) || port == kOptical; }

void Fill(char (&text)[SRCWATCH_TEXT_SIZE], const std::string& value)
{
    std::memset(text, 0, sizeof(text));
    std::memcpy(text, value.data(), value.size());
}

std::string NameOf(int port) { return "port " + std::to_string(port); }

// A load of the port's record; refused ports are not asked for.
Answer Load(int port)
{
    Answer answer;
    answer.result = IsAccepted(port) ? 0 : 2;
    answer.calls.loads = IsHdmi(port) ? 1 : 0;
    answer.calls.opticalLoads = port == kOptical ? 1 : 0;
    answer.calls.port = IsAccepted(port) ? port : 0;
    return answer;
}

Answer TextAnswer(int port)
{
    Answer answer = Load(port);
    if (IsAccepted(port)) Fill(answer.outputs.text1, NameOf(port));
    return answer;
}

Answer NumberAnswer(int port)
{
    Answer answer = Load(port);
    if (IsAccepted(port)) answer.outputs.number1 = port + 1;
    return answer;
}

Answer TypeAnswer(int port)
{
    Answer answer = Load(port);
    if (IsAccepted(port)) answer.outputs.number1 = SRCWATCH_DEVICE_DISC_PLAYER;
    return answer;
}

Answer ScanStateAnswer(int port)
{
    Answer answer = NumberAnswer(port);
    answer.calls.lines = IsAccepted(port) ? 1 : 0;
    return answer;
}

Answer ChangedAnswer(int port)
{
    Answer answer = ScanStateAnswer(port);
    if (IsAccepted(port)) answer.outputs.flag = port + 1 != 0;
    return answer;
}

Answer DeviceAnswer(int port)
{
    Answer answer = TextAnswer(port);
    answer.calls.lines = 2;
    if (!IsAccepted(port)) return answer;
    Fill(answer.outputs.text2, NameOf(port));
    answer.outputs.number1 = SRCWATCH_DEVICE_DISC_PLAYER;
    return answer;
}

// The record is loaded twice, and the name cut after ten bytes.
Answer CodesetAnswer(int port)
{
    Answer answer = Load(port);
    if (!IsAccepted(port)) return answer;
    answer.calls.loads *= 2;
    answer.calls.opticalLoads *= 2;
    answer.calls.lines = 2;
    std::memset(answer.outputs.text1, 0, SRCWATCH_CODESET_TEXT_SIZE);
    std::memcpy(answer.outputs.text1, NameOf(port).data(), NameOf(port).size());
    answer.outputs.flag = true;
    return answer;
}

Answer KpiAnswer(int port)
{
    Answer answer;
    answer.result = IsAccepted(port) ? 1 : 2;
    if (!IsAccepted(port)) return answer;
    answer.calls.kpiLoads = 1;
    answer.calls.port = port;
    answer.calls.lines = 1;
    return answer;
}

Answer SaveWithNotifyAnswer(int port)
{
    Answer answer;
    answer.calls.savesWithNotify = 1;
    answer.calls.port = port;
    return answer;
}

Answer SaveAnswer(int port)
{
    Answer answer;
    answer.calls.saves = 1;
    answer.calls.port = port;
    return answer;
}

Answer NothingAnswer(int) { return Answer(); }

Answer RemoveAnswer(int port)
{
    Answer answer;
    if (port != kOptical && (port < 0 || port >= exhaustive::HdmiCount())) return answer;
    answer.calls.tableLoads = 1;
    answer.calls.saves = 1;
    answer.calls.lines = 1;
    answer.calls.port = -1;
    return answer;
}

Answer TwcAnswer(int port, int writes, int firstCommand)
{
    Answer answer;
    answer.calls.lines = IsHdmi(port) ? 2 : 3;
    answer.calls.writes = writes + (IsHdmi(port) ? 1 : 0);
    answer.calls.commands = IsHdmi(port) ? 1 : 0;
    answer.calls.command = IsHdmi(port) ? firstCommand + port : 0;
    return answer;
}

Answer TwcStartAnswer(int port) { return TwcAnswer(port, 1, 2010); }
Answer TwcEndAnswer(int port) { return TwcAnswer(port, 3, 2020); }

template <int (*Query)(char*, int)>
int CallText(int port)
{
    return Query(g_outputs.text1, port);
}

template <int (*Query)(int, int*)>
int CallNumber(int port)
{
    return Query(port, &g_outputs.number1);
}

int CallDenyCount(int port) { return srcwatch_get_denycount(&g_outputs.number1, port); }
int CallChanged(int port) { return srcwatch_get_changed_device_info(port, &g_outputs.number1, &g_outputs.flag); }
int CallCodeset(int port) { return srcwatch_get_codeset_info(port, &g_outputs.flag, g_outputs.text1); }

int CallDevice(int port)
{
    return srcwatch_get_device_info(port, &g_outputs.number1, g_outputs.text1, g_outputs.text2);
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
    return Mode > 1 || calls.port == port ? 0 : -100;
}

template <void (*Command)(int)>
int CallCommand(int port)
{
    Command(port);
    return 0;
}

template <int (*Call)(int)>
constexpr Function PerPort(const char* name, Answer (*expected)(int))
{
    return {name, &AllGive<Call>, Call, expected};
}

// ---------------------------------------------------------------------------------------------------------------------
// The progress of a scan

Answer ProgressAnswer(int value)
{
    Answer answer;
    if (value >= 100 && value <= 190) {
        answer.outputs.number1 = value - 100;
    } else if (value >= 1 && value <= exhaustive::HdmiCount()) {
        answer.outputs.number1 = 90;
        answer.result = value;
    } else if (value == 0) {
        answer.outputs.number1 = 0;
    } else if (value >= -3 && value <= -1) {
        answer.result = value;
    } else {
        answer.result = -99;
        answer.calls.lines = 1;
    }
    return answer;
}

int CallProgress(int value)
{
    exhaustive::progress = value;
    return srcwatch_get_oobe_stb_scan_progress(&g_outputs.number1);
}

constexpr Function kProgress = {"srcwatch_get_oobe_stb_scan_progress", &AllGive<&CallProgress>, &CallProgress,
                                &ProgressAnswer};

constexpr Function kPerPort[] = {
    PerPort<&CallText<srcwatch_get_cec_name>>("srcwatch_get_cec_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_model_name>>("srcwatch_get_model_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_manufacturer_name>>("srcwatch_get_manufacturer_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_codeset_name>>("srcwatch_get_codeset_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_logo_mso_name>>("srcwatch_get_logo_mso_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_cec_device_name>>("srcwatch_get_cec_device_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_aksv_info>>("srcwatch_get_aksv_info", &TextAnswer),
    PerPort<&CallNumber<srcwatch_get_product_type_name>>("srcwatch_get_product_type_name", &TypeAnswer),
    PerPort<&CallDenyCount>("srcwatch_get_denycount", &NumberAnswer),
    PerPort<&CallNumber<srcwatch_get_detection_moethod>>("srcwatch_get_detection_moethod", &NumberAnswer),
    PerPort<&CallNumber<srcwatch_get_oobe_scan_state>>("srcwatch_get_oobe_scan_state", &ScanStateAnswer),
    PerPort<&CallChanged>("srcwatch_get_changed_device_info", &ChangedAnswer),
    PerPort<&CallDevice>("srcwatch_get_device_info", &DeviceAnswer),
    PerPort<&CallCodeset>("srcwatch_get_codeset_info", &CodesetAnswer),
    PerPort<&CallText<srcwatch_get_result_str1_name>>("srcwatch_get_result_str1_name", &TextAnswer),
    PerPort<&CallText<srcwatch_get_result_str2_name>>("srcwatch_get_result_str2_name", &TextAnswer),
    PerPort<&CallKpi>("srcwatch_get_device_kpi_info", &KpiAnswer),
    PerPort<&CallSave<0>>("srcwatch_set_source_info, mode 0", &SaveWithNotifyAnswer),
    PerPort<&CallSave<1>>("srcwatch_set_source_info, mode 1", &SaveAnswer),
    PerPort<&CallSave<2>>("srcwatch_set_source_info, mode 2", &NothingAnswer),
    PerPort<&CallCommand<srcwatch_remove_source_info>>("srcwatch_remove_source_info", &RemoveAnswer),
    PerPort<&CallCommand<srcwatch_TWC_check_start>>("srcwatch_TWC_check_start", &TwcStartAnswer),
    PerPort<&CallCommand<srcwatch_TWC_check_end>>("srcwatch_TWC_check_end", &TwcEndAnswer),
};

// ---------------------------------------------------------------------------------------------------------------------
// Going through the values

void CheckOne(const Function& function, int value)
{
    const Answer expected = function.expected(value);
    exhaustive::Forget();
    g_outputs = Untouched();
    if (function.call(value) != expected.result) Finding(function.name, value, "another result than stated");
    if (!Same(calls, expected.calls))
        Finding(function.name, value, "other calls of store, settings or log than stated");
    if (!Same(g_outputs, expected.outputs)) Finding(function.name, value, "other outputs than stated");
}

// What count calls with values that are no edges must have asked for; all such values are alike but for the port
// itself.
Calls Times(Calls one, int count)
{
    for (int* const counter : {&one.loads, &one.opticalLoads, &one.kpiLoads, &one.saves, &one.savesWithNotify,
                               &one.tableLoads, &one.writes, &one.commands, &one.lines}) {
        *counter *= count;
    }
    return one;
}

// Checks the sums of a block first, and value by value when they are not as stated.
bool BlockHolds(const Function& function, std::uint64_t first, std::uint64_t count, std::uint64_t stride)
{
    const auto last = static_cast<int>(static_cast<std::uint32_t>(first + (count - 1) * stride));
    const Answer expected = function.expected(last);
    exhaustive::Forget();
    g_outputs = Untouched();
    return function.allGive(expected.result, first, count, stride) &&
           Same(calls, Times(expected.calls, static_cast<int>(count))) && Same(g_outputs, expected.outputs);
}

void CheckBlock(const Function& function, std::uint64_t first, std::uint64_t count, std::uint64_t stride)
{
    const auto value = [&](std::uint64_t i) {
        return static_cast<int>(static_cast<std::uint32_t>(first + i * stride));
    };
    const bool isNearEdge = value(0) < 200 && value(count - 1) > -200;
    if (!isNearEdge && BlockHolds(function, first, count, stride)) return;
    for (std::uint64_t i = 0; i < count; ++i) CheckOne(function, value(i));
    if (!isNearEdge) Finding(function.name, value(0), "sums of a block other than those of its values");
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

// In a process for each job, as the functions share a lock and the stand-ins' counters.
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
                holds ? "as stated" : "NOT as stated");
    static_cast<void>(std::fflush(stdout));
    return holds;
}

// The functions of a subject: "ports", "progress", or one by its name. None for an unknown one.
std::vector<Function> FunctionsOf(const std::string& subject)
{
    if (subject == "progress") return {kProgress};
    std::vector<Function> functions;
    std::copy_if(std::begin(kPerPort), std::end(kPerPort), std::back_inserter(functions),
                 [&](const Function& function) { return subject == "ports" || subject == function.name; });
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
    std::printf("%d HDMI inputs\n", exhaustive::HdmiCount());
    Estimate(functions, stride, jobs);
    bool all = true;
    for (const Function& function : functions) all = Check(function, stride, jobs) && all;
    return all ? 0 : 1;
}
