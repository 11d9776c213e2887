// SPDX-License-Identifier: Apache-2.0
//
// record: what is in a recording, and how one ends.
#include "RecordingTest.h"

#include <bitset>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

using namespace srcwatch_test;
using testing::HasSubstr;
using testing::Not;

class Record : public RecordingTest {
protected:
    std::unique_ptr<Program> StartBusctl(const std::string& options, const std::string& name)
    {
        const std::string script = "exec busctl --address=\"$0\" " + options + " capture >\"$1\"";
        auto busctl = std::make_unique<Program>(Words{"sh", "-c", script, TheBus().Address(), Path(name)},
                                                Environment(), Path("busctl"));
        EXPECT_TRUE(busctl != nullptr);
        return busctl;
    }
};

TEST_F(Record, HasASnapshotAndAllThatFollows)
{
    BusOnlyService service;
    service.Answer(4242, "the reply");
    Set("db/test/before", "here");
    ASSERT_EQ(Run({"plug", "0", "tivaro-one"}).code, 0);
    const auto recorder = StartRecording("r.jsonl");

    Set("memory/test/number", "42", "--int");
    BusOnlyService::Send(4097, {1, 9, 1}, {"Desk 5", "", ""});
    ASSERT_TRUE(WaitForText("r.jsonl", "Desk#5"));
    ASSERT_EQ(Run({"call", "4242", "3"}).code, 0);
    ASSERT_EQ(Run({"settings", "unset", "memory/test/number"}).code, 0);
    ASSERT_EQ(Run({"plug", "1", "quellon-bdq900"}).code, 0);
    ASSERT_TRUE(WaitForText("r.jsonl", "\"input\""));
    ASSERT_EQ(Run({"unplug", "1"}).code, 0);
    ASSERT_TRUE(WaitForText("r.jsonl", "\"capture\":null"));
    const Outcome outcome = End(*recorder);

    EXPECT_EQ(outcome.code, 0) << outcome;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(Faults("r.jsonl"), "");
    const Json::Value snapshot = EntriesOf("r.jsonl")[0];
    EXPECT_EQ(snapshot["settings"]["db/test/before"], "here");
    EXPECT_EQ(snapshot["hdmi_inputs"], 4);
    ASSERT_EQ(snapshot["inputs"].size(), 1U);
    EXPECT_EQ(snapshot["inputs"][0]["port"], 0);
    const Entries settings = OfKind("r.jsonl", "setting");
    ASSERT_EQ(settings.size(), 2U);
    EXPECT_EQ(settings[0]["value"], 42);
    EXPECT_TRUE(settings[1]["value"].isNull());
    const Entries events = OfKind("r.jsonl", "event");
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["type"], 4097);
    EXPECT_EQ(events[0]["message"], "1\t9\t1\t0\t0\t0\t0\t0\t0\t0\tDesk#5\tUNKNOWN\tUNKNOWN\t");
    const Entries calls = OfKind("r.jsonl", "call");
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back()["type"], 4242);
    EXPECT_EQ(OfKind("r.jsonl", "reply").back()["call"], calls.back()["call"]);
    EXPECT_EQ(OfKind("r.jsonl", "reply").back()["reply"], "the reply");
    EXPECT_EQ(OfKind("r.jsonl", "input").size(), 2U);
}

TEST_F(Record, PutsTheTimesInOrder)
{
    const auto recorder = StartRecording("r.jsonl", {"--count", "3"});

    for (const char* const value : {"1", "2", "3", "4"}) Set("db/test/key", value, "--int");
    const Outcome outcome = recorder->Wait();

    EXPECT_THAT(outcome.out, HasSubstr("recorded 4 entries in "));
    const Entries entries = EntriesOf("r.jsonl");
    ASSERT_EQ(entries.size(), 4U);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i]["value"], static_cast<int>(i));
        EXPECT_LE(entries[i - 1]["at"].asDouble(), entries[i]["at"].asDouble());
        EXPECT_LE(entries[i - 1]["time"].asString(), entries[i]["time"].asString());
    }
}

TEST_F(Record, HasTheFilesThatADeviceGetsLater)
{
    const auto recorder = StartRecording("r.jsonl");

    fs::create_directory(Path("inputs/optical"));
    ASSERT_TRUE(WaitForText("r.jsonl", "\"port\":99"));
    WriteFile("inputs/optical/cec.log", "5f:84:00:00:05\n");
    ASSERT_TRUE(WaitForText("r.jsonl", "5f:84:00:00:05"));

    EXPECT_EQ(End(*recorder).code, 0);
    EXPECT_EQ(Faults("r.jsonl"), "");
}

// ---------------------------------------------------------------------------------------------------------------------
// AKSVs

const char* const kAksv = "a5ac1925b7";
const char* const kDecimal = "7070717367";  // a valid AKSV that reads as a number
const char* const kInvalid = "0100000000";
const std::string kBytes = "\xa5\xac\x19\x25\xb7";

class RecordedAksvs : public Record {
protected:
    // An AKSV in every place where one can be.
    void Happen(const std::string& recording, const Words& options = {})
    {
        BusOnlyService service;
        service.Answer(0x2006, std::string(R"({"aksv":")") + kAksv + R"(","cec":"","port":0,"spd":""})");
        StoreRecord(0, Parse(std::string(R"({"AKSV":")") + kAksv + R"(","DevType":1})"));
        fs::create_directory(Path("device"));
        WriteFile("device/aksv.bin", kBytes);
        ASSERT_EQ(Run({"plug", "0", Path("device")}).code, 0);
        const auto recorder = StartRecording(recording, options);
        Set(kOpticalKey, std::string(R"({"activity":{"AKSV":")") + kDecimal + R"("}})");
        Set(kStatisticsKey, std::string(R"({"Auto":[{"aksv" : ")") + kInvalid + R"(","port":0}]})");
        Set("db/srcwatch-service/unknown_devices", std::string(R"({"devices":[{"aksv":")") + kAksv + R"("}]})");
        Set("db/srcwatch-service/source-activity.unreadable", std::string(R"({"activity":[{"AKSV":")") + kAksv);
        Set("db/test/text", "of A5AC1925B7, in capitals, and " + std::string(kDecimal));
        BusOnlyService::Send(4242, {0}, {kAksv, "", ""});
        ASSERT_EQ(Run({"call", "capture", "0", "--text", kAksv}).code, 0);
        ASSERT_EQ(Run({"unplug", "0"}).code, 0);
        ASSERT_TRUE(WaitForText(recording, "\"capture\":null"));
        ASSERT_TRUE(WaitForText(recording, "\"reply\""));
        ASSERT_EQ(End(*recorder).code, 0);
    }

    static std::string AksvIn(const Json::Value& text) { return Parse(text.asString())["aksv"].asString(); }
};

TEST_F(RecordedAksvs, AreHiddenInEveryForm)
{
    Happen("r.jsonl");

    const std::string recording = Content("r.jsonl");
    for (const std::string& form :
         {std::string(kAksv), std::string("A5AC1925B7"), std::string("a5:ac:19:25:b7"), std::string("A5:AC:19:25:B7"),
          kBytes, std::string("pawZJbc="), std::string("61356163313932356237"), std::string(kDecimal),
          std::string(kInvalid)}) {
        EXPECT_THAT(recording, Not(HasSubstr(form)));
    }
    EXPECT_EQ(Faults("r.jsonl"), "");
    EXPECT_EQ(EntriesOf("r.jsonl")[0]["aksvs"], "hashed");
}

TEST_F(RecordedAksvs, StayTheSameForADeviceAndAsValidAsTheyWere)
{
    Happen("r.jsonl");

    const Json::Value snapshot = EntriesOf("r.jsonl")[0];
    const std::string substitute = snapshot["inputs"][0]["capture"]["aksv"].asString();
    EXPECT_EQ(std::bitset<64>(std::stoull(substitute, nullptr, 16)).count(), 20U);
    const Json::Value activity = Parse(snapshot["settings"][kActivityKey].asString());
    EXPECT_EQ(activity["activity"][0]["AKSV"], substitute);
    EXPECT_EQ(AksvIn(OfKind("r.jsonl", "reply").back()["reply"]), substitute);
    EXPECT_THAT(OfKind("r.jsonl", "event")[0]["message"].asString(), HasSubstr(substitute));
    const Entries settings = OfKind("r.jsonl", "setting");
    const Json::Value statistics = Parse(settings[1]["value"].asString());
    EXPECT_NE(std::bitset<64>(std::stoull(statistics["Auto"][0]["aksv"].asString(), nullptr, 16)).count(), 20U);
    EXPECT_THAT(settings[4]["value"].asString(), HasSubstr("of " + substitute + ", in capitals"));
}

TEST_F(RecordedAksvs, AreOthersInAnotherRecording)
{
    Happen("r.jsonl", {"--aksv"});
    ASSERT_EQ(Run({"record", Path("1.jsonl"), "--from", Path("r.jsonl")}).code, 0);
    ASSERT_EQ(Run({"record", Path("2.jsonl"), "--from", Path("r.jsonl")}).code, 0);

    EXPECT_THAT(Content("r.jsonl"), HasSubstr(kAksv));
    EXPECT_EQ(EntriesOf("r.jsonl")[0]["aksvs"], "kept");
    EXPECT_THAT(Content("1.jsonl"), Not(HasSubstr(kAksv)));
    EXPECT_EQ(Faults("1.jsonl"), "");
    EXPECT_NE(EntriesOf("1.jsonl")[0]["inputs"], EntriesOf("2.jsonl")[0]["inputs"]);
}

// ---------------------------------------------------------------------------------------------------------------------
// Ends and refusals

TEST_F(Record, HasEveryEventWhenItIsTerminated)
{
    constexpr int kEvents = 2000;
    const BusOnlyService service;
    const auto recorder = StartRecording("r.jsonl");

    for (int i = 0; i < kEvents; ++i) BusOnlyService::Send(4242, {i});
    ASSERT_TRUE(WaitForText("r.jsonl", "\"message\":\"" + std::to_string(kEvents - 1) + "\\t"));
    recorder->Signal(SIGTERM);

    EXPECT_EQ(recorder->Wait().code, 0);
    const Entries events = OfKind("r.jsonl", "event");
    ASSERT_EQ(events.size(), static_cast<std::size_t>(kEvents));
    for (int i = 0; i < kEvents; ++i) {
        EXPECT_EQ(events[static_cast<std::size_t>(i)]["message"].asString().substr(0, std::to_string(i).size()),
                  std::to_string(i));
    }
}

TEST_F(Record, ReportsADiskThatIsFullAndKeepsWholeLines)
{
    // Of a file's largest size, the shell counts blocks of 512 bytes; the settings need some of them.
    Program recorder(
        {"sh", "-c", "trap '' XFSZ; ulimit -f 2048; exec \"$0\" record \"$1\"", SRCWATCHCTL_PROGRAM, Path("r.jsonl")},
        Environment(), Path("recorder"));
    ASSERT_TRUE(WaitForText("r.jsonl", "\n")) << recorder.Errors();

    for (int i = 0; i < 12; ++i) Set("db/test/key", std::string(100000, 'x'));

    EXPECT_TRUE(Fails(recorder.Wait(), 1, "it ends with the last whole line"));
    EXPECT_EQ(Faults("r.jsonl"), "");
    EXPECT_GE(EntriesOf("r.jsonl").size(), 2U);
}

TEST_F(Record, EndsWhenTheBusDies)
{
    const std::string address = TheBus().Address();
    PrivateBus bus;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);  // that of the new bus is for the tool only
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", bus.Address());
    const auto recorder = StartRecording("r.jsonl");

    bus.Kill();

    EXPECT_TRUE(Fails(recorder->Wait(), 1, "the connection to the system bus is lost"));
    EXPECT_EQ(Faults("r.jsonl"), "");
}

TEST_F(Record, SaysWhatIsNotRecorded)
{
    const std::string address = TheBus().Address();
    const PrivateBus bus(
        "<policy context='default'><allow user='*'/><allow own='*'/><allow send_destination='*'/>"
        "<allow receive_sender='*'/><deny send_interface='org.freedesktop.DBus.Monitoring'/></policy>");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", bus.Address());
    BusPeer peer(bus.Address());
    const auto recorder = StartRecording("r.jsonl", {"--inputs", Path("absent")});

    peer.Emit("/org/nalto/tv/qdinfo", "org.nalto.tv.qdinfo", "qdinfo", g_variant_new("(is)", 5, "1\t"));
    ASSERT_TRUE(WaitForText("r.jsonl", "\"event\""));
    const Outcome outcome = End(*recorder);

    EXPECT_THAT(outcome.err, HasSubstr("calls are not recorded, as the bus shows them to root only: "));
    EXPECT_THAT(outcome.err, HasSubstr("inputs are not recorded: no such inputs directory"));
    EXPECT_EQ(EntriesOf("r.jsonl")[0]["calls"], false);
    EXPECT_EQ(Faults("r.jsonl"), "");
}

TEST_F(Record, RefusesAFileThatIsThereOrCannotBeMade)
{
    WriteFile("there", "precious");

    EXPECT_TRUE(Fails(Run({"record", Path("there")}), 1, "exists already"));
    EXPECT_TRUE(Fails(Run({"record", Path("absent/r.jsonl")}), 1, "cannot make"));
    EXPECT_TRUE(Fails(Run({"record"}), 2, "FILE"));
    EXPECT_TRUE(Fails(Run({"record", Path("r"), "--seconds", "soon"}), 2, "'soon' is not a number of seconds"));
    EXPECT_EQ(Content("there"), "precious");
}

TEST_F(Record, EndsAfterATime)
{
    const Json::Value document = Document({"record", Path("r.jsonl"), "--seconds", "0"}, "record");

    EXPECT_EQ(document["recording"], Path("r.jsonl"));
    EXPECT_EQ(document["entries"], 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// What busctl captured

TEST_F(Record, DecodesWhatBusctlCaptured)
{
    BusOnlyService service;
    service.Answer(4242, "the reply");
    const auto busctl = StartBusctl("", "bus.pcap");
    ASSERT_TRUE(RunUntil([&] {
        BusOnlyService::Send(7, {1});
        return Content("bus.pcap").find("UNKNOWN") != std::string::npos;
    }));

    BusOnlyService::Send(4097, {1, 9, 1}, {"Desk 5", kAksv, ""});
    ASSERT_EQ(Run({"call", "4242"}).code, 0);
    ASSERT_TRUE(WaitForText("bus.pcap", "the reply"));
    busctl->Signal(SIGINT);
    static_cast<void>(busctl->Wait());  // its exit code does not matter
    const Outcome outcome = Run({"record", Path("r.jsonl"), "--from", Path("bus.pcap")});

    ASSERT_EQ(outcome.code, 0) << outcome;
    EXPECT_EQ(Faults("r.jsonl"), "");
    EXPECT_THAT(OfKind("r.jsonl", "event").back()["message"].asString(), testing::StartsWith("1\t9\t1\t"));
    EXPECT_THAT(OfKind("r.jsonl", "event").back()["message"].asString(), HasSubstr("Desk#5"));
    EXPECT_THAT(Content("r.jsonl"), Not(HasSubstr(kAksv)));
    EXPECT_EQ(OfKind("r.jsonl", "reply").back()["reply"], "the reply");
}

TEST_F(Record, SaysThatBusctlCutMessagesOff)
{
    const auto busctl = StartBusctl("--size=200", "bus.pcap");
    ASSERT_TRUE(RunUntil([&] {
        BusOnlyService::Send(7, {1}, {std::string(90, 'x'), std::string(90, 'y'), ""});
        return Content("bus.pcap").find("xxx") != std::string::npos;
    }));
    busctl->Signal(SIGINT);
    static_cast<void>(busctl->Wait());  // its exit code does not matter

    const Outcome outcome = Run({"record", Path("r.jsonl"), "--from", Path("bus.pcap")});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.err, HasSubstr("message(s) are cut off, and left out"));
}

}  // namespace
