// SPDX-License-Identifier: Apache-2.0
//
// Each allocation of each function fails in turn: nothing crashes, nothing leaks, what is stored is what was or what
// was to be, and the next call works. What goes through GLib does so in processes of its own, which GLib may end.
#include "Pattern.h"
#include "QDInfoServerData.h"
#include "Records.h"
#include "ServiceTest.h"
#include "Trials.h"
#include "srcwatch-host.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

using qdinfo::CQDInfoServerData;

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

TEST_F(AllocationFaults, OfAFunctionKeepWhatIsStoredAndLeakNothing)
{
    PrintHead();
    for (const Function& function : SettingsFunctions()) EXPECT_EQ(TroubleWith(function), "") << function.name;
}

TEST_F(AllocationFaults, InGlibAtWorstEndAProcessAndLoseNothing)
{
    PrintHead();
    for (const Function& function : GlibFunctions())
        EXPECT_EQ(TroubleInProcesses(function, Shortage::kOnce, true), "") << function.name;
}

TEST_F(AllocationFaults, ThatLastKeepWhatIsStored)
{
    PrintHead();
    for (const char* name : {"srcwatch_set_source_info", "srcwatch_remove_source_info"})
        EXPECT_EQ(TroubleInProcesses(FunctionNamed(name), Shortage::kLasting, true), "") << name;
}

TEST_F(AllocationFaults, AtTheFirstUseKeepWhatIsStored)
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
    int functions = 0;
    for (std::string line; std::getline(file, line);) {
        const auto found = srcwatch_test::FindPattern(R"(^SRCWATCH_API [a-z ]+(srcwatch_\w+|get_hdmi_count)\()", line);
        if (found.empty()) continue;
        ++functions;
        EXPECT_TRUE(HasFunction(found[1])) << found[1];
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
    {{"a function that is broken once it has failed", &BreakForEver}, "the next call returns"},
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
