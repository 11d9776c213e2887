// SPDX-License-Identifier: Apache-2.0
//
// Each allocation of each function fails in turn: nothing crashes, nothing leaks, what is stored is what was or what
// was to be, and the next call works. What goes through GLib does so in processes of its own, which GLib may end.
#include "FailingAllocator.h"
#include "Functions.h"
#include "QDInfoServerData.h"
#include "Records.h"
#include "ServiceTest.h"
#include "Settings.h"
#include "srcwatch-host.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <new>
#include <regex>
#include <sstream>

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

using qdinfo::CQDInfoServerData;

constexpr Shortage kShortages[] = {Shortage::kOnce, Shortage::kLasting};
constexpr long kManyPoints = 20000;  // more than any function has
constexpr int kTerminated = 86;      // exit code of a process that an exception ended
constexpr unsigned kTrialSeconds = 30;

// What a process found, where it can be seen when it has crashed.
struct Findings {
    long points[2];  // allocations, by kind of shortage
    long thrown;     // calls that ended in bad_alloc
    long ended;      // processes that GLib ended
    long point;      // the one that fails now
    int isLasting;
    bool hasFailed;      // there was an allocation of that number
    char result[16384];  // of the function when nothing fails
    char trouble[600];
};

class Shared {
public:
    Shared() : m_findings(mmap(nullptr, sizeof(Findings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_findings == MAP_FAILED) throw std::runtime_error("no shared memory");
    }
    ~Shared() { munmap(m_findings, sizeof(Findings)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    Findings* operator->() const { return static_cast<Findings*>(m_findings); }

    void Report(const std::string& trouble) const
    {
        Findings& findings = *operator->();
        if (trouble.empty() || findings.trouble[0] != '\0') return;
        (void)std::snprintf(findings.trouble, sizeof findings.trouble, "allocation %ld%s: %s", findings.point,
                            findings.isLasting != 0 ? " and all after it" : "", trouble.c_str());
    }

private:
    void* m_findings;
};

// Runs body in a process of its own; its wait status. GLib's last words are not for the test's output.
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

// GLib ends a process by a trap or by abort(); without memory for its last words, it runs into a null pointer.
bool MayGlibEndWith(int number, bool isLasting)
{
    return number == SIGTRAP || number == SIGABRT || (isLasting && number == SIGSEGV);
}

std::string TroubleOf(int status)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
    if (WIFEXITED(status) && WEXITSTATUS(status) == kTerminated) return "an exception ended the process";
    if (WIFEXITED(status)) return "ended with " + std::to_string(WEXITSTATUS(status));
    return "ended by signal " + std::to_string(WTERMSIG(status));
}

CQDInfoServerData& TheStore() { return *qdinfo::CSingleton<CQDInfoServerData>::GetInstance(); }

const Function* Find(const std::string& name)
{
    for (const auto* functions : {&SettingsFunctions(), &GlibFunctions()}) {
        for (const Function& function : *functions) {
            if (function.name == name) return &function;
        }
    }
    return nullptr;
}

bool HasFunction(const std::string& name) { return Find(name) != nullptr; }

const Function& FunctionNamed(const std::string& name)
{
    const Function* const function = Find(name);
    if (function == nullptr) throw std::runtime_error("no function " + name);
    return *function;
}

Result Call(const Function& function)
{
    Result result;
    if (function.prepare != nullptr) function.prepare();
    function.call(result);
    if (function.restore != nullptr) function.restore();
    return result;
}

// Calls the function with the allocation of that number failing. False when it made fewer.
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

// What a function does when nothing fails.
struct Reference {
    std::string result;
    Settings before;
    Settings after;
};

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
        if (again != reference.result) shared.Report("the next call gives " + again);
        RestoreSettings(reference.before);
    }
    shared.Report("no end of allocations");
}

// All points, in rounds until one leaves nothing in use that was not in use before it: what every round leaves is lost.
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

// What a function makes a process open once.
void OpenAll()
{
    static_cast<void>(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    for (const char* key : {"db/none", "memory/none"}) static_cast<void>(srcwatch_host_unset(key));
    static_cast<void>(ReadSettings());
}

// One call with a failing allocation and one without, in a process of their own.
void TryInProcess(const Function& function, const Reference& reference, Shortage shortage, bool isOpen,
                  const Shared& shared)
{
    shared->hasFailed = true;  // a process that ends early has met it
    const int status = InChild([&] {
        if (isOpen) OpenAll();
        if (!CallShort(function, shared->point, shortage, shared)) return;
        shared.Report(Mixture(ReadSettings(), reference.before, reference.after));
        const std::string again = Describe(Call(function));
        if (again != reference.result) shared.Report("the next call gives " + again);
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

// A process that keeps the settings open, so that the others need not put their index together again.
class Keeper {
public:
    Keeper() : m_id(fork())
    {
        if (m_id < 0) throw std::runtime_error("cannot fork");
        if (m_id > 0) return;
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        static_cast<void>(ReadSettings());
        for (;;) pause();
    }
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;
    ~Keeper()
    {
        (void)kill(m_id, SIGKILL);
        (void)waitpid(m_id, nullptr, 0);
    }

private:
    pid_t m_id;
};

class AllocationFaults : public testing::Test {
protected:
    AllocationFaults()
    {
        const std::string document = DocumentOf(1);
        vconf_set_str(kActivityKey, document.c_str());
        vconf_set_str(kOpticalKey, R"({"activity":{"DevType":5,"DevName":"an optical device with a long name"}})");
        vconf_set_str(kStatisticsKey, R"({"Auto":[{"port":1,"pri":1,"t":5,"spd":["a vendor with a long name","b","c"],)"
                                      R"("result":["a result with a long text","e","f"]}]})");
        for (const char* key : {"memory/srcwatch-service/scan_result", "memory/srcwatch-service/hotplug_progress",
                                "memory/srcwatch-service/mvpd_auto_detect_support", "db/mbr/activityindex",
                                "memory/srcwatch-service/scan_progress", "memory/mbr/mbr-mode"}) {
            vconf_set_int(key, 1);
        }
        vconf_set_str("db/mbr/HeadendID", "an identifier that is too long to be kept in place");
        m_before = ReadSettings();
    }
    ~AllocationFaults() override { RestoreSettings({}); }

    // All points of a function, in one process.
    std::string TroubleWith(const Function& function)
    {
        const Shared shared;
        const int status = InChild([&] {
            (void)alarm(0);
            TryFunction(function, shared);
        });
        shared.Report(TroubleOf(status));
        Print(function.name, shared);
        RestoreSettings(m_before);
        return shared->trouble;
    }

    // All points of a function, each in a process that has used the bus and the settings before, or has not.
    std::string TroubleInProcesses(const Function& function, Shortage shortage, bool isOpen)
    {
        const Shared shared;
        const Reference reference = MakeReferenceInProcess(function, shared);
        shared->isLasting = shortage == Shortage::kLasting ? 1 : 0;
        for (long point = 1; point < kManyPoints && shared->trouble[0] == '\0'; ++point) {
            shared->point = point;
            TryInProcess(function, reference, shortage, isOpen, shared);
            RestoreSettings(m_before);
            if (!shared->hasFailed) break;
            shared->points[shared->isLasting] = point;
        }
        Print(function.name + std::string(isOpen ? "" : ", first use"), shared);
        return shared->trouble;
    }

    Reference MakeReferenceInProcess(const Function& function, const Shared& shared)
    {
        const int status = InChild([&] {
            const std::string result = Describe(Call(function));
            (void)std::snprintf(shared->result, sizeof shared->result, "%s", result.c_str());
        });
        shared.Report(TroubleOf(status));
        const Reference reference = {shared->result, m_before, ReadSettings()};
        RestoreSettings(m_before);
        return reference;
    }

    const Keeper m_keeper;
    Settings m_before;
};

TEST_F(AllocationFaults, OfAFunctionLeaveWhatIsStoredAndLoseNoMemory)
{
    PrintHead();
    for (const Function& function : SettingsFunctions()) EXPECT_EQ(TroubleWith(function), "") << function.name;
}

TEST_F(AllocationFaults, InGlibEndAProcessAtWorstAndLeaveWhatIsStored)
{
    PrintHead();
    for (const Function& function : GlibFunctions())
        EXPECT_EQ(TroubleInProcesses(function, Shortage::kOnce, true), "") << function.name;
}

TEST_F(AllocationFaults, ThatLastLeaveWhatIsStored)
{
    PrintHead();
    for (const char* name : {"srcwatch_set_source_info", "srcwatch_remove_source_info"})
        EXPECT_EQ(TroubleInProcesses(FunctionNamed(name), Shortage::kLasting, true), "") << name;
}

TEST_F(AllocationFaults, AtTheFirstUseLeaveWhatIsStored)
{
    PrintHead();
    for (const char* name :
         {"srcwatch_get_cec_name", "CQDInfoServerData::t_SaveActivityInfoToFile", "srcwatch_TWC_check_start"}) {
        for (const Shortage shortage : kShortages)
            EXPECT_EQ(TroubleInProcesses(FunctionNamed(name), shortage, false), "") << name;
    }
}

TEST_F(AllocationFaults, AreTriedForEveryFunctionOfTheHeader)
{
    std::ifstream file(SRCWATCH_API_HEADER);
    const std::regex form(R"(^SRCWATCH_API [a-z ]+(srcwatch_\w+|get_hdmi_count)\()");
    int functions = 0;
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (!std::regex_search(line, match, form)) continue;
        ++functions;
        EXPECT_TRUE(HasFunction(match[1])) << match[1];
    }
    EXPECT_GT(functions, 40);
}

// Fails each allocation of a load; what is saved of the table afterwards has to be one of the two documents.
void LoadAndSave(Shortage shortage, const std::string& stored, const std::string& loaded, const Shared& shared)
{
    shared->isLasting = shortage == Shortage::kLasting ? 1 : 0;
    const Function load = {"load", [](Result&) { static_cast<void>(TheStore().t_LoadActivityInfoToMemory()); }};
    for (bool hasFailed = true; hasFailed;) {
        FillRecords(TheStore(), 1);
        vconf_set_str(kActivityKey, stored.c_str());
        hasFailed = CallShort(load, ++shared->point, shortage, shared);
        if (!TheStore().t_SaveActivityInfoToFile()) shared.Report("cannot save");
        const std::string saved = ReadSettings()[kActivityKey];
        if (saved != DocumentOf(1) && saved != loaded) shared.Report("saved is " + saved);
    }
    shared->points[shared->isLasting] = shared->point - 1;
    shared->point = 0;
}

// The members that the document lacks are added while it is read.
TEST_F(AllocationFaults, OfALoadLeaveATableThatSavesAWholeDocument)
{
    const std::string stored = R"({"activity":[{"BName":"a brand with a long name"},{"DenyCount":3},)"
                               R"({"CECName":"a device with a long name"},{"ModelName":"a model with a long name"}]})";
    const Shared shared;
    const int status = InChild([&] {
        (void)alarm(0);
        vconf_set_str(kActivityKey, stored.c_str());
        if (!TheStore().t_LoadActivityInfoToMemory() || !TheStore().t_SaveActivityInfoToFile()) _exit(1);
        const std::string loaded = ReadSettings()[kActivityKey];
        for (const Shortage shortage : kShortages) LoadAndSave(shortage, stored, loaded, shared);
    });
    EXPECT_EQ(TroubleOf(status), "");
    EXPECT_STREQ(shared->trouble, "");
    EXPECT_GT(shared->points[0], 100);
    PrintHead();
    Print("a load, followed by a save", shared);
}

// The tester tested: each of these has a fault on purpose.
void SaveWithoutLook(Result&)
{
    try {
        Json::Value root;
        static_cast<void>(TheStore().GetActivityInfoToStream(root));
        std::ostringstream stream;
        const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
        writer->write(root, &stream);
        vconf_set_str(kActivityKey, stream.str().c_str());
    } catch (const Json::Exception&) {
        return;  // nothing is saved
    }
}

void GivenRecordsToSave()
{
    static_cast<void>(TheStore().t_LoadActivityInfoToMemory());
    FillRecords(TheStore(), 2);
}

void* volatile g_memory = nullptr;  // so that no compiler leaves the allocation out

void ForgetMemory(Result& result)
{
    g_memory = std::malloc(16);
    result.string1 = std::string(100, 'x');
    std::free(g_memory);
}

void TrustMemory(Result& result)
{
    g_memory = std::malloc(16);
    *static_cast<volatile char*>(g_memory) = 'x';
    result.number1 = *static_cast<char*>(g_memory);
    std::free(g_memory);
}

void BreakForEver(Result& result)
{
    static bool isBroken = false;
    g_memory = std::malloc(16);
    isBroken = isBroken || g_memory == nullptr;
    std::free(g_memory);
    result.flag = isBroken;
}

struct Faulty {
    Function function;
    const char* trouble;
};

const Faulty kFaulty[] = {
    {{"a save that does not look at its stream", &SaveWithoutLook, &GivenRecordsToSave}, "source-activity holds"},
    {{"a function that forgets its memory when it fails", &ForgetMemory}, "blocks lost"},
    {{"a function that trusts its memory", &TrustMemory}, "ended by signal 11"},
    {{"a function that is broken once it has failed", &BreakForEver}, "the next call gives"},
};

TEST_F(AllocationFaults, AreFoundToDoHarmWhereTheyDo)
{
    PrintHead();
    for (const Faulty& faulty : kFaulty) {
        const std::string trouble = TroubleWith(faulty.function);
        EXPECT_NE(trouble.find(faulty.trouble), std::string::npos) << faulty.function.name << ": " << trouble;
    }
}

}  // namespace
}  // namespace srcwatch_test

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, 4); }
