// SPDX-License-Identifier: Apache-2.0
//
// list, show, get, forget: what is known about the devices.
#include "Answers.h"
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "PortDocument.h"
#include "Ports.h"
#include "RecordFields.h"
#include "Records.h"
#include "Requests.h"
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
    const bool known = document["record"]["DevType"].asInt() != 0;
    const bool connected = document["connected"].isNull() ? known : document["connected"].asBool();
    if (connected) return known ? Cell("detected", Colour::kGood) : Cell("connected");
    return {known ? "gone" : "empty", Colour::kDim};
}

Row ListRow(int port, const Json::Value& document)
{
    const Answer info = AskFor("device_info_str1", port).value();
    const bool device = !TypeCell(document).empty();  // for none there is nothing to show
    return {std::to_string(port),
            PortName(port),
            TypeCell(document),
            device ? CellText(info.ValueOf("device_info_str1")) : "",
            device ? CellText(info.ValueOf("device_info_str2")) : "",
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

// The bare value of one output or member.
struct Lookup {
    Json::Value value;
    int result = SRCWATCH_OK;
    std::string source;
};

std::vector<std::string> FieldNames()
{
    std::vector<std::string> names;
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) names.emplace_back(field.key);
    for (const std::string& name : OutputNames()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

// Through the library's function where one gives the field.
Lookup Find(int port, const std::string& field)
{
    if (const std::optional<Answer> answer = AskFor(field, port)) {
        return {answer->ValueOf(field), answer->result, answer->function};
    }
    return {LoadRecord(port).members[field], SRCWATCH_OK, "the record"};
}

void Get(int port, const std::string& field, Output& output)
{
    RequireSettings();
    const Lookup found = Find(port, field);
    if (found.value.isNull() && found.result == SRCWATCH_OK) {
        throw Failure(found.source + " gives no " + field + " for the device type of port " + std::to_string(port));
    }
    if (found.value.isNull()) {
        throw Failure(found.source + " answers " + std::to_string(found.result) + " for port " + std::to_string(port) +
                      ": " + ResultText(found.result));
    }
    Json::Value document;
    document["port"] = port;
    document["field"] = field;
    document["value"] = found.value;
    document["source"] = found.source;
    output.Write(document, Table{{}, {{CellText(found.value)}}});
}

bool ServiceRuns()
{
    try {
        return ServiceOwner(ConnectBus().get()).has_value();
    } catch (const Failure&) {
        return false;  // without a bus there is no service
    }
}

void Forget(int port, Output& output)
{
    // The service has the records in memory and would write them back.
    if (ServiceRuns()) {
        srcwatch_event_s request{};
        request.args[0] = port;
        (void)CallForDocument(SRCWATCH_REQUEST_FORGET, request, "");
    } else {
        ForgetRecord(port);
    }
    output.Say(PortDocument(port), "forgot what was known about " + PortName(port));
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
        ->check(CLI::IsMember(FieldNames()).description(""));
    get->callback([=, &output] { Get(*port, *field, output); });

    CLI::App* const forget = app.add_subcommand("forget", "Clear what is known about a port, all but its deny count");
    AddPort(forget, "PORT", *port);
    forget->callback([=, &output] { Forget(*port, output); });
}

}  // namespace ctl
