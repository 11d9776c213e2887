// SPDX-License-Identifier: Apache-2.0
//
// stats: the detections that are remembered, for people and as lines for a fleet.
#include "Arguments.h"
#include "Commands.h"
#include "DetectionLine.h"
#include "Failure.h"
#include "Inspection.h"
#include "Ports.h"
#include "QDInfoCommon.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-api.h"

#include <array>
#include <chrono>
#include <memory>
#include <set>
#include <vector>

namespace ctl {

namespace {

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

// The port of an entry; -1 for one without a method, which the library does not use either.
int PortOf(const Json::Value& entry)
{
    const bool isUsed = entry.isObject() && entry.isMember("port") && entry.isMember("pri");
    return isUsed ? entry["port"].asInt() : -1;
}

// What is remembered of a port, the newest last.
Json::Value HistoryOf(int port, const Json::Value& entries)
{
    Json::Value history(Json::arrayValue);
    for (const Json::Value& entry : entries) {
        if (PortOf(entry) == port) history.append(srcwatch::DescribeDetection(entry));
    }
    return history;
}

Json::Value DescribeStatistics(int port, const srcwatch_kpi_info_s& info, const Json::Value& entries)
{
    const Json::Value history = HistoryOf(port, entries);
    const Json::Value last =
        history.empty() ? srcwatch::DescribeDetection(Json::objectValue) : history[history.size() - 1];
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

// How often viewers denied what was detected on a port. It is counted for the port, so it says nothing of what was
// there before.
std::optional<int> DenialsOn(int port)
{
    const StoredRecord record = LoadRecord(port);
    return record.readable ? std::optional<int>(record.members["DenyCount"].asInt()) : std::nullopt;
}

struct ExportOptions {
    std::string tv;
    std::string firmware;
    std::string keyFile;
};

srcwatch::Origin OriginOf(const ExportOptions& options)
{
    srcwatch::Origin origin;
    origin.tv = options.tv.empty() ? srcwatch::DefaultTv() : options.tv;
    origin.firmware = options.firmware.empty() ? srcwatch::DefaultFirmware() : options.firmware;
    if (options.keyFile.empty()) return origin;
    const srcwatch::AksvKey key = srcwatch::ReadAksvKey(options.keyFile);
    if (!key.failure.empty()) throw Failure(key.failure);
    origin.aksvKey = key.key;
    return origin;
}

// The oldest first. Lines are what is read elsewhere, so they are the form unless another one is wanted.
void ExportStatistics(const ExportOptions& options, Output& output)
{
    RequireSettings();
    const srcwatch::Origin origin = OriginOf(options);
    const Json::Value entries = LoadEntries();
    const auto now = std::chrono::system_clock::now();
    std::vector<Json::Value> lines;
    std::set<int> seen;  // ports, from the newest entry backwards
    for (Json::ArrayIndex i = entries.size(); i-- > 0;) {
        const int port = PortOf(entries[i]);
        if (!IsHdmiPort(port) && port != OPTICAL_PORT) continue;
        const std::optional<int> denied = seen.insert(port).second ? DenialsOn(port) : std::nullopt;
        lines.push_back(
            srcwatch::DetectionLine(origin, {srcwatch::Occasion::kRemembered, port, entries[i], denied}, now));
    }
    if (output.ShowsTable()) output.SetFormat(Format::kJsonl);
    output.BeginStream();
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) output.Element(*line, {});
    output.EndStream();
}

}  // namespace

void AddStatisticsCommand(cli::Command app, Output& output)
{
    const auto options = std::make_shared<ExportOptions>();
    const auto isExport = std::make_shared<bool>(false);
    const cli::Command stats = app.AddCommand("stats", "Show the statistics of the last detection on each HDMI port");
    const cli::Option lines = stats.AddFlag("--export", isExport.get(),
                                            "Write all that is remembered instead, a line of JSON for each detection");
    stats.AddOption("--tv", &options->tv, "ID", "Id of the TV in the lines, instead of one made of its machine-id")
        .Needs(lines)
        .CheckedBy({srcwatch::CheckOriginText});
    stats.AddOption("--firmware", &options->firmware, "VERSION", "Version in the lines, instead of that in os-release")
        .Needs(lines)
        .CheckedBy({srcwatch::CheckOriginText});
    stats
        .AddOption("--aksv-key", &options->keyFile, "FILE",
                   "Secret with which AKSVs are hashed; without, they are left out")
        .Needs(lines);
    stats.Runs([=, &output] { *isExport ? ExportStatistics(*options, output) : ShowStatistics(output); });
}

}  // namespace ctl
