// SPDX-License-Identifier: Apache-2.0
//
// System calls on one file of the service fail for a moment: what cannot be read is neither absent nor another.
#include "FaultyCalls.h"
#include "Frames.h"
#include "ServiceTest.h"
#include "SupervisedTest.h"
#include "srcwatch-protocol.h"

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

constexpr int kLong = 60000;  // milliseconds

class ServiceFaults : public Service {
protected:
    /// Starts the service, whose calls on some files may be made to fail.
    void StartWith(FaultyCalls& calls)
    {
        m_service = LaunchService({"--quiet-ms", "20"}, calls.Environment());
        ASSERT_TRUE(WaitUntilServing()) << m_service->Errors();
    }
    void WriteSpd(const std::string& directory, const std::string& product) const
    {
        WriteFile(directory + "/.spd", SpdFrame("ACME", product, 8));
        std::filesystem::rename(directory + "/.spd", directory + "/spd.bin");
    }
    void PlugProduct(const std::string& product) const
    {
        std::filesystem::create_directory(InputPath(".new"));
        WriteSpd(InputPath(".new"), product);
        std::filesystem::rename(InputPath(".new"), InputPath("hdmi1"));
    }
    std::vector<std::string> Products() const
    {
        std::vector<std::string> products;
        for (const Event& event : EventsOf(kDetected)) products.push_back(event.texts[0]);
        return products;
    }

    const std::string m_spd = InputPath("hdmi1") + "/spd.bin";
};

TEST_F(ServiceFaults, OfAnInputThatAppearsAreWaitedOut)
{
    FaultyCalls calls(HomePath("control"), InputPath("hdmi1"));
    StartWith(calls);
    calls.Fail(EIO, 1, 3);

    PlugProduct("One");

    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    EXPECT_EQ(Products(), std::vector<std::string>{"One"});
    EXPECT_EQ(calls.Failed(), 3);
    EXPECT_EQ(LogLinesWith("hdmi1: cannot be examined: Input/output error"), 1);
}

TEST_F(ServiceFaults, OfAPluggedInputDoNotUnplugIt)
{
    FaultyCalls calls(HomePath("control"), InputPath("hdmi1"));
    StartWith(calls);
    PlugProduct("One");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    calls.Fail(EIO, 2, 1);
    std::filesystem::last_write_time(InputPath("hdmi1"), std::filesystem::file_time_type::clock::now());
    ASSERT_TRUE(RunUntil([&] { return calls.Failed() == 1; }));
    calls.Stop();
    WriteSpd(InputPath("hdmi1"), "Two");

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(CountOf(kConnection), 1U);
}

TEST_F(ServiceFaults, OfTheFilesOfANewDeviceAreWaitedOut)
{
    FaultyCalls calls(HomePath("control"), m_spd);
    StartWith(calls);
    calls.Fail(EIO, 1, 2);

    PlugProduct("One");

    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    EXPECT_EQ(Products(), std::vector<std::string>{"One"});
    EXPECT_EQ(LogLinesWith("hdmi1/spd.bin: refused: cannot be opened: Input/output error"), 1);
}

TEST_F(ServiceFaults, OfTheFilesOfAKnownDeviceKeepItsRecord)
{
    FaultyCalls calls(HomePath("control"), m_spd);
    StartWith(calls);
    PlugProduct("One");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    calls.Fail(EIO, 1, 0, kLong);
    WriteSpd(InputPath("hdmi1"), "Two");
    ASSERT_TRUE(RunUntil([&] { return calls.Failed() == 5; }));
    EXPECT_EQ(StoredRecord(0)["ModelName"], "One");
    calls.Stop();

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(Products(), (std::vector<std::string>{"One", "Two"}));
}

TEST_F(ServiceFaults, ThatLastLeaveAFileOfADeviceOut)
{
    FaultyCalls calls(HomePath("control"), m_spd);
    StartWith(calls);
    calls.Fail(EIO, 1, 0, kLong);

    PlugProduct("One");

    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_NOT_SUPPORTED);
    ASSERT_TRUE(RunUntil([&, before = calls.Failed()] { return calls.Failed() == before + 2; }));
    EXPECT_EQ(LogLinesWith("hdmi1/spd.bin: refused"), 1);
    calls.Stop();
    EXPECT_TRUE(RunUntil([] { return StoredRecord(0)["ModelName"] == "One"; }));
}

TEST_F(ServiceFaults, OfWatchingADeviceAreRepaired)
{
    FaultyCalls calls(HomePath("control"), InputPath("hdmi1"));
    StartWith(calls);
    calls.Fail(ENOSPC, 1, 2);
    PlugProduct("One");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    ASSERT_TRUE(RunUntil([&] { return calls.Calls() == 3; }));

    WriteSpd(InputPath("hdmi1"), "Two");

    EXPECT_TRUE(RunUntil([] { return StoredRecord(0)["ModelName"] == "Two"; }));
    EXPECT_EQ(LogLinesWith("hdmi1: cannot watch for changes"), 1);
}

// An error means that nothing has changed, and anything else that the change is stored, wherever the faults are.
TEST_F(ServiceFaults, OfTheStoreDoNotMakeAnswersWrong)
{
    FaultyCalls calls(HomePath("control"), HomePath("state"), HomePath("state"));
    StartWith(calls);
    PlugProduct("One");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));

    int denied = 0;
    for (int first = 1; first <= 40; ++first) {
        calls.Fail(ENOMEM, first, 9);
        if (!Call(SRCWATCH_REQUEST_DENY, 0).isMember("error")) ++denied;
        calls.Stop();
        ASSERT_TRUE(RunUntil([] { return Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"] == 0; }));
        ASSERT_EQ(StoredRecord(0)["DenyCount"].asInt(), denied) << "from call " << first;
    }
    EXPECT_GT(denied, 0);
    EXPECT_LT(denied, 40);
}

// A caller gives up after five seconds, and what it has given up must not be done later.
TEST_F(ServiceFaults, OfLocksAreAnsweredInTime)
{
    FaultyCalls calls(HomePath("control"), HomePath("state") + ":" + HomePath("run"));
    StartWith(calls);
    PlugProduct("One");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    calls.Fail(ENOLCK, 1, 0, kLong);
    WriteSpd(InputPath("hdmi1"), "Two");
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("cannot read") + LogLinesWith("cannot write") > 0; }));

    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Call(SRCWATCH_REQUEST_STATUS, 0)["plugged"].size(), 1U);
        EXPECT_TRUE(Call(SRCWATCH_REQUEST_RECORD, 0).isMember("error"));
        EXPECT_TRUE(Call(SRCWATCH_REQUEST_DENY, 0).isMember("error"));
        EXPECT_TRUE(Call(SRCWATCH_REQUEST_FORGET, 0).isMember("error"));
    }
    calls.Stop();

    EXPECT_TRUE(RunUntil([] { return StoredRecord(0)["ModelName"] == "Two"; }));
    EXPECT_EQ(StoredRecord(0)["DenyCount"].asInt(), 0);
}

TEST_F(ServiceFaults, OfTheProfilesAreWaitedOut)
{
    FaultyCalls calls(HomePath("control"), SRCWATCH_PROFILES_FILE);
    calls.Fail(EIO, 1, 5);
    StartWith(calls);

    EXPECT_EQ(LogLinesWith("profiles.json: cannot be opened: Input/output error"), 1);
    EXPECT_EQ(LogLinesWith(" 0 profile(s) loaded"), 1);
    EXPECT_EQ(LogLinesWith(" 6 profile(s) loaded"), 1);
}

TEST_F(ServiceFaults, OfTheProfilesThatLastAreRepairedLater)
{
    FaultyCalls calls(HomePath("control"), SRCWATCH_PROFILES_FILE);
    calls.Fail(EIO, 1, 0, kLong);
    StartWith(calls);
    LinkCapture("hdmi1", "kestelle-k2");
    ASSERT_TRUE(WaitForEvents(kDetected, 1));
    EXPECT_NE(StoredRecord(0)["BName"], "Kestelle");

    calls.Stop();

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(StoredRecord(0)["BName"], "Kestelle");
}

TEST_F(ServiceFaults, OfTheConfigurationAreWaitedOut)
{
    FaultyCalls calls(HomePath("control"), HomePath("platform.conf"));
    calls.Fail(EIO, 1, 5);
    StartWith(calls);
    EXPECT_EQ(LogLinesWith("serving 4 HDMI input(s)"), 1);
}

TEST_F(ServiceFaults, OfTheConfigurationThatLastEndTheService)
{
    FaultyCalls calls(HomePath("control"), HomePath("platform.conf"));
    calls.Fail(EIO, 1, 0, kLong);
    m_service = LaunchService({}, calls.Environment());

    EXPECT_EQ(m_service->Wait(kDeadline), 1);
    EXPECT_NE(m_service->Errors().find("the number of inputs cannot be read"), std::string::npos);
}

class SupervisedFaults : public SupervisedTest {};

// Its other threads go on, as that of the bus.
TEST_F(SupervisedFaults, ThatHangTheMainLoopEndInARestart)
{
    FaultyCalls calls(HomePath("control"), InputPath("hdmi1"));
    ASSERT_NO_FATAL_FAILURE(Supervise(std::chrono::seconds(4), {}, calls.Environment()));
    Plug("hdmi2", "tivaro-one");
    calls.Fail(kHang, 1, 1);

    LinkCapture("hdmi1", "darvex-dvd");
    ASSERT_TRUE(RunUntilSupervised([this] { return m_restarts == 1; }));

    EXPECT_TRUE(RunUntilSupervised([this] { return CountOf(kDetected) == 2; }));
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_EQ(m_restarts, 1);
}

}  // namespace
}  // namespace srcwatch_test

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, 4); }
