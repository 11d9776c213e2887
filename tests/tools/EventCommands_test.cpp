// SPDX-License-Identifier: Apache-2.0
//
// monitor, wait, call.
#include "BusOnlyService.h"
#include "ToolTest.h"

#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class EventCommands : public ToolTest {
protected:
    // Events that are sent before a listener listens are lost, so they are sent until the output has them.
    static bool SendUntil(const Program& listener, const std::string& text, const std::function<void()>& send)
    {
        int turns = 0;
        return RunUntil([&] {
            if (turns++ % 20 == 0) send();
            return listener.Output().find(text) != std::string::npos;
        });
    }
};

TEST_F(EventCommands, MonitorsEventsInOneLineEach)
{
    const auto monitor = Start({"monitor"});

    EXPECT_TRUE(SendUntil(*monitor, "scan-progress", [] { BusOnlyService::Send(4098, {45, 1}); }));
    BusOnlyService::Send(10, {2, 1});
    BusOnlyService::Send(4097, {0, 1, 1}, {"Box one", "", "Pro"});
    BusOnlyService::Send(4099, {-3, 0});
    BusOnlyService::Send(4104, {});
    EXPECT_TRUE(monitor->WaitForOutput("records-saved"));

    EXPECT_THAT(monitor->Output(), testing::ContainsRegex("[0-9:]+\\.[0-9]+  scan-progress  45 %  port 1\n"));
    EXPECT_THAT(monitor->Output(), HasSubstr("  connection  port 2  plugged\n"));
    EXPECT_THAT(monitor->Output(), HasSubstr("  detected  port 0  type 1 (set-top box)  changed  device \"Box one\"  "
                                             "brand \"\"  provider \"Pro\"\n"));
    EXPECT_THAT(monitor->Output(), HasSubstr("  scan-finished  result -3  0 device(s) found\n"));
}

TEST_F(EventCommands, MonitorEndsCleanlyWhenInterrupted)
{
    const auto monitor = Start({"monitor", "-o", "json"});
    EXPECT_TRUE(SendUntil(*monitor, "4098", [] { BusOnlyService::Send(4098, {1, 1}); }));

    monitor->Signal(SIGINT);

    const Outcome outcome = monitor->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_TRUE(Matches("monitor", outcome.out));
}

TEST_F(EventCommands, MonitorEndsAfterACount)
{
    const auto monitor = Start({"monitor", "--count", "2", "-o", "json"});
    EXPECT_TRUE(SendUntil(*monitor, "\n]", [] { BusOnlyService::Send(4097, {1, 9, 0}, {"A b", "C", ""}); }));

    const Outcome outcome = monitor->Wait();

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_TRUE(Matches("monitor", outcome.out));
    const Json::Value events = Parse(outcome.out);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0]["name"], "detected");
    EXPECT_EQ(events[0]["args"][1], 9);
    EXPECT_EQ(events[0]["texts"][0], "A b");
    EXPECT_EQ(events[0]["port"], 1);
    EXPECT_EQ(events[0]["device_type"], 9);
    EXPECT_EQ(events[0]["type_name"], "PC");
    EXPECT_EQ(events[0]["changed"], false);
    EXPECT_EQ(events[0]["device"], "A b");
    EXPECT_EQ(events[0]["brand"], "C");
    EXPECT_EQ(events[0]["provider"], "");
}

TEST_F(EventCommands, MonitorShowsOnlyTheEventsOfAPort)
{
    const auto monitor = Start({"monitor", "--port", "hdmi3", "-o", "jsonl"});
    EXPECT_TRUE(SendUntil(*monitor, "connection", [] {
        BusOnlyService::Send(10, {1, 1});
        BusOnlyService::Send(4104, {});
        BusOnlyService::Send(10, {2, 1});
    }));

    EXPECT_THAT(monitor->Output(), testing::Not(HasSubstr("records-saved")));
    EXPECT_THAT(monitor->Output(), testing::Not(HasSubstr("\"port\":1")));
}

TEST_F(EventCommands, TypesMayBeHexadecimal)
{
    const auto monitor = Start({"monitor", "--type", "0x1001", "--count", "1"});
    EXPECT_TRUE(SendUntil(*monitor, "detected", [] { BusOnlyService::Send(4097, {1, 9, 0}); }));
    EXPECT_EQ(monitor->Wait().code, 0);

    for (const char* const type : {"0x", "0xg", "1001h", "0x100000000"}) {
        EXPECT_TRUE(Fails(Run({"monitor", "--type", type}), 2, "is not an event type")) << type;
    }
}

TEST_F(EventCommands, MonitorDecodesOtherEventsAsJson)
{
    const auto monitor = Start({"monitor", "-o", "jsonl"});
    EXPECT_TRUE(SendUntil(*monitor, "scan-progress", [] { BusOnlyService::Send(4098, {45, 1}); }));
    BusOnlyService::Send(10, {2, 1});
    BusOnlyService::Send(4099, {-3, 5});
    BusOnlyService::Send(4104, {});
    EXPECT_TRUE(monitor->WaitForOutput("records-saved"));

    std::map<std::string, Json::Value> events;
    std::istringstream lines(monitor->Output());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(Matches("event", line));
        events[Parse(line)["name"].asString()] = Parse(line);
    }
    EXPECT_EQ(events["scan-progress"]["percent"], 45);
    EXPECT_EQ(events["scan-progress"]["port"], 1);
    EXPECT_EQ(events["connection"]["port"], 2);
    EXPECT_EQ(events["connection"]["connected"], true);
    EXPECT_EQ(events["scan-finished"]["result"], -3);
    EXPECT_EQ(events["scan-finished"]["found"], 5);
    EXPECT_EQ(events["records-saved"].size(), 5U);
}

TEST_F(EventCommands, MonitorShowsOnlyTheTypesAskedFor)
{
    const auto monitor = Start({"monitor", "--type", "777", "--type", "connection", "-o", "jsonl"});

    EXPECT_TRUE(SendUntil(*monitor, "777", [] {
        BusOnlyService::Send(4098, {1, 1});
        BusOnlyService::Send(777, {5});
    }));
    BusOnlyService::Send(10, {1, 0});
    EXPECT_TRUE(monitor->WaitForOutput("connection"));

    EXPECT_THAT(monitor->Output(), Not(HasSubstr("4098")));
    EXPECT_TRUE(Matches("event", monitor->Output().substr(0, monitor->Output().find('\n'))));
}

TEST_F(EventCommands, MonitorEscapesTextOfDevices)
{
    const auto monitor = Start({"monitor", "--count", "1"});

    EXPECT_TRUE(SendUntil(*monitor, "\n", [] { BusOnlyService::Send(4097, {0, 9, 1}, {"\x1b[2J\u202e", "", ""}); }));

    EXPECT_THAT(monitor->Output(), HasSubstr("\"\\x1b[2J\\u{202e}\""));
}

TEST_F(EventCommands, MonitorTimesOut)
{
    const Outcome outcome = Run({"monitor", "--timeout", "0.1", "-o", "json"});

    EXPECT_TRUE(Fails(outcome, 3, "time is up"));
    EXPECT_EQ(Parse(outcome.out).size(), 0U);
}

TEST_F(EventCommands, MonitorRefusesWrongUsage)
{
    EXPECT_TRUE(Fails(Run({"monitor", "--type", "nonsense"}), 2, "'nonsense' is not an event type"));
    EXPECT_TRUE(Fails(Run({"monitor", "--count", "0"}), 2, "--count"));
    EXPECT_TRUE(Fails(Run({"monitor", "--count", "x"}), 2, "--count"));
    EXPECT_TRUE(Fails(Run({"monitor", "--timeout", "-1"}), 2, "--timeout"));
    EXPECT_TRUE(Fails(Run({"monitor", "--timeout", "nan"}), 2, "--timeout"));
    EXPECT_TRUE(Fails(Run({"monitor", "--timeout", "1e300"}), 2, "--timeout"));
}

TEST_F(EventCommands, MonitorFailsWithoutABus)
{
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + Path("no-bus"));

    EXPECT_TRUE(Fails(Run({"monitor"}), 1, "cannot reach the system bus"));
}

TEST_F(EventCommands, MonitorFailsWhenTheBusDies)
{
    const std::string address = TheBus().Address();
    PrivateBus bus;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);  // that of the new bus is for the tool only
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", bus.Address());
    const auto monitor = Start({"monitor", "--type", "5"});
    BusPeer peer(bus.Address());
    EXPECT_TRUE(SendUntil(*monitor, "  5  ", [&] {
        peer.Emit("/org/nalto/tv/qdinfo", "org.nalto.tv.qdinfo", "qdinfo", g_variant_new("(is)", 5, "1\t"));
    }));

    bus.Kill();

    EXPECT_TRUE(Fails(monitor->Wait(), 1, "the connection to the system bus is lost"));
}

TEST_F(EventCommands, WaitEndsAtOnceWhenTheDeviceIsThere)
{
    StoreRecord(1, Parse(R"({"DevType":3})"));

    EXPECT_EQ(Run({"wait", "--port", "1", "--device-type", "3"}).code, 0);
    EXPECT_EQ(Run({"wait", "--port", "1", "--device-type", "disc-player"}).code, 0);
    EXPECT_EQ(Run({"wait", "--port", "0", "--device-type", "none"}).code, 0);
    EXPECT_EQ(Document({"wait", "--port", "1"}, "wait")["record"]["DevType"], 3);
}

TEST_F(EventCommands, WaitTakesThePortAlsoAsAnArgument)
{
    StoreRecord(1, Parse(R"({"DevType":3})"));

    EXPECT_EQ(Run({"wait", "1"}).out, "HDMI 2 has type 3 (disc player)\n");
    EXPECT_TRUE(Fails(Run({"wait", "0", "--timeout", "0.1"}), 3, "HDMI 1"));
}

TEST_F(EventCommands, WaitEndsWhenTheDeviceIsGone)
{
    StoreRecord(1, Parse(R"({"DevType":9})"));
    EXPECT_TRUE(Fails(Run({"wait", "1", "--gone", "--timeout", "0.1"}), 3, "HDMI 2 is not empty in time"));
    const auto wait = Start({"wait", "1", "--gone"});

    StoreRecord(1, Parse(R"({"DevType":0})"));

    EXPECT_EQ(wait->Wait().out, "HDMI 2 has no device\n");
    EXPECT_TRUE(Fails(Run({"wait", "1", "--gone", "--device-type", "pc"}), 2, "--gone"));
}

TEST_F(EventCommands, WaitEndsWhenTheServiceRuns)
{
    EXPECT_TRUE(Fails(Run({"wait", "--service", "--timeout", "0.1"}), 3, "no detection service in time"));
    const auto wait = Start({"wait", "--service"});

    const BusOnlyService service;

    EXPECT_EQ(wait->Wait().out, "the detection service runs\n");
    EXPECT_EQ(Document({"wait", "--service"}, "wait service")["service"], true);
    EXPECT_TRUE(Fails(Run({"wait", "--service", "1"}), 2, "--service"));
}

TEST_F(EventCommands, WaitEndsWhenTheDeviceComes)
{
    StoreRecord(1, Parse(R"({"DevType":9})"));
    const auto wait = Start({"wait", "--port", "1", "--device-type", "3", "--timeout", "20"});

    StoreRecord(1, Parse(R"({"DevType":5})"));
    StoreRecord(1, Parse(R"({"DevType":3})"));

    const Outcome outcome = wait->Wait();
    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_EQ(outcome.out, "HDMI 2 has type 3 (disc player)\n");
}

TEST_F(EventCommands, WaitTimesOut)
{
    EXPECT_TRUE(Fails(Run({"wait", "--port", "99", "--device-type", "pc", "--timeout", "0.1"}), 3, "PC"));
    EXPECT_TRUE(Fails(Run({"wait", "--port", "0", "--timeout", "0.1"}), 3, "HDMI 1"));
}

TEST_F(EventCommands, WaitFailsWhenInterrupted)
{
    const auto wait = Start({"wait", "--port", "0", "--device-type", "7"});
    // It is ready for signals before it opens the store.
    EXPECT_TRUE(RunUntil([&] { return std::filesystem::exists(Path("state")); }));

    wait->Signal(SIGTERM);

    EXPECT_TRUE(Fails(wait->Wait(), 1, "interrupted"));
}

TEST_F(EventCommands, WaitRefusesWrongUsage)
{
    EXPECT_TRUE(Fails(Run({"wait"}), 2, "a PORT or --service is required"));
    EXPECT_TRUE(Fails(Run({"wait", "0", "--service"}), 2, "a port and --service exclude each other"));
    EXPECT_TRUE(Fails(Run({"wait", "--port", "8"}), 2, "--port"));
    EXPECT_TRUE(Fails(Run({"wait", "--port", "0", "--device-type", "car"}), 2, "'car' is not a device type"));
}

TEST_F(EventCommands, CallPrintsTheReply)
{
    BusOnlyService service;
    service.Answer(0x2002, R"({"port":1})");
    service.Answer(4242, "two words");

    EXPECT_EQ(Run({"call", "record", "1"}).out, "{\"port\":1}\n");
    EXPECT_EQ(Document({"call", "record", "1"}, "call")["reply"]["port"], 1);
    EXPECT_EQ(Run({"call", "4242"}).out, "two words\n");
    EXPECT_EQ(Document({"call", "4242"}, "call")["reply"], "two words");
}

TEST_F(EventCommands, CallSendsAllArguments)
{
    BusOnlyService service;
    service.Answer(4242, "done");

    const Outcome outcome = Run({"call", "4242", "1", "-2", "3", "4", "5", "6", "7", "8", "9", "10", "--text", "a b",
                                 "--text", "c", "--extra", "more words"});

    EXPECT_EQ(outcome.code, 0) << outcome;
    ASSERT_EQ(service.calls.size(), 1U);
    EXPECT_EQ(service.calls[0].event.args[1], -2);
    EXPECT_EQ(service.calls[0].event.args[9], 10);
    EXPECT_STREQ(service.calls[0].event.str_args[0], "a b");
    EXPECT_STREQ(service.calls[0].event.str_args[1], "c");
    EXPECT_EQ(service.calls[0].extra, "more words");
}

TEST_F(EventCommands, CallEscapesTheReply)
{
    BusOnlyService service;
    service.Answer(4242, "\x1b[2J");

    EXPECT_EQ(Run({"call", "4242"}).out, "\\x1b[2J\n");
}

TEST_F(EventCommands, CallFailsWhenTheServiceRefuses)
{
    BusOnlyService service;
    service.Answer(0x2004, R"({"error":"nothing was detected on port 0"})");

    EXPECT_TRUE(Fails(Run({"call", "deny", "0"}), 1, "nothing was detected on port 0"));
}

TEST_F(EventCommands, CallFailsWithoutAService)
{
    EXPECT_TRUE(Fails(Run({"call", "status"}), 4, "no detection service is running"));
}

TEST_F(EventCommands, CallTimesOutWhenTheServiceIsSilent)
{
    BusPeer silent;  // owns the name, answers the properties of the object and nothing else
    silent.AnswerWith([](const BusMessage& call) -> GVariant* {
        return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : nullptr;
    });
    silent.RequestName("org.nalto.tv.qdinfo");

    EXPECT_TRUE(Fails(Run({"call", "status"}), 3, "does not answer in time"));
}

TEST_F(EventCommands, CallRefusesWrongUsage)
{
    EXPECT_TRUE(Fails(Run({"call"}), 2, "REQUEST"));
    EXPECT_TRUE(Fails(Run({"call", "nonsense"}), 2, "'nonsense' is not a request"));
    EXPECT_TRUE(Fails(Run({"call", "1", "x"}), 2, "NUMBER"));
    EXPECT_TRUE(Fails(Run({"call", "1", "99999999999"}), 2, "NUMBER"));

    EXPECT_TRUE(Fails(Run({"call", "1", "--text", std::string(100, 'x')}), 2, "--text"));
    EXPECT_TRUE(Fails(Run({"call", "1", "--text", "a", "--text", "b", "--text", "c", "--text", "d"}), 2, "--text"));
}

}  // namespace
