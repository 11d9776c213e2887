// SPDX-License-Identifier: Apache-2.0
//
// scan, optical: commands to the detection service, and what becomes of them.
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "Loop.h"
#include "PortDocument.h"
#include "Ports.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace ctl {

namespace {

/* ---- commands ---- */

struct ScanCommand {
    const char* name;
    const char* description;
    void (*send)();
    int code;  // that the library writes
};
constexpr ScanCommand kScanCommands[] = {
    {"start", "Start the first-setup scan", srcwatch_oobe_scan_start, SCAN_COMMAND_OOBE_START},
    {"stop", "Stop the first-setup scan", srcwatch_oobe_scan_stop, SCAN_COMMAND_OOBE_STOP},
    {"resume", "Resume the first-setup scan where it was stopped", srcwatch_oobe_scan_resume, SCAN_COMMAND_OOBE_RESUME},
};
constexpr ScanCommand kOpticalCommands[] = {
    {"start", "Start the scan of the optical source", srcwatch_optical_scan_start, SCAN_COMMAND_OPTICAL_START},
    {"stop", "Stop the scan of the optical source", srcwatch_optical_scan_stop, SCAN_COMMAND_OPTICAL_STOP},
};

// The library does not tell whether its write succeeded.
void Send(const ScanCommand& command)
{
    command.send();
    if (ReadNumber(VCONF_SCAN_PROGRESS) == command.code) return;
    throw Failure("the command could not be written to " + VCONF_SCAN_PROGRESS + "; 'srcwatchctl doctor' tells why");
}

void SendAndSay(const char* group, const ScanCommand& command, Output& output)
{
    Send(command);
    Json::Value document;
    document["command"] = std::string(group) + " " + command.name;
    document["code"] = command.code;
    output.Say(document, document["command"].asString() + ": sent");
}

/* ---- status ---- */

struct Status {
    int result = 0;  // of the library's function
    int percent = 0;
    const char* state = "";
};

const char* StateOf(int result)
{
    switch (result) {
        case 0:
            // Nothing and zero per cent look alike to applications.
            return ReadNumber(VCONF_SCAN_RESULT) == 0 ? "idle" : "running";
        case SRCWATCH_SCAN_STOPPED:
            return "stopped";
        case SRCWATCH_SCAN_FAILED:
            return "failed";
        case SRCWATCH_SCAN_NOTHING_FOUND:
            return "nothing found";
        case SRCWATCH_PROGRESS_UNREADABLE:
            return "unknown";
        case SRCWATCH_PROGRESS_UNDEFINED:
            return "undefined";
        default:
            return "final stage";
    }
}

Status GetStatus()
{
    Status status;
    status.result = srcwatch_get_oobe_stb_scan_progress(&status.percent);
    status.state = StateOf(status.result);
    return status;
}

void ShowStatus(Output& output)
{
    RequireSettings();
    const Status status = GetStatus();
    Json::Value document;
    document["result"] = status.result;
    document["percent"] = status.result >= 0 ? Json::Value(status.percent) : Json::Value();
    document["state"] = status.state;
    output.Write(document, Table{{"STATE", "PERCENT", "RESULT"},
                                 {{status.state, CellText(document["percent"]), std::to_string(status.result)}}});
}

/* ---- run ---- */

const char* OutcomeText(int result)
{
    switch (result) {
        case SRCWATCH_SCAN_DONE:
            return "finished";
        case SRCWATCH_SCAN_STOPPED:
            return "stopped";
        case SRCWATCH_SCAN_NOTHING_FOUND:
            return "nothing was found";
        default:
            return "failed";
    }
}

// Shows how far the scan is: a bar that is drawn anew on a terminal, otherwise an element at each step.
class Progress {
public:
    explicit Progress(Output& output)
        : m_output(output), m_bar(output.GetFormat() == Format::kTable && isatty(STDOUT_FILENO) == 1)
    {
    }

    void Begin()
    {
        if (!m_bar) m_output.BeginStream();
    }

    void Show(int percent, int port)
    {
        if (m_bar) return Draw(percent, PortName(port));
        Json::Value element;
        element["percent"] = percent;
        element["port"] = port;
        m_output.Element(element, {std::to_string(percent) + " %", PortName(port)});
    }

    void Finish(int result, int devices)
    {
        const std::string outcome =
            std::string(OutcomeText(result)) + ", " + std::to_string(devices) + " device(s) found";
        if (m_bar) return FinishBar(result, outcome);
        Json::Value element;
        element["result"] = result;
        element["devices"] = devices;
        m_output.Element(element, {outcome});
        m_output.EndStream();
    }

    // The scan did not come to its end.
    void Abandon()
    {
        if (m_bar) {
            FinishBar(SRCWATCH_SCAN_FAILED, "");
        } else {
            m_output.EndStream();
        }
    }

private:
    static constexpr int kWidth = 40;

    void Draw(int percent, const std::string& text) const
    {
        const int shown = std::clamp(percent, 0, 100);
        const auto filled = static_cast<std::size_t>(kWidth * shown / 100);
        const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
        (void)std::printf("\r[%s] %3d %%  %s\x1b[K", bar.c_str(), shown, text.c_str());  // a bar may be lost
        (void)std::fflush(stdout);
    }

    void FinishBar(int result, const std::string& outcome) const
    {
        if (result == SRCWATCH_SCAN_DONE) Draw(100, outcome);
        if (result != SRCWATCH_SCAN_DONE && !outcome.empty()) (void)std::printf("  %s", outcome.c_str());
        (void)std::printf("\n");
    }

    Output& m_output;
    const bool m_bar;
};

// The library's callback, for as long as the object lives. Nobody else in this process registers one.
class Registration {
public:
    Registration(srcwatch_event_cb callback, void* user_data) : m_callback(callback)
    {
        (void)srcwatch_register_event_callback(callback, user_data);  // cannot be refused
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() { (void)srcwatch_unregister_event_callback(m_callback); }  // was registered above

private:
    const srcwatch_event_cb m_callback;
};

// Calls back when nobody owns the service's name any more, for as long as the object lives.
class ServiceWatch {
public:
    ServiceWatch(GDBusConnection* connection, GBusNameVanishedCallback callback, void* user_data)
        : m_id(g_bus_watch_name_on_connection(connection, SRCWATCH_BUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
                                              callback, user_data, nullptr))
    {
    }
    ServiceWatch(const ServiceWatch&) = delete;
    ServiceWatch& operator=(const ServiceWatch&) = delete;
    ~ServiceWatch() { g_bus_unwatch_name(m_id); }

private:
    const unsigned m_id;
};

// Starts the scan and follows it to its end.
class ScanRun {
public:
    explicit ScanRun(Output& output) : m_progress(output) {}
    ScanRun(const ScanRun&) = delete;
    ScanRun& operator=(const ScanRun&) = delete;

    int Run(GDBusConnection* connection, std::optional<double> seconds)
    {
        const Registration registration(OnEvent, this);
        const ServiceWatch watch(connection, OnServiceGone, this);
        SyncWithBus(connection);  // a scan that ends at once must be heard too
        Send(kScanCommands[0]);
        m_progress.Begin();
        try {
            Follow(seconds);
        } catch (const Failure&) {
            m_progress.Abandon();
            throw;
        }
        return m_result;
    }

private:
    void Follow(std::optional<double> seconds)
    {
        const Loop::End end = m_loop.Run(seconds);
        if (end == Loop::End::kTimedOut) throw Failure("the scan did not finish in time", kTimedOut);
        if (end == Loop::End::kInterrupted) throw Failure("interrupted; the scan goes on in the service");
    }

    static void OnServiceGone(GDBusConnection* /*connection*/, const char* /*name*/, void* self)
    {
        static_cast<ScanRun*>(self)->m_loop.Guard([] { throw Failure("the detection service ended during the scan"); });
    }

    static void OnEvent(void* self, srcwatch_event_s* event)
    {
        auto& run = *static_cast<ScanRun*>(self);
        run.m_loop.Guard([&] { run.Handle(*event); });
    }

    // The scan of the optical source announces itself by the same events, with its port.
    void Handle(const srcwatch_event_s& event)
    {
        if (event.type == SRCWATCH_EVENT_SCAN_PROGRESS && event.args[1] != SRCWATCH_PORT_OPTICAL) {
            m_progress.Show(event.args[0], event.args[1]);
        }
        if (event.type == SRCWATCH_EVENT_SCAN_FINISHED && event.args[2] != SRCWATCH_PORT_OPTICAL) {
            m_result = event.args[0];
            m_progress.Finish(m_result, event.args[1]);
            m_loop.Quit();
        }
    }

    Progress m_progress;
    int m_result = SRCWATCH_SCAN_FAILED;
    Loop m_loop;
};

void RunScan(std::optional<double> seconds, Output& output)
{
    const Connection connection = ConnectBus();
    RequireService(connection.get());
    const int result = ScanRun(output).Run(connection.get(), seconds);
    if (result != SRCWATCH_SCAN_DONE) throw Failure(std::string("the scan ended: ") + OutcomeText(result));
}

}  // namespace

void AddScanCommands(CLI::App& app, Output& output)
{
    CLI::App* const scan = app.add_subcommand("scan", "Command the first-setup scan of the HDMI inputs");
    scan->require_subcommand(1);
    for (const ScanCommand& command : kScanCommands) {
        scan->add_subcommand(command.name, command.description)->callback([&command, &output] {
            SendAndSay("scan", command, output);
        });
    }
    scan->add_subcommand("status", "Show how far the scan is")->callback([&output] { ShowStatus(output); });

    const auto timeout = std::make_shared<std::optional<double>>();
    CLI::App* const run = scan->add_subcommand("run", "Start the scan, show its progress, and exit by its result");
    AddTimeout(run, *timeout, "Give up, with exit code 3, after this time");
    run->callback([=, &output] { RunScan(*timeout, output); });

    CLI::App* const optical =
        app.add_subcommand("optical", "Command the scan of the optical source, or show its device");
    optical->require_subcommand(0, 1);
    optical->callback([=, &output] {
        if (optical->get_subcommands().empty()) ShowPort(SRCWATCH_PORT_OPTICAL, output);
    });
    for (const ScanCommand& command : kOpticalCommands) {
        optical->add_subcommand(command.name, command.description)->callback([&command, &output] {
            SendAndSay("optical", command, output);
        });
    }
    optical->add_subcommand("show", "Show all of the optical source, as without a command")->callback([&output] {
        ShowPort(SRCWATCH_PORT_OPTICAL, output);
    });
}

}  // namespace ctl
