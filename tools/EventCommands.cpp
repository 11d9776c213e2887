// SPDX-License-Identifier: Apache-2.0
//
// monitor, wait, call: the event channel.
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "Events.h"
#include "Failure.h"
#include "Loop.h"
#include "Ports.h"
#include "QDInfoEventManager.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

#include <cstring>
#include <iterator>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Monitor

// Shows events. It has a receiver of its own, because the library's callback is called for four types only.
class Monitor {
public:
    Monitor(Output& output, int count) : m_output(output), m_count(count) {}

    Loop::End Run(const std::vector<int>& types, std::optional<double> seconds)
    {
        const Connection connection = ConnectBus();
        const auto onClosed = +[](GDBusConnection*, gboolean, GError*, void* self) {
            auto& monitor = *static_cast<Monitor*>(self);
            monitor.m_loop.Guard([] { throw Failure("the connection to the system bus is lost"); });
        };
        const unsigned long handler = g_signal_connect(connection.get(), "closed", G_CALLBACK(onClosed), this);
        qdinfo::CQDEventReciever receiver("", false);
        for (const int type : types) receiver.RegisterEventCallback(type, OnEvent, this);
        SyncWithBus(connection.get());
        m_output.BeginStream();
        const Loop::End end = m_loop.Run(seconds);
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
        m_output.Element(EventToJson(event), EventToRow(event));
        if (m_count != 0 && ++m_shown == m_count) m_loop.Quit();
    }

    Output& m_output;
    const int m_count;  // of events to show; 0 for all
    int m_shown = 0;
    Loop m_loop;
};

struct MonitorOptions {
    std::vector<int> types;
    int count = 0;
    std::optional<double> timeout;
};

void RunMonitor(MonitorOptions options, Output& output)
{
    if (options.types.empty()) {
        for (const auto& named : NamedEventTypes()) options.types.push_back(named.second);
    }
    const Loop::End end = Monitor(output, options.count).Run(options.types, options.timeout);
    if (end == Loop::End::kTimedOut) throw Failure("monitor: time is up", kTimedOut);
}

void AddMonitor(CLI::App& app, Output& output)
{
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App* const monitor = app.add_subcommand("monitor", "Show the events of the detection service as they arrive");
    monitor->add_option("--type", options->types, "Type to show, by number or name; can be repeated")
        ->type_name("TYPE")
        ->allow_extra_args(false)
        ->transform(IsNumberOrName("an event type", NamedEventTypes()));
    AddCount(monitor, options->count, "End after this many events");
    AddTimeout(monitor, options->timeout, "End, with exit code 3, after this time");
    monitor->callback([=, &output] { RunMonitor(*options, output); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Wait

struct WaitOptions {
    int port = 0;
    std::optional<int> type;  // nothing for any device
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

void RunWait(const WaitOptions& options, Output& output)
{
    const std::string what = options.type ? "device " + DeviceTypeText(*options.type) : "device";
    const std::string missing = "no " + what + " on " + PortName(options.port);
    const Loop::End end = TypeWait(options).Run();
    if (end == Loop::End::kTimedOut) throw Failure(missing + " in time", kTimedOut);
    if (end == Loop::End::kInterrupted) throw Failure("interrupted; " + missing + " yet");
    int found = 0;
    static_cast<void>(srcwatch_get_product_type_name(options.port, &found));  // has just been read
    output.Confirm(PortDocument(options.port), PortName(options.port) + " has " + DeviceTypeText(found));
}

void AddWait(CLI::App& app, Output& output)
{
    const auto options = std::make_shared<WaitOptions>();
    CLI::App* const wait = app.add_subcommand("wait", "Wait until a device of a type is detected on a port");
    AddPort(wait, "--port", options->port);
    wait->add_option("--device-type", options->type, "Type by number or name, such as pc; any device without it")
        ->type_name("TYPE")
        ->transform(IsNumberOrName("a device type", DeviceTypeArguments()));
    AddTimeout(wait, options->timeout, "Give up, with exit code 3, after this time");
    wait->callback([=, &output] { RunWait(*options, output); });
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

void AddCall(CLI::App& app, Output& output)
{
    const Names requests = {{"status", SRCWATCH_REQUEST_STATUS},
                            {"record", SRCWATCH_REQUEST_RECORD},
                            {"forget", SRCWATCH_REQUEST_FORGET},
                            {"deny", SRCWATCH_REQUEST_DENY},
                            {"profiles", SRCWATCH_REQUEST_PROFILES}};
    const auto options = std::make_shared<CallOptions>();
    CLI::App* const call = app.add_subcommand("call", "Call the detection service and print its reply");
    call->add_option("REQUEST", options->type,
                     "Request: status, profiles, record, forget, deny, or the number of a type")
        ->required()
        ->type_name("")
        ->transform(IsNumberOrName("a request", requests));
    call->add_option("NUMBER", options->numbers, "Numbers of the request, at most ten; the first is the port")
        ->type_name("")
        ->expected(0, 10)
        ->transform(IsNumber());
    call->add_option("--text", options->texts, "Text of the request; at most three")
        ->type_name("TEXT")
        ->allow_extra_args(false);
    call->add_option("--extra", options->extra, "What follows the request, as the service wants it")->type_name("TEXT");
    call->callback([=, &output] { RunCall(*options, output); });
}

}  // namespace

void AddEventCommands(CLI::App& app, Output& output)
{
    AddMonitor(app, output);
    AddWait(app, output);
    AddCall(app, output);
}

}  // namespace ctl
