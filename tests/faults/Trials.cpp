// SPDX-License-Identifier: Apache-2.0
#include "Trials.h"

#include "srcwatch-host.h"

#include <csignal>
#include <exception>
#include <new>

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

constexpr int kTerminated = 86;  // exit code of a process that an exception ended
constexpr unsigned kTrialSeconds = 30;

// GLib ends a process by a trap or by abort(); without memory for its last words, it runs into a null pointer.
bool MayGlibEndWith(int number, bool isLasting)
{
    return number == SIGTRAP || number == SIGABRT || (isLasting && number == SIGSEGV);
}

Reference MakeReference(const Function& function)
{
    Reference reference;
    reference.before = ReadSettings();
    reference.result = Describe(Call(function));
    reference.after = ReadSettings();
    RestoreSettings(reference.before);
    return reference;
}

void TryPoints(const Function& function, const Reference& reference, Shortage shortage, const Shared& shared)
{
    for (long point = 1; point < kManyPoints; ++point) {
        shared->point = point;
        const bool hasFailed = CallShort(function, point, shortage, shared);
        shared.Report(Mixture(ReadSettings(), reference.before, reference.after));
        if (!hasFailed) {
            shared->points[shared->isLasting] = point - 1;
            return;
        }
        const std::string again = Describe(Call(function));
        if (again != reference.result) shared.Report("the next call returns " + again);
        RestoreSettings(reference.before);
    }
    shared.Report("no end of allocations");
}

// What a function makes a process open once.
void OpenAll()
{
    static_cast<void>(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    for (const char* key : {"db/none", "memory/none"}) static_cast<void>(srcwatch_host_unset(key));
    static_cast<void>(ReadSettings());
}

}  // namespace

// GLib's last words are not for the test's output.
int InChild(const std::function<void()>& body)
{
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {0, 0};
        (void)setrlimit(RLIMIT_CORE, &none);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere >= 0) (void)dup2(nowhere, STDERR_FILENO);
        std::set_terminate([] { _exit(kTerminated); });
        (void)alarm(kTrialSeconds);
        [&body]() noexcept { body(); }();  // nothing is thrown into the copy of the test
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("cannot run a process");
    return status;
}

std::string TroubleOf(int status)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
    if (WIFEXITED(status) && WEXITSTATUS(status) == kTerminated) return "an exception ended the process";
    if (WIFEXITED(status)) return "ended with " + std::to_string(WEXITSTATUS(status));
    return "ended by signal " + std::to_string(WTERMSIG(status));
}

Result Call(const Function& function)
{
    Result result;
    if (function.prepare != nullptr) function.prepare();
    function.call(result);
    if (function.restore != nullptr) function.restore();
    return result;
}

bool CallShort(const Function& function, long point, Shortage shortage, const Shared& shared)
{
    Result result;
    if (function.prepare != nullptr) function.prepare();
    BeginShortage(point, shortage);
    bool hasThrown = false;
    try {
        function.call(result);
    } catch (const std::bad_alloc&) {
        hasThrown = true;
    }
    const bool hasFailed = EndShortage();
    shared->hasFailed = hasFailed;
    if (hasThrown) ++shared->thrown;
    if (!hasThrown && function.restore != nullptr) function.restore();  // what has thrown has not been done
    return hasFailed;
}

void TryFunction(const Function& function, const Shared& shared)
{
    constexpr int kMostRounds = 4;
    static_cast<void>(Call(function));  // opens the store
    const Reference reference = MakeReference(function);
    for (const Shortage shortage : kShortages) {
        shared->isLasting = shortage == Shortage::kLasting ? 1 : 0;
        long grown = 1;
        for (int round = 0; round < kMostRounds && grown > 0; ++round) {
            const long before = BlocksInUse();
            TryPoints(function, reference, shortage, shared);
            grown = BlocksInUse() - before;
        }
        if (grown > 0) shared.Report("in one of the calls: " + std::to_string(grown) + " blocks lost");
    }
}

void TryInProcess(const Function& function, const Reference& reference, Shortage shortage, bool isOpen,
                  const Shared& shared)
{
    shared->hasFailed = true;  // a process that ends early has met it
    const int status = InChild([&] {
        if (isOpen) OpenAll();
        if (!CallShort(function, shared->point, shortage, shared)) return;
        shared.Report(Mixture(ReadSettings(), reference.before, reference.after));
        const std::string again = Describe(Call(function));
        if (again != reference.result) shared.Report("the next call returns " + again);
    });
    const bool isEndedByGlib = WIFSIGNALED(status) && MayGlibEndWith(WTERMSIG(status), shared->isLasting != 0);
    if (isEndedByGlib) {
        ++shared->ended;
    } else {
        shared.Report(TroubleOf(status));
    }
    shared.Report(Mixture(ReadSettings(), reference.before, reference.after));
}

void PrintHead() { std::printf("%-52s %8s %8s %10s %6s\n", "", "points", "lasting", "bad_alloc", "ended"); }

void Print(const std::string& name, const Shared& shared)
{
    std::printf("%-52s %8ld %8ld %10ld %6ld\n", name.c_str(), shared->points[0], shared->points[1], shared->thrown,
                shared->ended);
}

}  // namespace srcwatch_test
