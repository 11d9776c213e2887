// SPDX-License-Identifier: Apache-2.0
//
// Processes that send while they end: in exit handlers, in destructors of static objects, in threads that are not
// joined. They end as they would without the library, and what was sent arrives.
#include "BusPeer.h"
#include "Process.h"
#include "Sanitizers.h"
#include "TempDirectory.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

namespace {

using namespace srcwatch_test;

constexpr char kName[] = "org.nalto.tv.qdinfo";

#if SRCWATCH_ADDRESS_SANITIZER || SRCWATCH_THREAD_SANITIZER
constexpr int kRuns = 15;  // a process takes long to start
#else
constexpr int kRuns = 100;
#endif

class Exit : public testing::Test {
protected:
    Exit()
    {
        if (!TheBus().IsRunning()) TheBus().Restart();
        WriteFile(directory / "platform.conf", "[hdmi]\ninputs=4\n");
        setenv("SRCWATCH_STATE_DIR", directory.Path().c_str(), 1);
        setenv("SRCWATCH_RUN_DIR", directory.Path().c_str(), 1);
        setenv("SRCWATCH_PLATFORM_CONF", (directory / "platform.conf").c_str(), 1);
        setenv("SRCWATCH_LOG", "none", 1);
        peer = std::make_unique<BusPeer>();
        peer->Listen(kName);
    }

    // The result of a program; nothing if it does not end.
    std::optional<int> Run(const std::vector<std::string>& command) const
    {
        return Process(command, directory / "program").Wait(kDeadline);
    }
    std::optional<int> Run(const char* ending) const { return Run({SRCWATCH_EXIT_PROGRAM, ending}); }

    std::string Errors() const { return ReadFile(directory / "program.err"); }

    TempDirectory directory;
    std::unique_ptr<BusPeer> peer;
};

struct Ending {
    const char* name;
    int events;
};

class Sends : public Exit, public testing::WithParamInterface<Ending> {};

TEST_P(Sends, DuringTheExitArriveAndTheProcessSucceeds)
{
    const auto [name, events] = GetParam();

    ASSERT_EQ(Run(name), 0) << Errors();

    const std::vector<BusMessage> signals = peer->WaitForSignals(static_cast<std::size_t>(events));
    ASSERT_EQ(signals.size(), static_cast<std::size_t>(events));
    for (int i = 0; i < events; ++i) {
        const BusMessage& signal = signals[static_cast<std::size_t>(i)];
        EXPECT_EQ(signal.type, 10);
        EXPECT_EQ(signal.text.substr(0, 2), std::to_string(i) + "\t");
    }
}

constexpr Ending kEndings[] = {
    {"handler", 2},
    {"handler-first", 2},
    {"handlers", 7},
    {"handler-only", 1},
    {"handler-in-handler", 3},
    {"lasting", 3},
    {"lasting-only", 1},
    {"static", 2},
    {"static-only", 1},
    {"destructor", 2},
    {"destructor-only", 1},
    {"destructor-lasting", 2},
    {"after-destructors", 2},
    {"thread", 2},
};

// gtest takes no dash.
std::string TestName(std::string name)
{
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Endings, Sends, testing::ValuesIn(kEndings),
                         [](const auto& ending) { return TestName(ending.param.name); });

TEST_F(Exit, HandlersMayAnnounceChanges)
{
    ASSERT_EQ(Run(std::vector<std::string>{SRCWATCH_ANNOUNCE_AT_EXIT}), 0) << Errors();

    const std::vector<BusMessage> signals = peer->WaitForSignals(3);
    ASSERT_EQ(signals.size(), 3U);
    for (const BusMessage& signal : signals) EXPECT_EQ(signal.type, 4104);
}

class HangingBus : public Exit, public testing::WithParamInterface<const char*> {
protected:
    // Ends a program with many events while the bus hangs. Returns how long it takes.
    double SecondsToEnd(const char* ending)
    {
        setenv("SRCWATCH_LOG", "stderr", 1);
        Process program({SRCWATCH_EXIT_PROGRAM, ending}, directory / "program");
        EXPECT_GE(peer->WaitForSignals(1).size(), 1U);
        const auto begin = std::chrono::steady_clock::now();
        TheBus().Pause();
        program.Signal(SIGUSR1);
        const std::optional<int> result = program.Wait(kDeadline);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        TheBus().Continue();
        EXPECT_EQ(result, 0) << Errors();
        return time.count();
    }

    std::size_t LinesOfLoss() const
    {
        const std::string errors = Errors();
        std::size_t lines = 0;
        for (std::size_t at = 0; (at = errors.find("Events are lost: the bus hangs", at)) != std::string::npos; ++at)
            ++lines;
        return lines;
    }
};

TEST_P(HangingBus, LetsTheProcessEndInTwoSecondsAndLogTheLoss)
{
    const double seconds = SecondsToEnd(GetParam());

    EXPECT_GE(seconds, 2.0);
    EXPECT_LT(seconds, 3.5);
    EXPECT_EQ(LinesOfLoss(), 1U) << Errors();
}

INSTANTIATE_TEST_SUITE_P(Endings, HangingBus, testing::Values("many", "many-and-handlers", "many-and-static"),
                         [](const auto& ending) { return TestName(ending.param); });

TEST_F(Exit, WaitsForABusThatGoesOn)
{
    setenv("SRCWATCH_LOG", "stderr", 1);
    Process program({SRCWATCH_EXIT_PROGRAM, "many"}, directory / "program");
    ASSERT_EQ(peer->WaitForSignals(1).size(), 1U);
    TheBus().Pause();
    program.Signal(SIGUSR1);
    EXPECT_FALSE(program.Wait(std::chrono::milliseconds(1000)));
    TheBus().Continue();

    EXPECT_EQ(program.Wait(kDeadline), 0) << Errors();

    EXPECT_EQ(peer->WaitForSignals(601).size(), 601U);
    EXPECT_EQ(Errors().find("Events are lost"), std::string::npos);
}

class Threads : public Exit, public testing::WithParamInterface<const char*> {};

TEST_P(Threads, MaySendWhileMainReturns)
{
    for (int run = 0; run < kRuns; ++run) ASSERT_EQ(Run(GetParam()), 0) << "run " << run << ": " << Errors();

    EXPECT_GE(peer->WaitForSignals(kRuns).size(), static_cast<std::size_t>(kRuns));
}

INSTANTIATE_TEST_SUITE_P(Sending, Threads, testing::Values("threads", "threads-lasting", "threads-announcing"),
                         [](const auto& ending) { return TestName(ending.param); });

}  // namespace
