// SPDX-License-Identifier: Apache-2.0
//
// list, show, get, forget: what is known about the devices.
#include "Answers.h"
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "Ports.h"
#include "RecordFields.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <memory>

namespace ctl {

namespace {

std::string TypeCell(const Json::Value& document)
{
    const Json::Value& type = document["record"]["DevType"];
    if (!document["readable"].asBool() || !type.isInt()) return "unreadable";
    return type.asInt() == 0 ? "" : DeviceTypeName(type.asInt());
}

Cell StateCell(const Json::Value& document)
{
    if (!document["readable"].asBool()) return {"damaged", Colour::kBad};
    const bool isKnown = document["record"]["DevType"].asInt() != 0;
    const bool isConnected = document["connected"].isNull() ? isKnown : document["connected"].asBool();
    if (isConnected) return isKnown ? Cell("detected", Colour::kGood) : Cell("connected");
    return {isKnown ? "gone" : "empty", Colour::kDim};
}

Row ListRow(int port, const Json::Value& document)
{
    const Answer info = AskFor("device_info_str1", port).value();
    const bool isDetected = !TypeCell(document).empty();  // without a device the texts mean nothing
    return {std::to_string(port),
            PortName(port),
            TypeCell(document),
            isDetected ? CellText(info.ValueOf("device_info_str1")) : "",
            isDetected ? CellText(info.ValueOf("device_info_str2")) : "",
            CellText(AskFor("PRName", port)->ValueOf("PRName")),
            CellText(AskFor("codeset", port)->ValueOf("codeset")),
            StateCell(document)};
}

void List(Output& output)
{
    RequireSettings();
    Json::Value document(Json::arrayValue);
    Table table{{"PORT", "INPUT", "TYPE", "NAME", "DETAIL", "PROVIDER", "CODESET", "STATE"}, {}};
    for (const int port : AllPorts()) {
        const Json::Value& entry = document.append(PortDocument(port));
        if (output.ShowsTable()) table.rows.push_back(ListRow(port, entry));
    }
    output.Write(document, table);
}

std::vector<std::string> FieldNames()
{
    std::vector<std::string> names;
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) names.emplace_back(field.key);
    for (const std::string& name : OutputNames()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

void Get(int port, const std::string& field, Output& output)
{
    RequireSettings();
    std::optional<Answer> answer = AskFor(field, port);
    if (!answer) answer = Answer{"the record", SRCWATCH_OK, {{field, LoadRecord(port).members[field]}}};
    const Json::Value value = answer->ValueOf(field);
    const std::string place = "port " + std::to_string(port);
    if (value.isNull() && answer->result == SRCWATCH_OK) {
        throw Failure(answer->function + " has no " + field + " for the device type of " + place);
    }
    if (value.isNull()) {
        throw Failure(answer->function + " returned " + std::to_string(answer->result) + " for " + place + ": " +
                      ResultText(answer->result));
    }
    Json::Value document;
    document["port"] = port;
    document["field"] = field;
    document["value"] = value;
    document["source"] = answer->function;
    output.Write(document, Table{{}, {{CellText(value)}}});
}

void Forget(int port, Output& output)
{
    // A running service has the records in memory and would write them back, so the bus must answer.
    if (ServiceOwner(ConnectBus().get())) {
        srcwatch_event_s request{};
        request.args[0] = port;
        const std::string reply = CallService(SRCWATCH_REQUEST_FORGET, request, "");
        if (!ParseReply(reply).isObject()) {
            throw Failure("the detection service does not know this request: it replies \"" + reply + "\"");
        }
    } else {
        ForgetRecord(port);
    }
    output.Confirm(PortDocument(port), "forgot what was known about " + PortName(port));
}

}  // namespace

void AddPortCommands(CLI::App& app, Output& output)
{
    CLI::App* const list = app.add_subcommand("list", "List the devices on all ports");
    list->callback([&output] { List(output); });

    const auto port = std::make_shared<int>();
    const auto field = std::make_shared<std::string>();
    CLI::App* const show = app.add_subcommand("show", "Show all of a port: its record, and what each function answers");
    AddPort(show, "PORT", *port);
    show->callback([=, &output] { ShowPort(*port, output); });

    CLI::App* const get = app.add_subcommand("get", "Print one value of a port, as it is");
    AddPort(get, "PORT", *port);
    get->add_option("FIELD", *field, "A member of the record, or an output of a function, as 'show' names them")
        ->required()
        ->type_name("")
        ->check(IsOneOf("a field", FieldNames()));
    get->callback([=, &output] { Get(*port, *field, output); });

    CLI::App* const forget = app.add_subcommand("forget", "Clear what is known about a port, all but its deny count");
    AddPort(forget, "PORT", *port);
    forget->callback([=, &output] { Forget(*port, output); });
}

}  // namespace ctl
