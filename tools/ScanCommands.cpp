// SPDX-License-Identifier: Apache-2.0
//
// scan, optical: commands to the detection service, and their progress.
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "Loop.h"
#include "Ports.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include <unistd.h>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Commands

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

void Send(const ScanCommand& command)
{
    command.send();
    RequireNumber(VCONF_SCAN_PROGRESS, command.code);
}

void RunCommand(const std::string& group, const ScanCommand& command, Output& output)
{
    RequireHearingService();  // nobody else would read the command
    Send(command);
    Json::Value document;
    document["command"] = group + " " + command.name;
    document["code"] = command.code;
    output.Confirm(document, document["command"].asString() + ": sent");
}

// ---------------------------------------------------------------------------------------------------------------------
// Status

const char* StateOf(int result)
{
    switch (result) {
        case 0:
            // Applications cannot distinguish no scan from zero per cent.
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

void ShowStatus(Output& output)
{
    RequireSettings();
    int percent = 0;
    const int result = srcwatch_get_oobe_stb_scan_progress(&percent);
    const char* const state = StateOf(result);
    Json::Value document;
    document["result"] = result;
    document["percent"] = result >= 0 ? Json::Value(percent) : Json::Value();
    document["state"] = state;
    output.Write(document, Table{{"STATE", "PERCENT", "RESULT"},
                                 {{state, CellText(document["percent"]), std::to_string(result)}}});
}

// ---------------------------------------------------------------------------------------------------------------------
// Run

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

// Shows how far the scan is: one bar on a terminal, otherwise an element at each step.
class Progress {
public:
    explicit Progress(Output& output)
        : m_output(output), m_isBar(output.GetFormat() == Format::kTable && isatty(STDOUT_FILENO) == 1)
    {
    }

    void Begin()
    {
        if (!m_isBar) m_output.BeginStream();
    }

    void Show(int percent, int port)
    {
        if (m_isBar) return Draw(percent, PortName(port));
        Json::Value element;
        element["percent"] = percent;
        element["port"] = port;
        m_output.Element(element, {std::to_string(percent) + " %", PortName(port)});
    }

    void Finish(int result, int devices)
    {
        const std::string outcome =
            std::string(OutcomeText(result)) + ", " + std::to_string(devices) + " device(s) found";
        if (m_isBar) return FinishBar(result, outcome);
        Json::Value element;
        element["result"] = result;
        element["devices"] = devices;
        m_output.Element(element, {outcome});
        m_output.EndStream();
    }

    // Ends the output of a scan that did not finish.
    void Abandon()
    {
        if (m_isBar) {
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
        // Nothing can be done if the bar cannot be written.
        static_cast<void>(std::printf("\r[%s] %3d %%  %s\x1b[K", bar.c_str(), shown, text.c_str()));
        static_cast<void>(std::fflush(stdout));
    }

    void FinishBar(int result, const std::string& outcome) const
    {
        if (result == SRCWATCH_SCAN_DONE) {
            Draw(100, outcome);
        } else if (!outcome.empty()) {
            static_cast<void>(std::printf("  %s", outcome.c_str()));  // as above
        }
        static_cast<void>(std::printf("\n"));
    }

    Output& m_output;
    const bool m_isBar;
};

// Starts the scan and follows it to its end. Nothing else in this process registers the library's callback.
class ScanRun {
public:
    ScanRun(GDBusConnection* connection, Output& output)
        : m_connection(connection),
          m_progress(output),
          m_watch(g_bus_watch_name_on_connection(connection, SRCWATCH_BUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
                                                 OnServiceGone, this, nullptr))
    {
        static_cast<void>(srcwatch_register_event_callback(OnEvent, this));  // cannot be refused
        Ask();
    }
    ScanRun(const ScanRun&) = delete;
    ScanRun& operator=(const ScanRun&) = delete;
    ~ScanRun()
    {
        static_cast<void>(srcwatch_unregister_event_callback(OnEvent));  // was registered above
        if (m_pause != 0) g_source_remove(m_pause);
        g_cancellable_cancel(m_cancellable.get());
        g_bus_unwatch_name(m_watch);
    }

    int Run(std::optional<double> seconds)
    {
        SyncWithBus(m_connection);  // or the events of a scan that ends at once would be missed
        Send(kScanCommands[0]);
        m_progress.Begin();
        try {
            const Loop::End end = m_loop.Run(seconds);
            if (end == Loop::End::kTimedOut) throw Failure("the scan did not finish in time", kTimedOut);
            if (end == Loop::End::kInterrupted) throw Failure("interrupted; the scan goes on in the service");
        } catch (const Failure&) {
            m_progress.Abandon();
            throw;
        }
        return m_result;
    }

private:
    static constexpr int kSilenceMs = 10000;  // after which a service without a sign of life hangs
    static constexpr unsigned kPauseMs = 1000;

    // Asks the service again and again whether it is alive, one question at a time.
    void Ask()
    {
        m_asked = g_get_monotonic_time();
        BeginAskService(m_connection, kSilenceMs, m_cancellable.get(), OnAnswer, this);
    }

    static void OnAnswer(GObject* connection, GAsyncResult* result, void* self)
    {
        if (g_cancellable_is_cancelled(g_task_get_cancellable(G_TASK(result))) != FALSE) return;  // the run has ended
        const ServiceAnswer answer = EndAskService(G_DBUS_CONNECTION(connection), result);
        auto& run = *static_cast<ScanRun*>(self);
        run.m_loop.Guard([&] { run.HandleAnswer(answer); });
    }

    // Events are signs of life, too.
    void HandleAnswer(ServiceAnswer answer)
    {
        if (answer == ServiceAnswer::kSilent && m_heard < m_asked) {
            throw Failure("the detection service does not answer in time", kTimedOut);
        }
        m_pause = g_timeout_add(kPauseMs, OnPaused, this);
    }

    static gboolean OnPaused(void* self)
    {
        auto& run = *static_cast<ScanRun*>(self);
        run.m_pause = 0;
        run.Ask();
        return G_SOURCE_REMOVE;
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

    // The scan of the optical source has the same events, with its port.
    void Handle(const srcwatch_event_s& event)
    {
        m_heard = g_get_monotonic_time();
        if (event.type == SRCWATCH_EVENT_SCAN_PROGRESS && event.args[1] != SRCWATCH_PORT_OPTICAL) {
            m_progress.Show(event.args[0], event.args[1]);
        }
        if (event.type == SRCWATCH_EVENT_SCAN_FINISHED && event.args[2] != SRCWATCH_PORT_OPTICAL) {
            m_result = event.args[0];
            m_progress.Finish(m_result, event.args[1]);
            m_loop.Quit();
        }
    }

    GDBusConnection* const m_connection;
    Progress m_progress;
    const unsigned m_watch;
    const srcwatch::Handle<GCancellable, g_object_unref> m_cancellable{g_cancellable_new()};
    gint64 m_asked = 0;  // when, in microseconds
    gint64 m_heard = 0;  // the last event
    unsigned m_pause = 0;
    int m_result = SRCWATCH_SCAN_FAILED;
    Loop m_loop;
};

void RunScan(std::optional<double> seconds, Output& output)
{
    const Connection connection = ConnectBus();
    RequireHearingService(connection.get());
    const int result = ScanRun(connection.get(), output).Run(seconds);
    if (result != SRCWATCH_SCAN_DONE) throw Failure(std::string("the scan ended: ") + OutcomeText(result));
}

template <std::size_t Count>
void AddCommands(cli::Command group, const ScanCommand (&commands)[Count], Output& output)
{
    for (const ScanCommand& command : commands) {
        group.AddCommand(command.name, command.description).Runs([=, &command, &output] {
            RunCommand(group.Name(), command, output);
        });
    }
}

}  // namespace

void AddScanCommands(cli::Command app, Output& output)
{
    const cli::Command scan = app.AddCommand("scan", "Command the first-setup scan of the HDMI inputs");
    scan.RequireCommand();
    AddCommands(scan, kScanCommands, output);
    scan.AddCommand("status", "Show how far the scan is").Runs([&output] { ShowStatus(output); });

    const auto timeout = std::make_shared<std::optional<double>>();
    const cli::Command run = scan.AddCommand("run", "Start the scan, show its progress, and exit by its result");
    AddTimeout(run, *timeout, "Give up, with exit code 3, after this time");
    run.Runs([=, &output] { RunScan(*timeout, output); });

    const cli::Command optical =
        app.AddCommand("optical", "Command the scan of the optical source, or show its device");
    optical.Runs([=, &output] {
        if (!optical.HasCommand()) ShowPort(SRCWATCH_PORT_OPTICAL, output);
    });
    AddCommands(optical, kOpticalCommands, output);
    optical.AddCommand("show", "Show everything known about the optical source (default)").Runs([&output] {
        ShowPort(SRCWATCH_PORT_OPTICAL, output);
    });
}

}  // namespace ctl
