// SPDX-License-Identifier: Apache-2.0
//
// features, twc, stats: states of the TV and of the detection.
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "DeviceType.h"
#include "Inspection.h"
#include "Ports.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <array>
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

const char* TwcStateName(int status)
{
    switch (status) {
        case SRCWATCH_TWC_NO_SET_TOP_BOX:
            return "no set-top box";
        case SRCWATCH_TWC_WAITING:
            return "waiting for a channel";
        case SRCWATCH_TWC_TUNED:
            return "tuned";
        default:
            return status < 0 ? "no check" : "unknown";
    }
}

void ShowTwc(Output& output)
{
    RequireSettings();
    const int status = srcwatch_is_TWC();
    const std::optional<int> sequence = ReadNumber(VCONF_TWC_SEQ_ID);
    const std::optional<int> frames = ReadNumber(VCONF_TWC_FRAME_COUNT);
    Json::Value document;
    document["status"] = status;
    document["state"] = TwcStateName(status);
    document["sequence"] = sequence ? Json::Value(*sequence) : Json::Value();
    document["frames"] = frames ? Json::Value(*frames) : Json::Value();
    output.Write(document, Table{{"STATE", "STATUS", "SEQUENCE", "FRAMES"},
                                 {{TwcStateName(status), std::to_string(status), CellText(document["sequence"]),
                                   CellText(document["frames"])}}});
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
    RequireService();
    command.send(port);
    RequireNumber(VCONF_SCAN_PROGRESS, command.code + port);
    Json::Value document;
    document["command"] = std::string("twc ") + command.name;
    document["port"] = port;
    output.Confirm(document, document["command"].asString() + " for " + PortName(port) + ": sent");
}

void ReportTuned(int sequence, int frames, Output& output)
{
    RequireService();
    srcwatch_TWC_is_channeltuned(sequence, frames);
    RequireNumber(VCONF_TWC_SEQ_ID, sequence);
    Json::Value document;
    document["command"] = "twc tuned";
    document["sequence"] = sequence;
    document["frames"] = frames;
    output.Confirm(document, "twc tuned: reported");
}

void AddTwc(CLI::App& app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto sequence = std::make_shared<int>();
    const auto frames = std::make_shared<int>();
    CLI::App* const twc = app.add_subcommand("twc", "Command the TWC check of a port, or show its state");
    twc->require_subcommand(0, 1);
    twc->callback([=, &output] {
        if (twc->get_subcommands().empty()) ShowTwc(output);
    });
    twc->add_subcommand("status", "Show the state of the check, as without a command")->callback([&output] {
        ShowTwc(output);
    });

    for (const TwcCommand& command : kTwcCommands) {
        CLI::App* const sent = twc->add_subcommand(command.name, command.description);
        AddHdmiPort(sent, *port);
        sent->callback([=, &command, &output] { RunTwc(command, *port, output); });
    }

    CLI::App* const tuned = twc->add_subcommand("tuned", "Report a tuned channel to the check");
    tuned->add_option("SEQUENCE", *sequence, "Sequence identifier")->required()->type_name("")->transform(IsNumber());
    tuned->add_option("FRAMES", *frames, "Frame count")->required()->type_name("")->transform(IsNumber());
    tuned->callback([=, &output] { ReportTuned(*sequence, *frames, output); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Stats

constexpr std::size_t kStatisticsPorts = 8;  // that the library's function fills

// The entries that are remembered; empty without a document. The library returns none then, and also where it cannot
// read the document that is there.
Json::Value LoadEntries()
{
    std::string text;
    const srcwatch::ReadResult result = ReadText(VCONF_SPD_AKSV_1, text);
    if (result == srcwatch::ReadResult::kTooLarge) ThrowTooLarge(VCONF_SPD_AKSV_1);
    if (result == srcwatch::ReadResult::kFailed) ThrowUnreadableStore();
    if (result == srcwatch::ReadResult::kAbsent) return Json::arrayValue;
    const srcwatch::JsonText json(text);
    if (!Inspect(json, srcwatch::StoredKind::kStatistics).IsReadable()) ThrowUnreadableDocument(VCONF_SPD_AKSV_1);
    return json.Root()["Auto"];
}

// A member that is a list of three texts; the library ignores any other.
Json::Value ThreeTexts(const Json::Value& entry, const char* name)
{
    Json::Value texts(Json::arrayValue);
    const Json::Value& list = entry[name];
    const bool isUsed = list.isArray() && list.size() == 3;
    for (Json::ArrayIndex i = 0; i < 3; ++i) texts.append(isUsed ? list[i].asString() : "");
    return texts;
}

Json::Value DescribeDetection(const Json::Value& entry)
{
    const Json::Value spd = ThreeTexts(entry, "spd");
    const Json::Value result = ThreeTexts(entry, "result");
    const Json::Value& vendorId = entry["vendor_id"];
    Json::Value json;
    json["t"] = entry.get("t", -1).asInt();
    json["spd_vendor"] = spd[0];
    json["spd_product"] = spd[1];
    json["osd_name"] = spd[2];
    json["vendor_id"] = vendorId.isString() ? vendorId : "";
    json["method"] = entry["pri"].asInt();
    json["method_name"] = srcwatch::DetectionMethodText(entry["pri"].asInt());
    json["type"] = result[2];
    json["result"].append(result[0]);
    json["result"].append(result[1]);
    return json;
}

// What is remembered of a port, the newest last. The library uses no entry without a method either.
Json::Value HistoryOf(int port, const Json::Value& entries)
{
    Json::Value history(Json::arrayValue);
    for (const Json::Value& entry : entries) {
        const bool isUsed = entry.isObject() && entry.isMember("port") && entry.isMember("pri");
        if (isUsed && entry["port"].asInt() == port) history.append(DescribeDetection(entry));
    }
    return history;
}

Json::Value DescribeStatistics(int port, const srcwatch_kpi_info_s& info, const Json::Value& entries)
{
    const Json::Value history = HistoryOf(port, entries);
    const Json::Value last = history.empty() ? DescribeDetection(Json::objectValue) : history[history.size() - 1];
    Json::Value json;
    json["port"] = port;
    json["hdmi_no"] = info.hdmi_no;
    json["t"] = info.t;
    json["spd_vendor"] = info.spd_vendor;
    json["spd_product"] = info.spd_product;
    json["result_first"] = info.result_first;
    for (const char* const name : {"method", "method_name", "type", "result"}) json[name] = last[name];
    json["history"] = history;
    return json;
}

void ShowStatistics(Output& output)
{
    RequireSettings();
    const Json::Value entries = LoadEntries();
    std::array<srcwatch_kpi_info_s, kStatisticsPorts> infos{};
    if (srcwatch_get_all_device_kpi_info(infos.data()) != SRCWATCH_OK) ThrowUnreadableDocument(VCONF_SPD_AKSV_1);
    Json::Value document(Json::arrayValue);
    Table table{{"PORT", "INPUT", "TIME", "VENDOR", "PRODUCT", "RESULT", "METHOD", "TYPE"}, {}};
    for (std::size_t i = 0; i < infos.size(); ++i) {
        const srcwatch_kpi_info_s& info = infos[i];
        if (info.hdmi_no == 0) continue;  // untouched: the port has no entry
        const int port = static_cast<int>(i);
        const Json::Value& json = document.append(DescribeStatistics(port, info, entries));
        const std::string time = info.t < 0 ? "" : std::to_string(info.t) + " ms";
        table.rows.push_back({std::to_string(i), PortName(port), time, info.spd_vendor, info.spd_product,
                              info.result_first, CellText(json["method_name"]), CellText(json["type"])});
    }
    output.Write(document, table);
}

}  // namespace

void AddStateCommands(CLI::App& app, Output& output)
{
    app.add_subcommand("features", "Show what the TV supports and what is running")->callback([&output] {
        ShowFeatures(output);
    });
    AddTwc(app, output);
    app.add_subcommand("stats", "Show the statistics of the last detection on each HDMI port")->callback([&output] {
        ShowStatistics(output);
    });
}

}  // namespace ctl
