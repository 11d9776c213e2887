// SPDX-License-Identifier: Apache-2.0
#include "Ports.h"

#include "Failure.h"
#include "JsonText.h"
#include "QDInfoCommon.h"
#include "QDInfoNames.h"
#include "RecordFields.h"
#include "Records.h"
#include "Settings.h"
#include "Statistics.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <numeric>

#include <TVServiceAPI.h>
#include <glib.h>

namespace ctl {

namespace {

// Null where the TV service does not know, as for the optical source.
Json::Value IsConnected(int port)
{
    if (!IsHdmiPort(port)) return Json::nullValue;
    ISourceControl* control = nullptr;
    if (TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, &control) != 0 || control == nullptr) {
        return Json::nullValue;
    }
    bool isConnected = false;
    if (control->IsExternalSourceConnected(qdinfo::HDMI_SOURCE_IDS[port], &isConnected) < 1) return Json::nullValue;
    return isConnected;
}

// From the statistics, which also have what was there before.
Json::Value DevicesBehind(int port, bool hasDevice)
{
    const std::optional<std::string> text = ReadText(VCONF_SPD_AKSV_1);
    const Json::Value document = text ? srcwatch::ParseJson(*text).value_or(Json::nullValue) : Json::Value();
    const bool isStatistics = document.isObject() && document["Auto"].isArray();
    return isStatistics && hasDevice ? srcwatch::Statistics(document).BehindOn(port) : Json::Value(Json::arrayValue);
}

Cell ResultCell(int result)
{
    const std::string code = std::to_string(result);
    if (result == SRCWATCH_OK) return {code, Colour::kGood};
    return {code + " (" + srcwatch::ResultText(result) + ")", Colour::kBad};
}

}  // namespace

std::vector<int> AllPorts()
{
    const int known = get_hdmi_count();
    const int count = std::min(known > 0 ? known : CountStoredRecords(), kHdmiPorts);
    std::vector<int> ports(static_cast<std::size_t>(count));
    std::iota(ports.begin(), ports.end(), 0);
    ports.push_back(SRCWATCH_PORT_OPTICAL);
    return ports;
}

void RequirePort(int port)
{
    const int known = get_hdmi_count();
    if (IsHdmiPort(port) && known > 0 && port >= known) throw Failure("the TV has no input " + PortName(port));
}

Json::Value PortDocument(int port)
{
    const StoredRecord record = LoadRecord(port);
    Json::Value document;
    document["port"] = port;
    document["input"] = PortName(port);
    document["connected"] = IsConnected(port);
    document["stored"] = record.stored;
    document["readable"] = record.readable;
    document["record"] = record.members;
    return document;
}

void AddRows(const srcwatch::Answer& answer, const Cell& last, Table& table)
{
    for (const srcwatch::AnsweredValue& value : answer.values) {
        const Cell cell = value.value.isNull() ? Cell("(untouched)", Colour::kDim) : Cell(CellText(value.value));
        table.rows.push_back({answer.function, value.name, cell, last});
    }
}

void ShowPort(int port, Output& output)
{
    RequirePort(port);
    RequireSettings();
    const std::vector<srcwatch::Answer> answers = srcwatch::AskAll(port);
    Json::Value document = PortDocument(port);
    document["answers"] = srcwatch::AnswersToJson(answers);
    document["behind"] = DevicesBehind(port, document["record"]["DevType"] != 0);

    Table table{{"FROM", "NAME", {"VALUE", Fit::kWrapped}, "RESULT"}, {}};
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) {
        table.rows.push_back({"record", field.key, CellText(document["record"][field.key]), ""});
    }
    for (const srcwatch::Answer& answer : answers) AddRows(answer, ResultCell(answer.result), table);
    for (const Json::Value& device : document["behind"]) {
        const std::string name = CellText(device["osd_name"]) + " (" + CellText(device["device_type"]) + ")";
        table.rows.push_back({"behind", CellText(device["physical_address"]), name, ""});
    }
    output.Write(document, table);
}

}  // namespace ctl
