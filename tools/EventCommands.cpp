// SPDX-License-Identifier: Apache-2.0
//
// monitor, wait, call: the event channel.
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "DeviceType.h"
#include "EventForm.h"
#include "Failure.h"
#include "Handle.h"
#include "Loop.h"
#include "Ports.h"
#include "QDInfoEventManager.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Monitor

struct MonitorOptions {
    std::vector<int> types;
    std::optional<int> port;  // nothing for the events of all ports, and of none
    int count = 0;            // of events to show; 0 for all
    std::optional<double> timeout;
};

// Shows events. It has a receiver of its own, because the library's callback is called for four types only.
// Time, name and words.
Row RowOf(const srcwatch_event_s& event)
{
    const srcwatch::Handle<GDateTime, g_date_time_unref> now(g_date_time_new_now_local());
    Row row{srcwatch::FormatTime(now.get(), "%H:%M:%S"), srcwatch::EventTypeName(event.type)};
    for (std::string& word : srcwatch::EventWords(event)) row.emplace_back(std::move(word));
    return row;
}

class Monitor {
public:
    Monitor(const MonitorOptions& options, Output& output) : m_options(options), m_output(output) {}

    Loop::End Run()
    {
        const Connection connection = ConnectBus();
        const auto onClosed = +[](GDBusConnection*, gboolean, GError*, void* self) {
            auto& monitor = *static_cast<Monitor*>(self);
            monitor.m_loop.Guard([] { throw Failure("the connection to the system bus is lost"); });
        };
        const unsigned long handler = g_signal_connect(connection.get(), "closed", G_CALLBACK(onClosed), this);
        qdinfo::CQDEventReciever receiver("", false);
        for (const int type : m_options.types) receiver.RegisterEventCallback(type, OnEvent, this);
        SyncWithBus(connection.get());
        m_output.BeginStream();
        const Loop::End end = m_loop.Run(m_options.timeout);
        g_signal_handler_disconnect(connection.get(), handler);
        m_output.EndStream();
        return end;
    }

private:
    static void OnEvent(void* self, srcwatch_event_s* event)
    {
        auto& monitor = *static_cast<Monitor*>(self);
        monitor.m_loop.Guard([&] { monitor.Show(*event); });
    }

    void Show(const srcwatch_event_s& event)
    {
        const Json::Value json = srcwatch::EventToJson(event);
        if (m_options.port && json["port"] != *m_options.port) return;
        m_output.Element(json, RowOf(event));
        if (++m_shown == m_options.count) m_loop.Quit();
    }

    const MonitorOptions& m_options;
    Output& m_output;
    int m_shown = 0;
    Loop m_loop;
};

void RunMonitor(MonitorOptions options, Output& output)
{
    if (options.types.empty()) {
        for (const auto& named : srcwatch::NamedEventTypes()) options.types.push_back(named.second);
    }
    const Loop::End end = Monitor(options, output).Run();
    if (end == Loop::End::kTimedOut) throw Failure("monitor: time is up", kTimedOut);
}

void AddMonitor(cli::Command app, Output& output)
{
    const auto options = std::make_shared<MonitorOptions>();
    const cli::Command monitor = app.AddCommand("monitor", "Show the events of the detection service as they arrive");
    monitor.AddOption("--type", &options->types, "TYPE", "Type to show, by number or name; can be repeated")
        .TakesOneEach()
        .CheckedBy(IsNumberOrName("an event type", srcwatch::NamedEventTypes()));
    monitor.AddOption("--port", &options->port, "PORT", "Show only the events of this port").CheckedBy(IsPort());
    AddCount(monitor, options->count, "End after this many events");
    AddTimeout(monitor, options->timeout, "End, with exit code 3, after this time");
    monitor.Runs([=, &output] { RunMonitor(*options, output); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Wait

struct WaitOptions {
    int port = -1;
    bool isForService = false;
    std::optional<int> type;  // nothing for any device; 0 for none
    std::optional<double> timeout;
};

// Compares the type at the start and after every write of the records. Needs no bus, and a service may start later.
class TypeWait {
public:
    explicit TypeWait(const WaitOptions& options) : m_options(options) {}

    Loop::End Run()
    {
        const std::string key = RecordKey(m_options.port);
        const SettingsWatch watch(key.c_str(), OnWritten, this);
        QuitIfDetected();
        return m_loop.Run(m_options.timeout);
    }

private:
    static void OnWritten(const char* /*key*/, const srcwatch_host_value* /*value*/, void* self)
    {
        auto& wait = *static_cast<TypeWait*>(self);
        wait.m_loop.Guard([&] { wait.QuitIfDetected(); });
    }

    void QuitIfDetected()
    {
        int type = 0;
        if (srcwatch_get_product_type_name(m_options.port, &type) != SRCWATCH_OK) return;
        if (m_options.type ? type == *m_options.type : type != 0) m_loop.Quit();
    }

    const WaitOptions& m_options;
    Loop m_loop;
};

// Throws a Failure if a wait did not end with what it was for.
void RequireEnd(Loop::End end, const std::string& missing)
{
    if (end == Loop::End::kTimedOut) throw Failure(missing + " in time", kTimedOut);
    if (end == Loop::End::kInterrupted) throw Failure("interrupted; " + missing + " yet");
}

void WaitForService(std::optional<double> seconds, Output& output)
{
    const Connection connection = ConnectBus();
    Loop loop;
    const auto onOwner = [](GDBusConnection*, const char*, const char*, void* waiting) {
        static_cast<Loop*>(waiting)->Quit();
    };
    const unsigned watch = g_bus_watch_name_on_connection(
        connection.get(), SRCWATCH_BUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE, onOwner, nullptr, &loop, nullptr);
    const Loop::End end = loop.Run(seconds);
    g_bus_unwatch_name(watch);
    RequireEnd(end, "no detection service");
    Json::Value document;
    document["service"] = true;
    output.Confirm(document, "the detection service runs");
}

void RunWait(const WaitOptions& options, Output& output)
{
    const bool isForPort = options.port >= 0;
    if (options.isForService && isForPort) throw Failure("a port and --service exclude each other", kUsage);
    if (!options.isForService && !isForPort) throw Failure("a PORT or --service is required", kUsage);
    if (options.isForService) return WaitForService(options.timeout, output);
    RequirePort(options.port);
    const std::string what = options.type ? "device " + NumberAndNameOfType(*options.type) : "device";
    RequireEnd(TypeWait(options).Run(), options.type == 0 ? PortName(options.port) + " is not empty"
                                                          : "no " + what + " on " + PortName(options.port));
    int found = 0;
    static_cast<void>(srcwatch_get_product_type_name(options.port, &found));  // has just been read
    const std::string has = found == 0 ? "no device" : NumberAndNameOfType(found);
    output.Confirm(PortDocument(options.port), PortName(options.port) + " has " + has);
}

// As on the command line: "set-top-box".
Names DeviceTypes()
{
    Names names{{NameOfType(0), 0}};
    for (const srcwatch::DeviceTypeName& type : srcwatch::kDeviceTypes) {
        names.emplace_back(srcwatch::WordOfType(type.name), type.type);
    }
    return names;
}

void AddWait(cli::Command app, Output& output)
{
    const auto options = std::make_shared<WaitOptions>();
    const cli::Command wait = app.AddCommand("wait", "Wait for a device, an empty port or the service");
    AddPort(wait, "PORT,--port", options->port).Required(false);
    const cli::Option type = wait.AddOption("--device-type", &options->type, "TYPE",
                                            "Type by number or name, such as pc; any device without it")
                                 .CheckedBy(IsNumberOrName("a device type", DeviceTypes()));
    const cli::Option gone = wait.AddFlag(
        "--gone", [=] { options->type = 0; }, "Wait until the port has no device");
    gone.Excludes(type);
    wait.AddFlag("--service", &options->isForService, "Wait until the detection service runs")
        .Excludes(type)
        .Excludes(gone);
    AddTimeout(wait, options->timeout, "Give up, with exit code 3, after this time");
    wait.Runs([=, &output] { RunWait(*options, output); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Call

struct CallOptions {
    int type = 0;
    std::vector<int> numbers;
    std::vector<std::string> texts;
    std::string extra;
};

srcwatch_event_s MakeRequest(const CallOptions& options)
{
    srcwatch_event_s request{};
    if (options.texts.size() > std::size(request.str_args)) throw Failure("--text: at most three texts", kUsage);
    for (std::size_t i = 0; i < options.numbers.size(); ++i) request.args[i] = options.numbers[i];
    for (std::size_t i = 0; i < options.texts.size(); ++i) {
        const std::string& text = options.texts[i];
        if (text.size() >= sizeof request.str_args[i]) throw Failure("--text: a text has at most 99 bytes", kUsage);
        std::memcpy(request.str_args[i], text.c_str(), text.size());
    }
    return request;
}

void RunCall(const CallOptions& options, Output& output)
{
    const std::string reply = CallService(options.type, MakeRequest(options), options.extra);
    const Json::Value parsed = ParseReply(reply);
    Json::Value document;
    document["type"] = options.type;
    document["reply"] = parsed.isNull() ? Json::Value(reply) : parsed;
    output.WriteText(document, reply);
}

void AddCall(cli::Command app, Output& output)
{
    const Names requests = {{"status", SRCWATCH_REQUEST_STATUS},     {"record", SRCWATCH_REQUEST_RECORD},
                            {"forget", SRCWATCH_REQUEST_FORGET},     {"deny", SRCWATCH_REQUEST_DENY},
                            {"profiles", SRCWATCH_REQUEST_PROFILES}, {"capture", SRCWATCH_REQUEST_CAPTURE}};
    const auto options = std::make_shared<CallOptions>();
    const cli::Command call = app.AddCommand("call", "Call the detection service and print its reply");
    call.AddArgument("REQUEST", &options->type,
                     "Request: status, profiles, record, capture, forget, deny, or the number of a type")
        .Required()
        .CheckedBy(IsNumberOrName("a request", requests));
    call.AddArgument("NUMBER", &options->numbers, "Numbers of the request, at most ten; the first is the port")
        .TakesValues(0, 10)
        .CheckedBy(IsNumber());
    call.AddOption("--text", &options->texts, "TEXT", "Text of the request; at most three").TakesOneEach();
    call.AddOption("--extra", &options->extra, "TEXT", "What follows the request, as the service expects it");
    call.Runs([=, &output] { RunCall(*options, output); });
}

}  // namespace

void AddEventCommands(cli::Command app, Output& output)
{
    AddMonitor(app, output);
    AddWait(app, output);
    AddCall(app, output);
}

}  // namespace ctl
