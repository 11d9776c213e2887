// SPDX-License-Identifier: Apache-2.0
//
// The tests' own bus and peer, without the library.
#include "BusPeer.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace srcwatch_test;

constexpr char kPath[] = "/test/object";
constexpr char kInterface[] = "test.interface";

TEST(PrivateBus, IsTheSystemBusOfTheProcess)
{
    const PrivateBus& bus = TheBus();

    EXPECT_STREQ(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), bus.Address().c_str());
    EXPECT_NE(bus.Pid(), getpid());
}

TEST(PrivateBus, IsOfTheKindThatTheEnvironmentNames)
{
    std::string program;
    std::getline(std::ifstream("/proc/" + std::to_string(TheBus().Pid()) + "/comm"), program);

    const char* wanted = std::getenv("SRCWATCH_TEST_BUS");
    EXPECT_EQ(program, wanted != nullptr ? wanted : "dbus-daemon");
}

TEST(PrivateBus, CarriesSignalsOfEveryBodyBetweenPeers)
{
    BusPeer emitter;
    BusPeer listener;
    listener.Listen(kInterface);

    emitter.Emit(kPath, kInterface, "Happened", g_variant_new("(is)", 7, "seven"));
    emitter.Emit(kPath, kInterface, "Happened", nullptr);
    const std::vector<BusMessage> signals = listener.WaitForSignals(2);

    ASSERT_EQ(signals.size(), 2U);
    EXPECT_EQ(signals[0].sender, emitter.UniqueName());
    EXPECT_EQ(signals[0].path, kPath);
    EXPECT_EQ(signals[0].interface, kInterface);
    EXPECT_EQ(signals[0].member, "Happened");
    EXPECT_EQ(signals[0].signature, "is");
    EXPECT_EQ(signals[0].type, 7);
    EXPECT_EQ(signals[0].text, "seven");
    EXPECT_EQ(signals[1].signature, "");
}

TEST(PrivateBus, CarriesCallsAndRepliesBetweenPeers)
{
    BusPeer caller;
    BusPeer service;
    ASSERT_EQ(service.RequestName("test.service"), 1U);
    service.AnswerWith([](const BusMessage& call) {
        return call.member == "Ask" ? g_variant_new("(s)", ("heard " + call.text).c_str()) : nullptr;
    });

    const std::uint32_t answered =
        caller.Send("test.service", kPath, kInterface, "Ask", g_variant_new("(s)", "question"));
    const std::uint32_t unanswered = caller.Send("test.service", kPath, kInterface, "Hang", nullptr);
    BusMessage reply;

    ASSERT_TRUE(WaitUntil([&] { return caller.ReplyTo(answered, &reply) && service.Calls().size() == 2; }));
    EXPECT_EQ(reply.text, "heard question");
    EXPECT_FALSE(caller.ReplyTo(unanswered));
    EXPECT_EQ(caller.OwnerOf("test.service"), service.UniqueName());
    EXPECT_EQ(caller.OwnerOf("test.nobody"), "");
}

TEST(PrivateBus, BreaksConnectionsAndRestartsAtTheSameAddress)
{
    const std::string address = TheBus().Address();
    const BusPeer before;

    TheBus().Kill();
    EXPECT_TRUE(WaitUntil([&] { return before.IsClosed(); }));
    EXPECT_THROW(BusPeer(), std::runtime_error);
    TheBus().Restart();

    EXPECT_EQ(TheBus().Address(), address);
    EXPECT_FALSE(BusPeer().IsClosed());
    EXPECT_TRUE(before.IsClosed());
}

TEST(PrivateBus, LeavesNothingBehind)
{
    const std::string address = TheBus().Address();
    std::string directory;
    pid_t pid = 0;
    {
        const PrivateBus bus;
        directory = bus.Directory();
        pid = bus.Pid();
        EXPECT_TRUE(std::filesystem::exists(directory));
    }

    EXPECT_FALSE(std::filesystem::exists(directory));
    EXPECT_EQ(kill(pid, 0), -1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
}

TEST(PrivateBus, HasThePolicyOfItsCaller)
{
    const std::string address = TheBus().Address();
    {
        const PrivateBus closed(
            "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/></policy>");

        EXPECT_EQ(BusPeer(closed.Address()).RequestName("test.service"), 0U);
    }
    EXPECT_EQ(BusPeer(address).RequestName("test.service"), 1U);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
}

TEST(RunUntil, ReturnsAtItsDeadline)
{
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_FALSE(RunUntil([] { return false; }, std::chrono::milliseconds(50)));

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

}  // namespace
