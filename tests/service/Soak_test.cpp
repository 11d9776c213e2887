// SPDX-License-Identifier: Apache-2.0
//
// A thousand devices come and go on eight inputs: each is announced once, and nothing grows.
#include "Frames.h"
#include "QDInfoNames.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

constexpr int kCycles = 1000;
constexpr int kWarmUpCycles = 200;
constexpr int kPorts = 8;
// The allocator's own ups and downs; a leak of 100 bytes for each of the 800 cycles would already be more. Sanitizers
// keep freed memory on purpose, and find leaks themselves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kTolerableGrowthKiB = 512L * 1024;
#else
constexpr long kTolerableGrowthKiB = 64;
#endif
// The process of an emulated program is the emulator, which keeps its translations of the code that ran.
constexpr long kTolerableGrowthOfEmulatorKiB = 4L * 1024;

long TolerableGrowthKiB(pid_t process)
{
    const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe").filename();
    return program.string().rfind("qemu-", 0) == 0 ? kTolerableGrowthOfEmulatorKiB : kTolerableGrowthKiB;
}

class Soak : public ServiceTest {
protected:
    Soak()
        : m_watch(srcwatch_host_watch_setting(
              qdinfo::kSourceActivityKey,
              [](const char*, const srcwatch_host_value*, void* self) { ++static_cast<Soak*>(self)->m_writes; }, this))
    {
    }
    ~Soak() override { srcwatch_host_unwatch_setting(m_watch); }

    static std::string InputOf(int cycle) { return "hdmi" + std::to_string(cycle % kPorts + 1); }

    // One device comes to an input and one goes from the next, so that most inputs are occupied at any time. Each comes
    // and goes at once, because the quiet time is too short here for a directory that is filled or emptied bit by bit.
    void RunCycle(int cycle)
    {
        std::filesystem::create_directory(InputPath("." + InputOf(cycle)));
        WriteFile(InputPath("." + InputOf(cycle)) + "/spd.bin", SpdFrame("ACME", "Box " + std::to_string(cycle), 8));
        std::filesystem::rename(InputPath("." + InputOf(cycle)), InputPath(InputOf(cycle)));
        ++m_plugged;
        ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_DETECTED, m_plugged)) << cycle;
        const std::string next = InputPath(InputOf(cycle + 1));
        if (!std::filesystem::exists(next)) return;
        std::filesystem::rename(next, InputPath(".gone"));
        std::filesystem::remove_all(InputPath(".gone"));
        ++m_unplugged;
        ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_CONNECTION, m_plugged + m_unplugged)) << cycle;
    }

    std::size_t m_plugged = 0;
    std::size_t m_unplugged = 0;
    std::size_t m_writes = 0;

private:
    unsigned m_watch;
};

TEST_F(Soak, AnnouncesEachOfAThousandChangesOnce)
{
    StartService({"--quiet-ms", "1"});
    Footprint before;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        if (cycle == kWarmUpCycles) before = Measure(m_service->Id());
        RunCycle(cycle);
        if (HasFatalFailure()) return;
    }
    RunFor(std::chrono::milliseconds(300));  // for what might be announced twice
    const Footprint after = Measure(m_service->Id());

    EXPECT_EQ(CountOf(SRCWATCH_EVENT_DETECTED), m_plugged);
    EXPECT_EQ(CountOf(SRCWATCH_EVENT_CONNECTION), m_plugged + m_unplugged);
    EXPECT_LE(Saves(), m_plugged + m_unplugged);
    EXPECT_LE(m_writes, m_plugged + m_unplugged);
    for (int port = 0; port < kPorts; ++port) {
        const bool plugged = std::filesystem::exists(InputPath("hdmi" + std::to_string(port + 1)));
        EXPECT_EQ(StoredRecord(port)["DevType"].asInt(), plugged ? SRCWATCH_DEVICE_GAME_CONSOLE : 0) << port;
    }
    const std::string last = "Box " + std::to_string(kCycles - 1);
    EXPECT_EQ(StoredRecord((kCycles - 1) % kPorts)["ModelName"].asString(), last);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.anonymousKiB, before.anonymousKiB + TolerableGrowthKiB(m_service->Id()));
    RecordProperty("rss_anon_kib_before", static_cast<int>(before.anonymousKiB));
    RecordProperty("rss_anon_kib_after", static_cast<int>(after.anonymousKiB));
}

TEST_F(Soak, EndsInTheLastStateAfterABurstOfChanges)
{
    StartService({"--quiet-ms", "20"});

    for (int i = 0; i < 200; ++i) {
        std::filesystem::create_directory(InputPath("hdmi1"));
        std::filesystem::remove(InputPath("hdmi1"));
    }
    LinkCapture("hdmi2", "darvex-dvd");
    std::filesystem::create_directory(InputPath("hdmi1"));
    WriteFile(InputPath("hdmi1") + "/spd.bin", SpdFrame("ACME", "Last", 8));
    ASSERT_TRUE(RunUntil([] { return StoredRecord(0)["ModelName"].asString() == "Last"; }));
    RunFor(std::chrono::milliseconds(200));

    const std::vector<Event> events = EventsOf(SRCWATCH_EVENT_CONNECTION);
    int expected = 1;
    for (const Event& event : events) {
        if (event.args[0] != 0) continue;
        EXPECT_EQ(event.args[1], expected);  // plugged and unplugged take turns
        expected = 1 - expected;
    }
    EXPECT_EQ(expected, 0);  // the last one was plugged
}

}  // namespace
}  // namespace srcwatch_test

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, 8); }
