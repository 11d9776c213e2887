// SPDX-License-Identifier: Apache-2.0
//
// features, twc: states of the TV and of the detection.
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "Ports.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "Words.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <memory>

#include <system_info.h>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Features

// Null where the platform does not know.
Json::Value ReadSwitch(const char* key)
{
    bool isOn = false;
    if (system_info_get_custom_bool(key, &isOn) != 0) return Json::nullValue;
    return isOn;
}

template <auto Function>
Json::Value Ask(const char* /*name*/)
{
    return Function();
}

struct Feature {
    const char* name;
    const char* source;  // a function of the library or a key of the platform
    Json::Value (*read)(const char* source);
};
constexpr Feature kFeatures[] = {
    {"hdmi_count", "get_hdmi_count", Ask<get_hdmi_count>},
    {"hotplug_enabled", "srcwatch_is_HotPlug_enable", Ask<srcwatch_is_HotPlug_enable>},
    {"hotplug_running", "srcwatch_is_HotPlug_progress", Ask<srcwatch_is_HotPlug_progress>},
    {"mvpd_enabled", "srcwatch_is_MVPD_enable", Ask<srcwatch_is_MVPD_enable>},
    {"notification_shown", "srcwatch_Is_hdmi_notification_running", Ask<srcwatch_Is_hdmi_notification_running>},
    {"no_device", "srcwatch_is_no_device", Ask<srcwatch_is_no_device>},
    {"calvix_remote", "com.korvane/featureconf/bt_profile_bt_calvix", ReadSwitch},
    {"infrared_remote", "com.korvane/featureconf/cx_core_ir_tavrin", ReadSwitch},
};

Cell StateCell(const Json::Value& value)
{
    if (!value.isBool()) return {value.isNull() ? "unknown" : CellText(value)};
    return value.asBool() ? Cell("yes", Colour::kGood) : Cell("no", Colour::kDim);
}

void ShowFeatures(Output& output)
{
    RequireSettings();
    Json::Value document;
    Table table{{"FEATURE", "STATE", "FROM"}, {}};
    for (const Feature& feature : kFeatures) {
        document[feature.name] = feature.read(feature.source);
        table.rows.push_back({feature.name, StateCell(document[feature.name]), feature.source});
    }
    output.Write(document, table);
}

// ---------------------------------------------------------------------------------------------------------------------
// Twc

void ShowTwc(Output& output)
{
    RequireSettings();
    const int status = srcwatch_is_TWC();
    const std::optional<int> sequence = ReadNumber(VCONF_TWC_SEQ_ID);
    const std::optional<int> frames = ReadNumber(VCONF_TWC_FRAME_COUNT);
    Json::Value document;
    document["status"] = status;
    document["state"] = srcwatch::TwcStateName(status);
    document["sequence"] = sequence ? Json::Value(*sequence) : Json::Value();
    document["frames"] = frames ? Json::Value(*frames) : Json::Value();
    output.Write(document, Table{{"STATE", "STATUS", "SEQUENCE", "FRAMES"},
                                 {{srcwatch::TwcStateName(status), std::to_string(status),
                                   CellText(document["sequence"]), CellText(document["frames"])}}});
}

struct TwcCommand {
    const char* name;
    const char* description;
    void (*send)(int port);
    int code;  // that the library writes, plus the port
};
constexpr TwcCommand kTwcCommands[] = {
    {"start", "Start the check of a port", srcwatch_TWC_check_start, SCAN_COMMAND_TWC_CHECK_START},
    {"end", "End the check of a port", srcwatch_TWC_check_end, SCAN_COMMAND_TWC_CHECK_END},
};

void RunTwc(const TwcCommand& command, int port, Output& output)
{
    RequirePort(port);
    RequireHearingService();
    command.send(port);
    RequireNumber(VCONF_SCAN_PROGRESS, command.code + port);
    Json::Value document;
    document["command"] = std::string("twc ") + command.name;
    document["port"] = port;
    output.Confirm(document, document["command"].asString() + " for " + PortName(port) + ": sent");
}

void ReportTuned(int sequence, int frames, Output& output)
{
    RequireHearingService();
    srcwatch_TWC_is_channeltuned(sequence, frames);
    RequireNumber(VCONF_TWC_SEQ_ID, sequence);
    Json::Value document;
    document["command"] = "twc tuned";
    document["sequence"] = sequence;
    document["frames"] = frames;
    output.Confirm(document, "twc tuned: reported");
}

void AddTwc(cli::Command app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto sequence = std::make_shared<int>();
    const auto frames = std::make_shared<int>();
    const cli::Command twc = app.AddCommand("twc", "Command the TWC check of a port, or show its state");
    twc.Runs([=, &output] {
        if (!twc.HasCommand()) ShowTwc(output);
    });
    twc.AddCommand("status", "Show the state of the check (default)").Runs([&output] { ShowTwc(output); });

    for (const TwcCommand& command : kTwcCommands) {
        const cli::Command sent = twc.AddCommand(command.name, command.description);
        AddHdmiPort(sent, *port);
        sent.Runs([=, &command, &output] { RunTwc(command, *port, output); });
    }

    const cli::Command tuned = twc.AddCommand("tuned", "Report a tuned channel to the check");
    tuned.AddArgument("SEQUENCE", sequence.get(), "Sequence identifier").Required().CheckedBy(IsNumber());
    tuned.AddArgument("FRAMES", frames.get(), "Frame count").Required().CheckedBy(IsNumber());
    tuned.Runs([=, &output] { ReportTuned(*sequence, *frames, output); });
}

}  // namespace

void AddStateCommands(cli::Command app, Output& output)
{
    app.AddCommand("features", "Show what the TV supports and what is running").Runs([&output] {
        ShowFeatures(output);
    });
    AddTwc(app, output);
}

}  // namespace ctl
