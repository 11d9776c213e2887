// SPDX-License-Identifier: Apache-2.0
//
// The tool and the real service, from plugging a device in to forgetting it.
#include "ToolTest.h"

#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class BesideService : public ToolTest {
protected:
    void StartService()
    {
        m_service = std::make_unique<Program>(Words{SRCWATCH_SERVICE_PROGRAM, "--inputs", Path("inputs"), "--profiles",
                                                    SRCWATCH_PROFILES_FILE, "--scan-step-ms", "20", "--quiet-ms", "20"},
                                              Environment(), Path("service"));
        // It serves once it answers.
        EXPECT_TRUE(RunUntil([&] { return Run({"call", "status"}).code == 0; })) << m_service->Errors();
    }
    ~BesideService() override
    {
        if (m_service == nullptr) return;
        m_service->Signal(SIGTERM);
        EXPECT_EQ(m_service->Wait().code, 0);
    }

    void Pause() { m_service->Signal(SIGSTOP); }
    void Continue() { m_service->Signal(SIGCONT); }

    void Plug(const std::string& port, const std::string& capture)
    {
        ASSERT_EQ(Run({"plug", port, capture}).code, 0);
        ASSERT_EQ(Run({"wait", "--port", port, "--timeout", "15"}).code, 0);
    }

private:
    std::unique_ptr<Program> m_service;
};

class WithService : public BesideService {
protected:
    WithService() { StartService(); }
};

// What the remedy promises.
TEST_F(BesideService, ReplacesDamagedDocumentsAtItsStart)
{
    const Words checks = {"activity-document", "optical-document", "statistics-document"};
    const auto findings = [&](int code) {
        Words states;
        for (const Json::Value& finding : Document({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}, "doctor", code)) {
            if (std::find(checks.begin(), checks.end(), finding["check"].asString()) == checks.end()) continue;
            states.push_back(finding["ok"].asBool() ? "ok" : finding["remedy"].asString());
        }
        return states;
    };
    Set(kActivityKey, R"({"activity":[{"DevType":6,"DenyCount":4},{"DevName":[1]}]})");
    Set(kOpticalKey, R"({"activity":[]})");
    Set(kStatisticsKey, R"({"Auto":[7]})");
    EXPECT_THAT(findings(1), testing::Each(HasSubstr("the detection service replaces it when it starts")));

    StartService();

    EXPECT_TRUE(RunUntil([&] { return Run({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}).code == 0; }));
    EXPECT_EQ(findings(0), Words(3, "ok"));
    EXPECT_EQ(Run({"get", "0", "DenyCount"}).out, "4\n");
    EXPECT_EQ(Get(kStatisticsKey + std::string(".unreadable")), R"({"Auto":[7]})");
}

// Nothing is wrong, and nothing is touched.
TEST_F(BesideService, LeavesReadableDocumentsAsTheyAre)
{
    const std::string text = R"({"activity":[{"BName":5},{},{},{}]})";
    Set(kActivityKey, text);

    StartService();

    EXPECT_EQ(Run({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}).code, 0);
    EXPECT_EQ(Get(kActivityKey), text);
}

TEST_F(WithService, ShowsAPluggedDevice)
{
    Plug("0", "voltana-vx-home");

    const Json::Value ports = Document({"list"}, "list");

    EXPECT_EQ(ports[0]["connected"], true);
    EXPECT_EQ(ports[0]["record"]["PRName"], "Voltana Television");
    EXPECT_EQ(Run({"get", "0", "codeset"}).out, "V1042\n");
    EXPECT_EQ(Run({"wait", "--port", "0", "--device-type", "set-top-box", "--timeout", "1"}).code, 0);
}

TEST_F(WithService, ExplainsWhatTheServiceFound)
{
    Plug("1", "tessaly-cable");

    const Json::Value document = Document({"explain", "1"}, "explain");

    EXPECT_EQ(document["evidence"]["profiles"]["from"], "service");
    EXPECT_EQ(document["evidence"]["type"], document["record"]["DevType"]);
    EXPECT_EQ(document["evidence"]["method"], document["record"]["DMethod"]);
    EXPECT_EQ(document["method_name"], "profile");
    EXPECT_EQ(document["evidence"]["items"].size(), 3U);
}

TEST_F(WithService, MonitorsADeviceComingAndGoing)
{
    const auto monitor = Start({"monitor", "-o", "jsonl"});
    // The first device may come before the monitor listens.
    EXPECT_TRUE(RunUntil([&] {
        static_cast<void>(Run({"plug", "3", "tivaro-one"}));
        static_cast<void>(Run({"unplug", "3"}));
        return monitor->Output().find("connection") != std::string::npos;
    }));
    Plug("2", "kestelle-k2");
    ASSERT_EQ(Run({"unplug", "2"}).code, 0);

    EXPECT_TRUE(monitor->WaitForOutput("Kestelle K2"));
    EXPECT_TRUE(monitor->WaitForOutput("\"args\":[2,0,0,"));
    EXPECT_EQ(Run({"wait", "--port", "2", "--device-type", "none", "--timeout", "15"}).code, 0);
    monitor->Signal(SIGINT);
    EXPECT_EQ(monitor->Wait().code, 0);
}

TEST_F(WithService, RunsAScanToItsEnd)
{
    Plug("0", "tivaro-one");
    Plug("2", "kestelle-k2");

    const Json::Value steps = Document({"scan", "run", "--timeout", "20"}, "scan run");

    ASSERT_GE(steps.size(), 5U);
    const Json::Value& last = steps[steps.size() - 1];
    EXPECT_EQ(last["result"], 0);
    EXPECT_EQ(last["devices"], 2);
    EXPECT_EQ(steps[steps.size() - 2]["percent"], 90);
    EXPECT_EQ(Document({"scan", "status"}, "scan status")["state"], "idle");
    EXPECT_EQ(Run({"get", "0", "ScanState"}).out, "1\n");
}

TEST_F(WithService, DrawsABarOnATerminal)
{
    Plug("0", "tivaro-one");

    const Outcome outcome = RunOnTerminal({"scan", "run", "--timeout", "20"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_THAT(outcome.out, HasSubstr("\r["));
    EXPECT_THAT(outcome.out, HasSubstr("] 100 %  finished, 1 device(s) found"));
}

TEST_F(WithService, ExitsByTheResultOfAScanThatFindsNothing)
{
    EXPECT_TRUE(Fails(Run({"scan", "run", "--timeout", "20"}), 1, "nothing was found"));
    EXPECT_EQ(Document({"scan", "status"}, "scan status")["state"], "nothing found");
}

TEST_F(WithService, ForgetsADeviceAndKeepsTheDenyCount)
{
    Plug("0", "tivaro-one");
    ASSERT_EQ(Run({"call", "deny", "0"}).code, 0);

    const Json::Value document = Document({"forget", "0"}, "forget");

    EXPECT_EQ(document["record"]["DevType"], 0);
    EXPECT_EQ(document["record"]["DenyCount"], 1);
    EXPECT_TRUE(Fails(Run({"forget", "7"}), 1, "no such port: 7"));
}

TEST_F(WithService, CommandsTheOpticalSource)
{
    Plug("99", "ambrelle-soundbar");
    const auto monitor = Start({"monitor", "--type", "scan-finished", "--count", "1"});

    // The monitor may not listen yet when the first scan ends; and a start interrupts a scan that runs.
    const auto isMonitored = [&] { return !monitor->Output().empty(); };
    EXPECT_TRUE(RunUntil([&] {
        static_cast<void>(Run({"optical", "start"}));
        return RunUntil(isMonitored, std::chrono::seconds(2));
    }));

    EXPECT_EQ(monitor->Wait().code, 0);
    EXPECT_EQ(Document({"optical", "show"}, "optical show")["record"]["DevType"], 4);
}

TEST_F(WithService, FollowsATwcCheck)
{
    Plug("0", "voltana-vx-home");
    const auto reaches = [&](const std::string& state) {
        return RunUntil([&] { return Document({"twc", "status"}, "twc status")["state"] == state; });
    };

    ASSERT_EQ(Run({"twc", "start", "0"}).code, 0);
    EXPECT_TRUE(reaches("waiting for a channel"));
    ASSERT_EQ(Run({"twc", "tuned", "12", "4"}).code, 0);
    EXPECT_TRUE(reaches("tuned"));
    ASSERT_EQ(Run({"twc", "end", "0"}).code, 0);
    EXPECT_TRUE(reaches("no check"));
}

TEST_F(WithService, KeepsStatisticsOfEachDetection)
{
    Plug("1", "tessaly-cable");

    // The service saves the record first.
    Json::Value entries;
    ASSERT_TRUE(RunUntil([&] { return !(entries = Document({"stats"}, "stats")).empty(); }));

    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]["port"], 1);
    EXPECT_EQ(entries[0]["spd_vendor"], "TESSALY");
}

TEST_F(WithService, AnswersRequests)
{
    Plug("1", "tessaly-cable");

    EXPECT_EQ(Document({"call", "status"}, "call")["reply"]["plugged"][0], 1);
    EXPECT_EQ(Document({"call", "record", "1"}, "call")["reply"]["record"]["MFName"], "TESSALY");
    EXPECT_TRUE(Fails(Run({"call", "record", "7"}), 1, "no such port: 7"));
}

TEST_F(WithService, IsNotWaitedForWhenItHangs)
{
    Pause();

    for (const Words& command : {Words{"call", "status"}, Words{"forget", "0"}, Words{"scan", "run"}}) {
        EXPECT_TRUE(Fails(Run(command), 3, "the detection service does not answer in time")) << command[0];
    }
    for (const Json::Value& finding : Document({"doctor"}, "doctor", 1)) {
        if (finding["check"] != "service-answers") continue;
        EXPECT_THAT(finding["detail"].asString(), HasSubstr("is stopped, and answers no call"));
        EXPECT_THAT(finding["remedy"].asString(), HasSubstr("kill -CONT"));
    }

    Continue();
    EXPECT_EQ(Run({"doctor"}).code, 0);
}

TEST_F(WithService, PassesAllChecksOfTheDoctor)
{
    Plug("0", "malformed");
    Plug("99", "ambrelle-soundbar");

    for (const Json::Value& finding : Document({"doctor"}, "doctor")) EXPECT_EQ(finding["ok"], true) << finding;
}

}  // namespace
