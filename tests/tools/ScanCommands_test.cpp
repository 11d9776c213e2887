// SPDX-License-Identifier: Apache-2.0
//
// scan, optical.
#include "BusOnlyService.h"
#include "QDInfoNames.h"
#include "ToolTest.h"

#include <csignal>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

const char* const kCommandKey = qdinfo::kScanProgressKey;
const char* const kProgressKey = qdinfo::kScanResultKey;

class ScanCommands : public ToolTest {
protected:
    // Waits until the tool has commanded a scan.
    bool WaitForCommand()
    {
        return RunUntil([&] { return Run({"settings", "get", kCommandKey}).out == "2001\n"; });
    }
};

TEST_F(ScanCommands, WriteTheCommandThatTheServiceWatchesFor)
{
    const BusOnlyService service;
    struct Row {
        Words arguments;
        const char* schema;
        const char* code;
    };
    for (const Row& row :
         {Row{{"scan", "start"}, "scan start", "2001"}, Row{{"scan", "stop"}, "scan stop", "2002"},
          Row{{"scan", "resume"}, "scan resume", "2003"}, Row{{"optical", "start"}, "optical start", "5001"},
          Row{{"optical", "stop"}, "optical stop", "5002"}}) {
        const Json::Value document = Document(row.arguments, row.schema);

        EXPECT_EQ(Get(kCommandKey), row.code);
        EXPECT_EQ(document["code"].asString(), row.code);
        EXPECT_EQ(document["command"], row.schema);
    }
}

TEST_F(ScanCommands, ShowTheOpticalSourceAlsoWithoutAWord)
{
    StoreRecord(99, Parse(R"({"PRName":"Provider"})"));

    EXPECT_EQ(Document({"optical", "show"}, "optical show")["record"]["PRName"], "Provider");
    EXPECT_EQ(Document({"optical"}, "optical show")["record"]["PRName"], "Provider");
    EXPECT_TRUE(Fails(Run({"optical", "nonsense"}), 2, "nonsense"));
}

TEST_F(ScanCommands, FailWhenTheCommandCannotBeWritten)
{
    const BusOnlyService service;
    SetVariable("SRCWATCH_RUN_DIR", "/dev/null/run");

    EXPECT_TRUE(Fails(Run({"scan", "start"}), 1, "could not be written"));
}

TEST_F(ScanCommands, WriteNothingWithoutAService)
{
    for (const Words& command : {Words{"scan", "start"}, {"scan", "stop"}, {"scan", "resume"}, {"optical", "start"}}) {
        EXPECT_TRUE(Fails(Run(command), 4, "no detection service is running")) << command[1];
    }
    EXPECT_TRUE(Fails(Run({"settings", "get", kCommandKey}), 1, "no such setting"));
}

TEST_F(ScanCommands, DoNotTakeAFailingBusForAMissingService)
{
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/bus");

    EXPECT_TRUE(Fails(Run({"scan", "start"}), 1, "cannot reach the system bus"));
}

TEST_F(ScanCommands, StatusShowsEveryState)
{
    struct Row {
        const char* stored;
        int result;
        const char* state;
        Json::Value percent;
    };
    for (const Row& row : {Row{"0", 0, "idle", 0}, Row{"100", 0, "running", 0}, Row{"145", 0, "running", 45},
                           Row{"3", 3, "final stage", 90}, Row{"-1", -1, "stopped", Json::nullValue},
                           Row{"-2", -2, "failed", Json::nullValue}, Row{"-3", -3, "nothing found", Json::nullValue},
                           Row{"77", -99, "undefined", Json::nullValue}}) {
        Set(kProgressKey, row.stored, "--int");

        const Json::Value document = Document({"scan", "status"}, "scan status");

        EXPECT_EQ(document["result"], row.result) << row.stored;
        EXPECT_EQ(document["state"], row.state) << row.stored;
        EXPECT_EQ(document["percent"], row.percent) << row.stored;
    }
}

TEST_F(ScanCommands, StatusIsUnknownBeforeAnyServiceRan)
{
    EXPECT_EQ(Document({"scan", "status"}, "scan status")["state"], "unknown");
}

TEST_F(ScanCommands, RunFollowsTheScanToItsEnd)
{
    const BusOnlyService service;
    const auto run = Start({"scan", "run", "-o", "json"});
    ASSERT_TRUE(WaitForCommand());

    BusOnlyService::Send(4098, {45, 1});
    BusOnlyService::Send(4099, {0, 3});

    const Outcome outcome = run->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_TRUE(Matches("scan run", outcome.out));
    const Json::Value steps = Parse(outcome.out);
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(steps[0]["percent"], 45);
    EXPECT_EQ(steps[1]["devices"], 3);
}

TEST_F(ScanCommands, RunWritesPlainLinesWhereThereIsNoTerminal)
{
    const BusOnlyService service;
    const auto run = Start({"scan", "run"});
    ASSERT_TRUE(WaitForCommand());

    BusOnlyService::Send(4098, {45, 1});
    BusOnlyService::Send(4099, {0, 3});

    EXPECT_EQ(run->Wait().out, "45 %  HDMI 2\nfinished, 3 device(s) found\n");
}

TEST_F(ScanCommands, RunIsNotEndedByAScanOfTheOpticalSource)
{
    const BusOnlyService service;
    const auto run = Start({"scan", "run"});
    ASSERT_TRUE(WaitForCommand());

    BusOnlyService::Send(4098, {0, 99});
    BusOnlyService::Send(4099, {-3, 0, 99});
    BusOnlyService::Send(4099, {0, 1});

    const Outcome outcome = run->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_EQ(outcome.out, "finished, 1 device(s) found\n");
}

TEST_F(ScanCommands, RunExitsByTheResult)
{
    const BusOnlyService service;
    for (const auto& [result, words] :
         std::map<int, const char*>{{-1, "stopped"}, {-2, "failed"}, {-3, "nothing was found"}, {-7, "failed"}}) {
        Set(kCommandKey, "0", "--int");
        const auto run = Start({"scan", "run"});
        ASSERT_TRUE(WaitForCommand());

        BusOnlyService::Send(4099, {result, 0});

        EXPECT_TRUE(Fails(run->Wait(), 1, words));
    }
}

TEST_F(ScanCommands, RunTimesOut)
{
    const BusOnlyService service;

    const Outcome outcome = Run({"scan", "run", "--timeout", "0.1", "-o", "json"});

    EXPECT_TRUE(Fails(outcome, 3, "did not finish in time"));
    EXPECT_EQ(Parse(outcome.out).size(), 0U);
}

// A service that is busy with the scan, and answers nothing meanwhile.
TEST_F(ScanCommands, RunIsNotEndedWhileThereAreEvents)
{
    BusPeer service;
    service.RequestName("org.nalto.tv.qdinfo");
    const auto run = Start({"scan", "run"});
    ASSERT_TRUE(WaitForCommand());

    constexpr std::chrono::seconds kSilence(10);  // after which it would be ended
    const auto isOver = [end = std::chrono::steady_clock::now() + kSilence + std::chrono::seconds(2)] {
        return std::chrono::steady_clock::now() > end;
    };
    while (!isOver()) {
        BusOnlyService::Send(4098, {45, 1});
        static_cast<void>(RunUntil(isOver, std::chrono::seconds(1)));
    }
    BusOnlyService::Send(4099, {0, 3});

    EXPECT_EQ(run->Wait().code, 0);
}

TEST_F(ScanCommands, RunEndsWhenTheServiceHangs)
{
    BusPeer service;
    service.RequestName("org.nalto.tv.qdinfo");

    EXPECT_TRUE(Fails(Run({"scan", "run"}), 3, "the detection service does not answer in time"));
}

TEST_F(ScanCommands, RunFailsWithoutAService)
{
    EXPECT_TRUE(Fails(Run({"scan", "run"}), 4, "no detection service is running"));
    EXPECT_TRUE(Fails(Run({"settings", "get", kCommandKey}), 1, "no such setting"));
}

TEST_F(ScanCommands, RunFailsWhenTheServiceEnds)
{
    auto service = std::make_unique<BusOnlyService>();
    const auto run = Start({"scan", "run"});
    ASSERT_TRUE(WaitForCommand());

    service.reset();

    EXPECT_TRUE(Fails(run->Wait(), 1, "the detection service ended"));
}

TEST_F(ScanCommands, RunFailsWhenInterrupted)
{
    const BusOnlyService service;
    const auto run = Start({"scan", "run", "-o", "jsonl"});
    ASSERT_TRUE(WaitForCommand());
    BusOnlyService::Send(4098, {10, 0});
    ASSERT_TRUE(run->WaitForOutput("10"));

    run->Signal(SIGINT);

    EXPECT_TRUE(Fails(run->Wait(), 1, "interrupted"));
}

}  // namespace
