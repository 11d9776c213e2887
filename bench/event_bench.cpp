// SPDX-License-Identifier: Apache-2.0
//
// Events between processes, and saving records with the announcement of it, beside the same with nothing but GDBus. The
// settings are in memory and the log is dropped, so that only the library's own work is between the two.
#include "Child.h"
#include "Documents.h"
#include "MemoryPlatform.h"
#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "QDInfoServerData.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <gio/gio.h>
#include <json/json.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vconf.h>

namespace {

constexpr char kBarePath[] = "/org/nalto/tv/gdbus";
constexpr char kBareInterface[] = "org.nalto.tv.gdbus";
constexpr char kBareSignal[] = "gdbus";

// The message of the event that is sent here.
constexpr char kMessage[] = "0\t1\t1\t0\t0\t0\t0\t0\t0\t0\tHD#Recorder#500\tKorvane\tNorthlight#Cable\t";

// What the receiving processes and this one share.
struct Board {
    std::atomic<std::int64_t> target;    // the number of events after which a receiver reports
    std::atomic<std::int64_t> received;  // by the receiver that was last
    std::atomic<std::int64_t> arrivedNs;
};

std::int64_t NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// ---------------------------------------------------------------------------------------------------------------------
// A receiving process

struct Receiver {
    Board* board;
    int done;
    std::int64_t count;
};

Receiver g_receiver;

void CountEvent()
{
    if (++g_receiver.count != g_receiver.board->target.load()) return;
    g_receiver.board->received = g_receiver.count;
    g_receiver.board->arrivedNs = NowNs();
    g_receiver.count = 0;
    bench::Require(eventfd_write(g_receiver.done, 1) == 0, "cannot report the events");
}

void OnEvent(void*, srcwatch_event_s* event)
{
    if (event->type == SRCWATCH_EVENT_DETECTED && event->args[1] == 1) CountEvent();
}

void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters, void*)
{
    int type = 0;
    const char* text = nullptr;
    g_variant_get(parameters, "(i&s)", &type, &text);
    if (type == SRCWATCH_EVENT_DETECTED && *text == '0') CountEvent();
}

// The bus has seen all that was sent on the connection so far, subscriptions among it.
void WaitForBus(GDBusConnection* bus)
{
    GVariant* id =
        g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    bench::Require(id != nullptr, "the bus does not answer");
    g_variant_unref(id);
}

int Receive(const std::string& how, int board, int done)
{
    g_receiver = {static_cast<Board*>(bench::OpenShared(board, sizeof(Board))), done, 0};
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    bench::Require(bus != nullptr, "no bus");
    if (how == "library") {
        srcwatch_register_event_callback(OnEvent, nullptr);
    } else {
        g_dbus_connection_signal_subscribe(bus, nullptr, kBareInterface, kBareSignal, kBarePath, nullptr,
                                           G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, nullptr, nullptr);
    }
    WaitForBus(bus);
    bench::ReportReady();
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// This process

class Bus {
public:
    Bus() { bench::Require(m_bus != nullptr, "no bus"); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    ~Bus() { g_object_unref(m_bus); }
    GDBusConnection* Get() const { return m_bus; }

private:
    GDBusConnection* m_bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
};

class Receivers {
public:
    Receivers(const char* how, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            m_processes.push_back(std::make_unique<bench::Child>(std::vector<std::string>{
                std::string("--receive=") + how, std::to_string(m_file), std::to_string(m_done)}));
        }
    }
    Receivers(const Receivers&) = delete;
    Receivers& operator=(const Receivers&) = delete;
    ~Receivers()
    {
        m_processes.clear();
        close(m_done);
        close(m_file);
    }

    // Each of them reports after this many events.
    void Expect(std::int64_t events) { m_board->target = events; }

    // Waits until all have reported; an event that is not there after a minute is lost. Returns the time when the last
    // one was called back.
    std::int64_t Wait() const
    {
        constexpr int kTimeoutMs = 60'000;
        eventfd_t reported = 0;
        for (std::size_t i = 0; i < m_processes.size(); ++i) {
            pollfd wait{m_done, POLLIN, 0};
            bench::Require(poll(&wait, 1, kTimeoutMs) == 1 && eventfd_read(m_done, &reported) == 0,
                           "an event was lost");
        }
        return m_board->arrivedNs;
    }

private:
    int m_file = bench::MakeShared(sizeof(Board));
    Board* m_board = static_cast<Board*>(bench::OpenShared(m_file, sizeof(Board)));
    int m_done = eventfd(0, EFD_SEMAPHORE);
    std::vector<std::unique_ptr<bench::Child>> m_processes;
};

class LibrarySender {
public:
    static constexpr const char* kName = "library";

    LibrarySender()
    {
        m_sender.AppendArgs(0, 1, 1, 0);
        m_sender.AppendArgs("HD Recorder 500", "Korvane", "Northlight Cable");
    }
    void Send() { m_sender.SendEvent(SRCWATCH_EVENT_DETECTED); }

private:
    Bus m_bus;
    qdinfo::CQDEventSender m_sender{""};
};

class BareSender {
public:
    static constexpr const char* kName = "bare";

    void Send() const
    {
        g_dbus_connection_emit_signal(m_bus.Get(), nullptr, kBarePath, kBareInterface, kBareSignal,
                                      g_variant_new("(is)", SRCWATCH_EVENT_DETECTED, kMessage), nullptr);
    }

private:
    Bus m_bus;
};

// From the call until the callback of the last of this many other processes.
template <typename Sender>
void Event(benchmark::State& state)
{
    Receivers receivers(Sender::kName, static_cast<std::size_t>(state.range(0)));
    receivers.Expect(1);
    Sender sender;
    for (auto _ : state) {
        const std::int64_t start = NowNs();
        sender.Send();
        state.SetIterationTime(static_cast<double>(receivers.Wait() - start) / 1e9);
    }
    state.counters["work"] = static_cast<double>(state.range(0));
}

// This many events as fast as they can be sent, until the callback for the last one: the receiver reports only once it
// has had them all.
template <typename Sender>
void Burst(benchmark::State& state)
{
    const std::int64_t events = state.range(0);
    Receivers receivers(Sender::kName, 1);
    receivers.Expect(events);
    Sender sender;
    for (auto _ : state) {
        const std::int64_t start = NowNs();
        for (std::int64_t i = 0; i < events; ++i) sender.Send();
        state.SetIterationTime(static_cast<double>(receivers.Wait() - start) / 1e9);
    }
    state.counters["events"] = static_cast<double>(events);
}

BENCHMARK_TEMPLATE(Event, LibrarySender)->Arg(1)->UseManualTime();
BENCHMARK_TEMPLATE(Event, BareSender)->Arg(1)->UseManualTime();
BENCHMARK_TEMPLATE(Burst, LibrarySender)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Burst, BareSender)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Event, LibrarySender)->RangeMultiplier(2)->Range(2, 64)->UseManualTime();

// ---------------------------------------------------------------------------------------------------------------------
// Saving

std::string& StoredText() { return srcwatch_test::ThePlatform().settings.texts[qdinfo::kSourceActivityKey]; }

// The table holds the records of the document that the other ways save.
qdinfo::CQDInfoServerData& FilledStore()
{
    StoredText() = bench::TextOf(bench::ActivityDocument(8));
    qdinfo::CQDInfoServerData& store = *qdinfo::CSingleton<qdinfo::CQDInfoServerData>::GetInstance();
    bench::Require(store.t_LoadActivityInfoToMemory(), "the records cannot be loaded");
    return store;
}

void CheckAndSave(benchmark::State& state)
{
    const Bus bus;
    qdinfo::CQDInfoServerData& store = FilledStore();
    StoredText().clear();
    for (auto _ : state) store.t_CheckAndSaveActivity(0);
    if (StoredText() != bench::TextOf(bench::ActivityDocument(8))) {
        state.SkipWithError("other records were saved");
    }
}

void Announce(GDBusConnection* bus)
{
    g_dbus_connection_emit_signal(bus, nullptr, kBarePath, kBareInterface, kBareSignal,
                                  g_variant_new("(is)", SRCWATCH_EVENT_RECORDS_SAVED,
                                                "0\t0\t0\t0\t0\t0\t0\t0\t0\t0\tUNKNOWN\tUNKNOWN\tUNKNOWN\t"),
                                  nullptr);
    g_dbus_connection_flush_sync(bus, nullptr, nullptr);
}

// A writer that is kept.
class Saver {
public:
    void Save(const Json::Value& document) const
    {
        std::ostringstream stream;
        m_writer->write(document, &stream);
        vconf_set_str(qdinfo::kSourceActivityKey, stream.str().c_str());
        Announce(m_bus.Get());
    }

private:
    Bus m_bus;
    std::unique_ptr<Json::StreamWriter> m_writer{Json::StreamWriterBuilder().newStreamWriter()};
};

// The same records, kept as plain members, made into a document and that into text.
void WriteEmitFlush(benchmark::State& state)
{
    const Saver saver;
    const std::vector<bench::Record> records = bench::Records(8);
    StoredText().clear();
    for (auto _ : state) {
        Json::Value document;
        for (const bench::Record& record : records) document["activity"].append(bench::Document(record));
        saver.Save(document);
    }
    if (StoredText() != bench::TextOf(bench::ActivityDocument(8))) {
        state.SkipWithError("other records were saved");
    }
}

// A document that is made already.
void WriteReadyEmitFlush(benchmark::State& state)
{
    const Saver saver;
    const Json::Value document = bench::ActivityDocument(8);
    for (auto _ : state) saver.Save(document);
}

BENCHMARK(CheckAndSave)->UseRealTime();
BENCHMARK(WriteEmitFlush)->UseRealTime();
BENCHMARK(WriteReadyEmitFlush)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    bench::PrivatePlace("DBUS_SYSTEM_BUS_ADDRESS");
    const std::string mode = argc > 3 ? argv[1] : "";
    for (const char* how : {"library", "bare"}) {
        if (mode == std::string("--receive=") + how) return Receive(how, std::stoi(argv[2]), std::stoi(argv[3]));
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
