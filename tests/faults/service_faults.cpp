// SPDX-License-Identifier: Apache-2.0
//
// Every system call of the service fails in turn, with every error that it may meet, once, in a burst or for some
// seconds, in each phase of the service's life. A trial with a finding is run once more by itself, as a busy machine
// may have been too slow. Prints what was found again, and figures; ends with 1 if anything was.
//
// Usage: service_faults STRIDE JOBS LENGTH... [PHASE...]
//            begins at every STRIDE-th call, runs JOBS trials at once; a length is a number of calls, or of seconds as
//            in "10s"; all phases if none is named
//        service_faults trial PHASE ERRNO FIRST LENGTH MILLISECONDS
#include "FaultTrial.h"
#include "Process.h"
#include "TempDirectory.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <list>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using srcwatch_test::FaultPlan;
using srcwatch_test::FaultResult;
using srcwatch_test::Process;
using srcwatch_test::TempDirectory;

constexpr int kErrors[] = {EIO, ENOSPC, ENOMEM, EMFILE, ENOLCK, EACCES};
constexpr int kLongestAgreementMs = 5000;

int RunTrial(const FaultPlan& plan)
{
    const FaultResult result = srcwatch_test::FaultTrial(plan).Run();
    std::printf("%d %d %d %s\n", result.calls, result.failed, result.agreementMs, result.where.c_str());
    for (const std::string& trouble : result.troubles) std::printf("FOUND: %s\n", trouble.c_str());
    if (!result.troubles.empty()) std::printf("%s", srcwatch_test::ReadFile(srcwatch_test::HomePath("log")).c_str());
    return 0;
}

std::string TextOf(const FaultPlan& plan)
{
    std::ostringstream text;
    text << plan.phase << ' ' << plan.error << ' ' << plan.first << ' ' << plan.length << ' ' << plan.milliseconds;
    return text.str();
}

/// Runs trials as processes of their own, several at a time.
class Campaign {
public:
    /// @param longestMs  The longest time until the state is right.
    Campaign(std::size_t jobs, int longestMs) : m_jobs(jobs), m_limitMs(longestMs) {}

    /// Returns the number of calls of a phase that may meet an error.
    int CountCalls(const std::string& phase, int error);
    void Add(const FaultPlan& plan);
    /// Waits for all trials, and repeats those with findings, one at a time.
    void Finish();
    /// Prints the figures. @return True if nothing was found.
    bool Report() const;

private:
    struct Running {
        FaultPlan plan;
        std::unique_ptr<Process> process;
    };
    void Start(const FaultPlan& plan);
    void WaitForFewerThan(std::size_t count);
    void Collect(Running& running);

    const std::size_t m_jobs;
    const int m_limitMs;
    TempDirectory m_directory;
    std::list<Running> m_running;
    std::vector<FaultPlan> m_suspects;
    bool m_isConfirming = false;
    int m_started = 0;
    int m_points = 0;
    int m_reached = 0;
    int m_trials = 0;
    int m_found = 0;
    int m_longestMs = 0;
    int m_lastCalls = 0;
    std::string m_longest;
};

void Campaign::Start(const FaultPlan& plan)
{
    const std::string output = m_directory / std::to_string(++m_started);
    std::vector<std::string> command = {"/proc/self/exe", "trial"};
    std::istringstream words(TextOf(plan));
    for (std::string word; words >> word;) command.push_back(word);
    m_running.push_back({plan, std::make_unique<Process>(command, output)});
}

void Campaign::WaitForFewerThan(std::size_t count)
{
    while (m_running.size() >= count) {
        for (auto running = m_running.begin(); running != m_running.end();) {
            const bool hasEnded = running->process->Result().has_value();
            if (hasEnded) Collect(*running);
            running = hasEnded ? m_running.erase(running) : std::next(running);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void Campaign::Collect(Running& running)
{
    std::istringstream output(running.process->Output());
    int calls = 0;
    int failed = 0;
    int agreementMs = 0;
    output >> calls >> failed >> agreementMs;
    const bool hasResult = !output.fail();
    std::string where;
    std::getline(output, where);
    m_lastCalls = calls;
    if (!m_isConfirming) ++m_trials;
    if (!m_isConfirming && failed > 0) ++m_reached;
    std::ostringstream rest;
    rest << output.rdbuf();
    const bool isGood = hasResult && rest.str().empty() && agreementMs <= m_limitMs;
    if (!isGood && !m_isConfirming) return m_suspects.push_back(running.plan);
    if (agreementMs > m_longestMs) {
        m_longestMs = agreementMs;
        m_longest = TextOf(running.plan) + where;
    }
    if (isGood) return;
    ++m_found;
    std::printf("FOUND: %s%s: %d ms until the state was right\n%s%s", TextOf(running.plan).c_str(), where.c_str(),
                agreementMs, rest.str().c_str(), running.process->Errors().c_str());
}

int Campaign::CountCalls(const std::string& phase, int error)
{
    Start({phase, error, 0, 0, 0});
    WaitForFewerThan(1);
    --m_trials;
    return m_lastCalls;
}

void Campaign::Add(const FaultPlan& plan)
{
    WaitForFewerThan(m_jobs);
    Start(plan);
}

void Campaign::Finish()
{
    WaitForFewerThan(1);
    m_isConfirming = true;
    for (const FaultPlan& plan : m_suspects) {
        Start(plan);
        WaitForFewerThan(1);
    }
}

bool Campaign::Report() const
{
    std::printf(
        "%d trials, %d with faults, %zu with findings, %d of these again by themselves; %d ms until the state was "
        "right at the longest (%s)\n",
        m_trials, m_reached, m_suspects.size(), m_found, m_longestMs, m_longest.c_str());
    return m_found == 0;
}

struct Length {
    int calls;
    int milliseconds;
};

// "9" calls or "10s".
Length ParseLength(const std::string& text)
{
    const int number = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
    if (number <= 0) throw std::runtime_error("neither a number of calls nor of seconds: " + text);
    return text.back() == 's' ? Length{0, 1000 * number} : Length{number, 0};
}

int RunCampaign(int stride, std::size_t jobs, const std::vector<Length>& lengths,
                const std::vector<std::string>& phases, const std::vector<int>& errors)
{
    std::vector<FaultPlan> plans;
    Campaign campaign(jobs, stride == 1 ? kLongestAgreementMs : INT_MAX);  // a sample also runs on a busy machine
    int points = 0;
    for (const std::string& phase : phases) {
        for (const int error : errors) {
            const int calls = campaign.CountCalls(phase, error);
            for (int first = 1; first <= calls; ++first) {
                if (points++ % stride != 0) continue;
                for (const Length& length : lengths) {
                    plans.push_back({phase, error, first, length.calls, length.milliseconds});
                }
            }
        }
    }
    std::printf("%d points: a system call and an error that it may meet\n", points);
    for (const FaultPlan& plan : plans) campaign.Add(plan);
    campaign.Finish();
    return campaign.Report() ? 0 : 1;
}

bool IsPhase(const std::string& word)
{
    return std::find(std::begin(srcwatch_test::kPhases), std::end(srcwatch_test::kPhases), word) !=
           std::end(srcwatch_test::kPhases);
}

int Number(const char* text) { return static_cast<int>(std::strtol(text, nullptr, 10)); }

}  // namespace

int main(int argc, char** argv)
try {
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, 0));  // only the order of lines depends on it
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "trial" && argc == 7) {
        const FaultPlan plan{argv[2], Number(argv[3]), Number(argv[4]), Number(argv[5]), Number(argv[6])};
        return srcwatch_test::RunInHome(argc, argv, 4, [&plan] { return RunTrial(plan); });
    }
    if (argc >= 4 && Number(argv[1]) > 0 && Number(argv[2]) > 0) {
        char** const phase = std::find_if(argv + 3, argv + argc, IsPhase);
        std::vector<Length> lengths;
        std::transform(argv + 3, phase, std::back_inserter(lengths), ParseLength);
        std::vector<std::string> phases(std::begin(srcwatch_test::kPhases), std::end(srcwatch_test::kPhases));
        std::vector<int> errors(std::begin(kErrors), std::end(kErrors));
        if (phase != argv + argc) phases = {*phase};
        if (phase + 2 == argv + argc) errors = {Number(phase[1])};
        return RunCampaign(Number(argv[1]), static_cast<std::size_t>(Number(argv[2])), lengths, phases, errors);
    }
    static_cast<void>(std::fputs("usage: service_faults STRIDE JOBS LENGTH... [PHASE [ERROR]]\n", stderr));
    return 2;
} catch (const std::exception& e) {
    static_cast<void>(std::fprintf(stderr, "service_faults: %s\n", e.what()));
    return 1;
}
