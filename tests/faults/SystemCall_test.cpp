// SPDX-License-Identifier: Apache-2.0
//
// Each system call of a save fails in turn, or is where its process is killed: the settings then hold the old document
// or the new one, whole, and go on working. strace does the injecting.
#include "Documents.h"
#include "HostTest.h"
#include "Pattern.h"
#include "Process.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>

#include <sys/mman.h>
#include <vconf.h>

namespace {

using srcwatch_test::DocumentOf;
using srcwatch_test::kActivityKey;

constexpr const char* kOtherKey = "db/other";
constexpr int kOtherNumber = 5;
constexpr int kOld = 1;
constexpr int kNew = 2;
constexpr int kSaved = 0;  // results of the saving program
constexpr int kNotSaved = 3;
constexpr int kKilled = 128 + SIGKILL;

struct SystemCall {
    std::string name;
    int number;  // among the calls of that name in the process, from 1
};

struct Fault {
    const char* name;
    const char* injection;
};

constexpr Fault kKill = {"SIGKILL", "signal=SIGKILL"};
constexpr Fault kNoRoom = {"ENOSPC", "error=ENOSPC"};
constexpr Fault kFaults[] = {kKill, kNoRoom, {"EIO", "error=EIO"}};

// brk reports its failure by an address, and a number in its place would be taken for one; close closes in any case,
// which an injected failure would keep it from. Room is missing only for calls that take some.
bool MayMeet(const SystemCall& call, const Fault& fault)
{
    if (fault.injection == kKill.injection) return true;
    if (call.name == "brk" || call.name == "close") return false;
    static const std::set<std::string> takers = {"openat", "mkdir",     "write",    "pwrite64",
                                                 "fsync",  "fdatasync", "ftruncate"};
    return fault.injection != kNoRoom.injection || takers.count(call.name) > 0;
}

// What a process that looks at the settings afterwards finds.
struct Verdict {
    bool isOld;
    bool isNew;
    bool isOtherIntact;
    bool goesOn;
};

struct Sweep {
    int calls = 0;
    int trials = 0;
    int unreached = 0;  // calls that the process made only when it was slower, as under a full trace
    std::vector<std::string> troubles;
};

class SystemCallFaults : public HostTest {
protected:
    SystemCallFaults()
        : m_verdict(static_cast<Verdict*>(
              mmap(nullptr, sizeof(Verdict), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        WriteFile(ConfPath(), "[hdmi]\ninputs=4\n");
        // One that has just been written is read more often, as it may change again unnoticed.
        std::filesystem::last_write_time(ConfPath(),
                                         std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
    ~SystemCallFaults() override { munmap(m_verdict, sizeof(Verdict)); }

    // There have been saves, all of the old generation, until this says so.
    void GivenSavesUntil(const std::function<bool()>& isEnough)
    {
        ASSERT_TRUE(InProcess([&isEnough] {
            vconf_set_int(kOtherKey, kOtherNumber);
            do {
                vconf_set_str(kActivityKey, DocumentOf(kOld).c_str());
            } while (!isEnough());
        }));
        std::filesystem::copy(StateDir(), Path("before"));
    }

    // The next save also moves the log into the database.
    void GivenALogThatIsAlmostFull()
    {
        constexpr std::uintmax_t kFullLog = 256 * (4096 + 24);  // this many pages, each with its header in the log
        std::uintmax_t before = 0;
        GivenSavesUntil([this, &before] {
            const std::uintmax_t size = std::filesystem::file_size(DurableDatabase() + "-wal");
            const std::uintmax_t save = size - before;
            before = size;
            return size + save >= kFullLog;
        });
        StartOver();
        ASSERT_EQ(Save({}), kSaved);
        ASSERT_NE(ReadFile(DurableDatabase()), ReadFile(Path("before/settings.db")));
    }

    // How the program ended that saves the new generation under strace.
    int Save(std::vector<std::string> options)
    {
        std::vector<std::string> command = {"strace", "-f", "-qq", "-o", Path("trace")};
        if (options.empty()) options = {"-e", "trace=all"};
        command.insert(command.end(), options.begin(), options.end());
        command.insert(command.end(), {SRCWATCH_SAVE_PROGRAM, std::to_string(kNew), m_way});
        srcwatch_test::Process program(command, Path("output"),
                                       {{"SRCWATCH_STATE_DIR", StateDir()},
                                        {"SRCWATCH_RUN_DIR", RunDir()},
                                        {"SRCWATCH_PLATFORM_CONF", ConfPath()},
                                        {"SRCWATCH_LOG", "file:" + Path("log")}});
        return program.Wait(std::chrono::seconds(60)).value_or(-1);
    }

    std::vector<SystemCall> CallsOfASave();
    Sweep TryAllCalls(const std::vector<Fault>& faults);
    void Report(const char* what, const Sweep& sweep);

    bool m_hasOld = true;
    std::string m_way = "save";  // how the program saves

private:
    void StartOver();
    void Try(const SystemCall& call, const Fault& fault, Sweep& sweep);
    std::string TroubleNow(int result);

    Verdict* m_verdict;
};

void SystemCallFaults::StartOver()
{
    for (const std::string& path : {StateDir(), RunDir(), Path("log")}) std::filesystem::remove_all(path);
    if (std::filesystem::exists(Path("before"))) std::filesystem::copy(Path("before"), StateDir());
}

// From the trace of a save without a fault. Calls before it count, as strace counts them too.
std::vector<SystemCall> SystemCallFaults::CallsOfASave()
{
    StartOver();
    EXPECT_EQ(Save({}), kSaved);
    std::map<std::string, int> counts;
    std::vector<SystemCall> calls;
    bool isInside = false;
    std::ifstream trace(Path("trace"));
    for (std::string line; std::getline(trace, line);) {
        const std::vector<std::string> found = srcwatch_test::FindPattern(R"(^[0-9]+ +([a-z0-9_]+)\()", line);
        if (found.empty()) continue;
        const int number = ++counts[found[1]];
        if (line.find("/end-of-save") != std::string::npos) isInside = false;
        if (isInside) calls.push_back({found[1], number});
        if (line.find("/begin-of-save") != std::string::npos) isInside = true;
    }
    return calls;
}

std::string SystemCallFaults::TroubleNow(int result)
{
    *m_verdict = {};
    const bool hasEndedWell = bool(InProcess([this] {
        const std::string text = TextOf(kActivityKey);
        int other = 0;
        m_verdict->isOld = text == (m_hasOld ? DocumentOf(kOld) : "(none)");
        m_verdict->isNew = text == DocumentOf(kNew);
        m_verdict->isOtherIntact = !m_hasOld || (vconf_get_int(kOtherKey, &other) == 0 && other == kOtherNumber);
        m_verdict->goesOn = vconf_set_str(kActivityKey, DocumentOf(kNew + 1).c_str()) == 0 &&
                            TextOf(kActivityKey) == DocumentOf(kNew + 1);
    }));
    if (!hasEndedWell) return "the next process fails";
    if (result == kSaved && !m_verdict->isNew) return "a save that succeeded is lost";
    if (!m_verdict->isOld && !m_verdict->isNew) return "neither the old document nor the new one";
    if (!m_verdict->isOtherIntact) return "another setting is lost";
    if (!m_verdict->goesOn) return "nothing can be saved any more";
    if (Sql(DurableDatabase(), "PRAGMA integrity_check") != "ok") return "the database is damaged";
    if (!FilesIn(StateDir(), "damaged").empty()) return "the database was moved aside";
    return {};
}

void SystemCallFaults::Try(const SystemCall& call, const Fault& fault, Sweep& sweep)
{
    StartOver();
    const std::string when = ":when=" + std::to_string(call.number);
    const int result = Save({"-e", "trace=" + call.name, "-e", "inject=" + call.name + ":" + fault.injection + when});
    const bool isKilled = result == kKilled;
    const bool isInjected = isKilled || ReadFile(Path("trace")).find("(INJECTED)") != std::string::npos;
    ++sweep.trials;
    if (!isInjected) ++sweep.unreached;

    const bool isEndExpected = isKilled ? fault.injection == kKill.injection : result == kSaved || result == kNotSaved;
    const std::string trouble = isEndExpected ? TroubleNow(result) : "the process ends with " + std::to_string(result);
    if (trouble.empty()) return;
    sweep.troubles.push_back(std::string(fault.name) + " at " + call.name + " " + std::to_string(call.number) + ": " +
                             trouble);
}

Sweep SystemCallFaults::TryAllCalls(const std::vector<Fault>& faults)
{
    Sweep sweep;
    const std::vector<SystemCall> calls = CallsOfASave();
    sweep.calls = static_cast<int>(calls.size());
    for (const SystemCall& call : calls) {
        for (const Fault& fault : faults) {
            if (MayMeet(call, fault)) Try(call, fault, sweep);
        }
    }
    return sweep;
}

void SystemCallFaults::Report(const char* what, const Sweep& sweep)
{
    std::printf("%s: %d system calls, %d faults injected, %d more were for calls that were not made again\n", what,
                sweep.calls, sweep.trials - sweep.unreached, sweep.unreached);
    EXPECT_GT(sweep.calls, 20);
    EXPECT_LE(sweep.unreached * 10, sweep.trials);
    for (const std::string& trouble : sweep.troubles) ADD_FAILURE() << trouble;
}

const std::vector<Fault> kAllFaults(std::begin(kFaults), std::end(kFaults));

TEST_F(SystemCallFaults, OfTheFirstSaveLeaveNoDocumentOrTheNewOne)
{
    m_hasOld = false;
    m_way = "load-and-save";
    Report("the first save", TryAllCalls(kAllFaults));
}

TEST_F(SystemCallFaults, OfASaveLeaveTheOldDocumentOrTheNewOne)
{
    GivenALogThatIsAlmostFull();
    Report("a save that fills the log", TryAllCalls(kAllFaults));
}

// The tester tested.
TEST_F(SystemCallFaults, AreFoundToLeaveAMixtureByASaveInTwoSteps)
{
    GivenSavesUntil([] { return true; });
    m_way = "save-in-two-steps";
    const Sweep sweep = TryAllCalls({kKill});
    std::printf("a save in two steps: %d system calls, %zu troubles found\n", sweep.calls, sweep.troubles.size());
    ASSERT_FALSE(sweep.troubles.empty());
    EXPECT_NE(sweep.troubles[0].find("neither the old document nor the new one"), std::string::npos);
}

}  // namespace
