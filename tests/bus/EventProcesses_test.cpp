// SPDX-License-Identifier: Apache-2.0
//
// Real processes on a real bus: senders that end at once, a service and its applications, tools of others.
#include "BusPeer.h"
#include "Child.h"
#include "Pattern.h"
#include "Sanitizers.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

constexpr char kName[] = "org.nalto.tv.qdinfo";
constexpr char kPath[] = "/org/nalto/tv/qdinfo";

#if SRCWATCH_THREAD_SANITIZER || SRCWATCH_ADDRESS_SANITIZER
constexpr int kSenders = 40;  // a process takes long to start
#else
constexpr int kSenders = 200;
#endif

std::vector<std::string> Program(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), SRCWATCH_BUS_PROGRAM);
    return arguments;
}

class Processes : public testing::Test {
protected:
    Processes()
    {
        if (!TheBus().IsRunning()) TheBus().Restart();
        const std::string home = TheBus().Directory();
        std::filesystem::remove_all(home + "/state");
        std::filesystem::remove_all(home + "/run");
        for (const char* directory : {"/state", "/run"}) std::filesystem::create_directory(home + directory);
        std::ofstream(home + "/platform.conf") << "[hdmi]\ninputs=4\n";
        setenv("SRCWATCH_STATE_DIR", (home + "/state").c_str(), 1);
        setenv("SRCWATCH_RUN_DIR", (home + "/run").c_str(), 1);
        setenv("SRCWATCH_PLATFORM_CONF", (home + "/platform.conf").c_str(), 1);
        setenv("SRCWATCH_LOG", "none", 1);
        peer = std::make_unique<BusPeer>();
        peer->Listen(kName);
    }

    std::unique_ptr<BusPeer> peer;
};

// ---------------------------------------------------------------------------------------------------------------------
// Senders that end at once

class EndingSenders : public Processes, public testing::WithParamInterface<const char*> {};

TEST_P(EndingSenders, LoseNoEvent)
{
    for (int i = 0; i < kSenders; ++i) {
        ASSERT_EQ(Child(Program({"send", GetParam(), std::to_string(i)})).Wait(), 0);
    }

    const std::vector<BusMessage> signals = peer->WaitForSignals(kSenders);
    ASSERT_EQ(signals.size(), static_cast<std::size_t>(kSenders));
    for (int i = 0; i < kSenders; ++i) {
        EXPECT_EQ(signals[static_cast<std::size_t>(i)].text.substr(0, std::to_string(i).size() + 1),
                  std::to_string(i) + "\t");
    }
}

INSTANTIATE_TEST_SUITE_P(Ending, EndingSenders, testing::Values("return", "exit", "_exit", "static"));

TEST_F(Processes, MayForkAChildThatExitsAfterASend)
{
    Child parent(Program({"fork"}));
    std::thread end([&parent] { EXPECT_EQ(parent.Wait(), 0); });

    EXPECT_EQ(peer->WaitForSignals(1).size(), 1U);

    end.join();
}

// ---------------------------------------------------------------------------------------------------------------------
// Descriptors

// How many the header says that a process needs.
std::string DocumentedDescriptors()
{
    std::ifstream file(SRCWATCH_API_HEADER);
    const std::string header{std::istreambuf_iterator<char>(file), {}};
    return FindPattern("at most ([0-9]+) file descriptors", header).at(1);
}

TEST_F(Processes, NeedNoMoreDescriptorsThanDocumented)
{
    setenv("SRCWATCH_LOG", ("file:" + TheBus().Directory() + "/log").c_str(), 1);
    Child program(Program({"descriptors", DocumentedDescriptors()}));

    const std::string counts = program.ReadLine();
    EXPECT_EQ(program.Wait(), 0);

    // Of these, docs/reliability.md speaks.
    EXPECT_THAT(counts, HasSubstr(" event 11 "));
    EXPECT_THAT(counts, HasSubstr(" watch 16 "));
}

#if !SRCWATCH_ADDRESS_SANITIZER
// The sanitizer's check of virtual tables opens a pipe, and takes its failure for a finding.
TEST_F(Processes, AreEndedByGlibWithTooFewDescriptors) { EXPECT_LT(Child(Program({"descriptors", "7"})).Wait(), 0); }
#endif

// ---------------------------------------------------------------------------------------------------------------------
// A service and two applications

class ServiceAndApplications : public Processes {
protected:
    ServiceAndApplications()
    {
        EXPECT_EQ(service.ReadLine(), "ready");
        for (Child& application : applications) EXPECT_EQ(application.ReadLine(), "ready");
        EXPECT_EQ(peer->WaitForSignals(1).size(), 1U);  // that the service has its name
        peer->Forget();
    }

    void Save(int port, const std::string& name)
    {
        service.WriteLine("save " + std::to_string(port) + " " + name);
        EXPECT_EQ(service.ReadLine(), "saved");
    }

    void ExpectBothRead(int port, const std::string& answer)
    {
        for (Child& application : applications) {
            application.WriteLine("query " + std::to_string(port));
            EXPECT_EQ(application.ReadLine(), answer);
        }
    }

    void ExpectEnd(Child& child)
    {
        child.Finish();
        EXPECT_EQ(child.Wait(), 0);
    }

    Child service{Program({"service"})};
    Child applications[2] = {Child(Program({"application"})), Child(Program({"application"}))};
};

TEST_F(ServiceAndApplications, SeeEachSaveAtOnceAndOneAnnouncement)
{
    ExpectBothRead(1, "0 ");  // nothing was ever stored
    for (int round = 0; round < 20; ++round) {
        const std::string name = "Player " + std::to_string(round);
        Save(1, name);
        ExpectBothRead(1, "0 " + name);
        ExpectBothRead(0, "0 ");
    }

    peer->Sync();
    const std::vector<BusMessage> signals = peer->WaitForSignals(20);
    ASSERT_EQ(signals.size(), 20U);
    for (const BusMessage& signal : signals) EXPECT_EQ(signal.type, 4104);
    ExpectEnd(service);
    for (Child& application : applications) ExpectEnd(application);
}

TEST_F(ServiceAndApplications, GetEventsButNotAnnouncements)
{
    Save(99, "optical");
    service.WriteLine("event 10 7");
    EXPECT_EQ(service.ReadLine(), "sent");
    service.WriteLine("event 4099 8");
    EXPECT_EQ(service.ReadLine(), "sent");

    for (Child& application : applications) {
        EXPECT_EQ(application.ReadLine(), "event 10 7 ");
        EXPECT_EQ(application.ReadLine(), "event 4099 8 ");
    }
}

TEST_F(ServiceAndApplications, KeepTheRecordsOverARestart)
{
    Save(2, "Kept");
    ExpectEnd(service);

    Child again(Program({"service"}));
    EXPECT_EQ(again.ReadLine(), "ready");
    again.WriteLine("save 1 Other");
    EXPECT_EQ(again.ReadLine(), "saved");

    ExpectBothRead(2, "0 Kept");
    ExpectBothRead(1, "0 Other");
}

TEST_F(ServiceAndApplications, SurviveTheBus)
{
    TheBus().Restart();

    Save(1, "Without announcement");
    ExpectBothRead(1, "0 Without announcement");
    ExpectEnd(service);
    for (Child& application : applications) ExpectEnd(application);
}

TEST_F(ServiceAndApplications, SeeASecondServiceTakeTheNameOver)
{
    Child second(Program({"service"}));
    EXPECT_EQ(second.ReadLine(), "ready");

    const std::vector<BusMessage> signals = peer->WaitForSignals(2);
    ASSERT_EQ(signals.size(), 2U);
    EXPECT_NE(signals[0].sender, signals[1].sender);
    EXPECT_EQ(signals[0].type + signals[1].type, 4100 + 4101);
    const BusMessage& started = signals[0].type == 4100 ? signals[0] : signals[1];
    EXPECT_EQ(peer->OwnerOf(kName), started.sender);
}

// ---------------------------------------------------------------------------------------------------------------------
// Tools of others as the peer

std::string Output(const std::vector<std::string>& command) { return Child(command).Finish(); }

const std::string kMessage = "7\t0\t0\t0\t0\t0\t0\t0\t0\t0\tUNKNOWN\tUNKNOWN\tUNKNOWN\tword\t";

TEST_F(ServiceAndApplications, TalkToGdbus)
{
    if (!IsInstalled("gdbus")) GTEST_SKIP() << "gdbus is not installed";

    EXPECT_EQ(Output({"gdbus", "call", "--system", "--dest", kName, "--object-path", kPath, "--method",
                      std::string(kName) + ".qdinfo", "5", kMessage}),
              "('echo 7 word',)\n");
    EXPECT_THAT(Output({"gdbus", "introspect", "--system", "--dest", kName, "--object-path", kPath}),
                HasSubstr("qdinfo(in  i type,\n             in  s messagein,\n             out s messageout);"));
    EXPECT_EQ(Output({"gdbus", "emit", "--system", "--object-path", kPath, "--signal", std::string(kName) + ".qdinfo",
                      "10", kMessage}),
              "");
    for (Child& application : applications) EXPECT_EQ(application.ReadLine(), "event 10 7 ");
}

TEST_F(ServiceAndApplications, TalkToBusctl)
{
    if (!IsInstalled("busctl")) GTEST_SKIP() << "busctl is not installed";

    EXPECT_EQ(Output({"busctl", "--system", "call", kName, kPath, kName, "qdinfo", "is", "5", kMessage}),
              "s \"echo 7 word\"\n");
    EXPECT_THAT(Output({"busctl", "--system", "--no-pager", "introspect", kName, kPath, kName}),
                testing::ContainsRegex(".qdinfo +method +is +s +-"));
    EXPECT_EQ(Output({"busctl", "--system", "emit", kPath, kName, "qdinfo", "is", "10", kMessage}), "");
    for (Child& application : applications) EXPECT_EQ(application.ReadLine(), "event 10 7 ");
}

}  // namespace
