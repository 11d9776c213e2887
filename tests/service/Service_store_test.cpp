// SPDX-License-Identifier: Apache-2.0
//
// The service while its settings store fails: what is stored stays, and what is to be stored is stored in the end.
#include "Intruder.h"
#include "ServiceTest.h"
#include "UnknownDevices.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

constexpr const char* kUnknown = SRCWATCH_UNKNOWN_DEVICES_KEY;

// The stored text with a device on a port.
std::string UnknownWith(int port)
{
    srcwatch::Capture capture;
    capture.cec = "4f:87:00:1a:2b\n";
    srcwatch::UnknownDevices devices("");
    EXPECT_TRUE(devices.Add(port, capture));
    return devices.Text();
}

std::string DurableDatabase() { return std::string(srcwatch_host_state_dir()) + "/settings.db"; }

/// Keeps all others from opening the database.
class Closed {
public:
    Closed() : m_fd(open((DurableDatabase() + ".lock").c_str(), O_RDONLY | O_CLOEXEC))
    {
        EXPECT_EQ(flock(m_fd, LOCK_EX), 0);
    }
    ~Closed() { close(m_fd); }
    Closed(const Closed&) = delete;
    Closed& operator=(const Closed&) = delete;

private:
    int m_fd;
};

/// Keeps all others from writing to the database.
class ReadOnly {
public:
    ReadOnly() { EXPECT_TRUE(m_intruder.Run("BEGIN IMMEDIATE")); }

private:
    Intruder m_intruder{DurableDatabase()};
};

class ServiceStore : public Service {
protected:
    bool WaitForLog(const std::string& text)
    {
        return RunUntil([&] { return LogLinesWith(text) > 0; });
    }
    void PlugWhileNothingCanBeSaved()
    {
        LinkCapture("hdmi2", "darvex-dvd");
        ASSERT_TRUE(WaitForLog("saving the HDMI records failed"));
        ASSERT_TRUE(WaitForLog("saving the statistics failed"));
    }
};

TEST_F(ServiceStore, IsNotTakenForEmptyAtTheStart)
{
    vconf_set_str(kActivity.c_str(), R"({"activity":[{"DenyCount":2},{"DenyCount":1}]})");
    vconf_set_str(kStatistics.c_str(), R"({"Auto":[{"port":3,"pri":1,"t":7}]})");
    auto closed = std::make_unique<Closed>();

    m_service = LaunchService();
    ASSERT_TRUE(WaitForLog("database is locked"));
    EXPECT_EQ(LogLinesWith("serving"), 0);
    closed.reset();

    ASSERT_TRUE(WaitUntilServing()) << m_service->Errors();
    Plug("hdmi1", "tivaro-one");
    EXPECT_EQ(StoredRecord(0)["DenyCount"].asInt(), 2);
    EXPECT_EQ(StoredRecord(1)["DenyCount"].asInt(), 1);
    EXPECT_NE(TextSetting(kStatistics).value_or("").find("\"t\" : 7"), std::string::npos);
}

TEST_F(ServiceStore, EndsTheServiceIfItStaysUnreadable)
{
    const std::string stored = R"({"activity":[{"DenyCount":2}]})";
    vconf_set_str(kActivity.c_str(), stored.c_str());
    auto closed = std::make_unique<Closed>();

    m_service = LaunchService();

    ASSERT_TRUE(RunUntil([&] { return m_service->Result().has_value(); }));
    EXPECT_EQ(m_service->Result(), 1);
    EXPECT_NE(m_service->Errors().find("the settings store cannot be watched"), std::string::npos);
    closed.reset();
    EXPECT_EQ(TextSetting(kActivity), stored);
}

TEST_F(ServiceStore, GetsLaterWhatItCannotTakeNow)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    auto readOnly = std::make_unique<ReadOnly>();
    PlugWhileNothingCanBeSaved();
    EXPECT_GT(LogLinesWith("database is locked: process " + std::to_string(getpid())), 0);
    EXPECT_EQ(CountOf(kDetected), 1U);
    // Besides the records and the statistics, the device that no profile matches; all else is in the other database.
    EXPECT_TRUE(RunUntil([] { return Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"].asInt() == 3; }));
    EXPECT_GT(LogLinesWith("unknown devices failed"), 0);

    readOnly.reset();

    ASSERT_TRUE(WaitForEvents(kDetected, 2));
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_TRUE(RunUntil([] { return Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"].asInt() == 0; }));
    EXPECT_EQ(LogLinesWith("saving the HDMI records failed"), 1);
}

TEST_F(ServiceStore, GetsLaterAllUnknownDevices)
{
    const auto ports = [] {
        const srcwatch::UnknownDevices devices(TextSetting(kUnknown).value_or(""));
        std::vector<int> list;
        for (const srcwatch::UnknownDevice& device : devices.All()) list.push_back(device.port);
        return list;
    };
    vconf_set_str(kUnknown, UnknownWith(3).c_str());
    StartService();
    auto readOnly = std::make_unique<ReadOnly>();
    PlugWhileNothingCanBeSaved();
    LinkCapture("hdmi1", "tivaro-one");
    ASSERT_TRUE(WaitForLog("hdmi1: type"));
    EXPECT_EQ(ports(), std::vector<int>{3});

    readOnly.reset();

    EXPECT_TRUE(RunUntil([&] { return ports() == std::vector<int>({3, 1, 0}); }));
}

TEST_F(ServiceStore, KeepsAsideUnknownDevicesThatItCannotRead)
{
    vconf_set_str(kUnknown, R"({"devices":[{"port":"four"}]})");
    StartService();

    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(TextSetting(std::string(kUnknown) + ".unreadable"), R"({"devices":[{"port":"four"}]})");
    EXPECT_EQ(LogLinesWith(std::string(kUnknown) + " is unreadable"), 1);
    EXPECT_EQ(srcwatch::UnknownDevices(TextSetting(kUnknown).value_or("")).All().size(), 1U);
}

TEST_F(ServiceStore, RefusesRequestsThatItCannotTake)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value before = StoredRecord(0);
    auto readOnly = std::make_unique<ReadOnly>();

    EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, 0)["error"], "the record cannot be saved");
    EXPECT_EQ(Call(SRCWATCH_REQUEST_FORGET, 0)["error"], "the record cannot be saved");
    readOnly.reset();

    EXPECT_TRUE(RunUntil([] { return Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"].asInt() == 0; }));
    EXPECT_EQ(StoredRecord(0), before);
    EXPECT_EQ(Call(SRCWATCH_REQUEST_DENY, 0)["record"]["DenyCount"].asInt(), 1);
}

TEST_F(ServiceStore, IsReportedIfItFailsUntilTheEnd)
{
    StartService();
    const ReadOnly readOnly;
    PlugWhileNothingCanBeSaved();

    m_service->Signal(SIGTERM);

    EXPECT_EQ(m_service->Wait(), 1);
    EXPECT_NE(m_service->Errors().find("not everything could be saved"), std::string::npos);
}

// The service may put a file in just then.
void RemoveDirectory()
{
    const std::string directory = srcwatch_host_state_dir();
    std::error_code error;
    do {
        std::filesystem::remove_all(directory, error);
    } while (error);
}

struct Loss {
    const char* name;
    void (*inflict)();
};

const Loss kLosses[] = {
    {"OfTheDirectory", RemoveDirectory},
    {"OfTheDatabase", [] { std::filesystem::remove(DurableDatabase()); }},
    {"OfTheWholeContent",
     [] {
         for (const char* suffix : {"", "-wal"}) {
             std::ofstream file(DurableDatabase() + suffix);
             file << std::string(100000, 'x');
         }
     }},
    {"OfTheVolatileDatabase", [] { std::filesystem::remove(std::string(srcwatch_host_run_dir()) + "/volatile.db"); }},
};

class LossOfTheStore : public ServiceStore, public testing::WithParamInterface<Loss> {};

INSTANTIATE_TEST_SUITE_P(Case, LossOfTheStore, testing::ValuesIn(kLosses),
                         [](const auto& loss) { return loss.param.name; });

// Also what the service has only read so far.
TEST_P(LossOfTheStore, IsMadeGoodByTheService)
{
    vconf_set_str(kActivity.c_str(), R"({"activity":[{},{},{"DenyCount":3}]})");
    vconf_set_str(kStatistics.c_str(), R"({"Auto":[{"port":3,"pri":1,"t":7}]})");
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value record = StoredRecord(0);
    const std::string statistics = TextSetting(kStatistics).value_or("");

    GetParam().inflict();

    EXPECT_TRUE(RunUntil([&] { return StoredRecord(0) == record; })) << m_service->Errors();
    EXPECT_EQ(StoredRecord(2)["DenyCount"].asInt(), 3);
    EXPECT_TRUE(RunUntil([&] { return TextSetting(kStatistics) == statistics; }));
    EXPECT_TRUE(RunUntil([] { return srcwatch_is_MVPD_enable(); }));
    EXPECT_TRUE(RunUntil([] { return !srcwatch_is_no_device(); }));
}

TEST_P(LossOfTheStore, IsMadeGoodBeforeAnythingIsDetected)
{
    vconf_set_str(kStatistics.c_str(), R"({"Auto":[{"port":3,"pri":1,"t":7}]})");
    const std::string unknown = UnknownWith(3);
    vconf_set_str(kUnknown, unknown.c_str());
    StartService();
    const std::string statistics = TextSetting(kStatistics).value_or("");

    GetParam().inflict();

    EXPECT_TRUE(RunUntil([&] { return TextSetting(kUnknown) == unknown; })) << m_service->Errors();
    EXPECT_TRUE(RunUntil([&] { return TextSetting(kStatistics) == statistics; }));
}

TEST_P(LossOfTheStore, BringsBackNoUnknownDeviceThatWasCleared)
{
    vconf_set_str(kUnknown, UnknownWith(3).c_str());
    StartService();
    const std::string cleared = srcwatch::UnknownDevices("").Text();
    vconf_set_str(kUnknown, cleared.c_str());
    vconf_set_str(kActivity.c_str(), R"({"activity":[{},{},{"DenyCount":3}]})");
    ASSERT_TRUE(WaitForLog("they are taken over"));  // what was written before has been heard, too

    GetParam().inflict();

    ASSERT_TRUE(RunUntil([] {
        static_cast<void>(TextSetting(kUnknown));  // whoever reads it next notices the loss
        return LogLinesWith("what this service knows is written again") > 0;
    }));
    static_cast<void>(Call(SRCWATCH_REQUEST_STATUS, 0));  // it has been written then
    EXPECT_EQ(TextSetting(kUnknown), cleared);
}

TEST_F(ServiceStore, IsCopiedAtTheEnd)
{
    StartService();
    Plug("hdmi1", "tivaro-one");
    const Json::Value record = StoredRecord(0);

    m_service->Signal(SIGTERM);
    EXPECT_EQ(m_service->Wait(), 0);

    std::filesystem::remove(DurableDatabase());
    ASSERT_EQ(srcwatch_host_restore_settings(srcwatch_host_copy_path()), 0);
    EXPECT_EQ(StoredRecord(0), record);
}

}  // namespace
}  // namespace srcwatch_test
