// SPDX-License-Identifier: Apache-2.0
//
// unknown: the devices that the service kept because no profile matched them.
#include "Captures.h"
#include "Classification.h"
#include "Commands.h"
#include "Ports.h"
#include "Settings.h"
#include "UnknownDevices.h"
#include "srcwatch-protocol.h"

#include <memory>

namespace ctl {

namespace {

srcwatch::UnknownDevices Load()
{
    RequireSettings();
    return srcwatch::UnknownDevices(ReadText(SRCWATCH_UNKNOWN_DEVICES_KEY).value_or(""));
}

std::string NameOf(std::size_t index) { return "unknown-" + std::to_string(index + 1); }

Json::Value Describe(std::size_t index, const srcwatch::UnknownDevice& device)
{
    const srcwatch::Evidence evidence = EvidenceOf(device.capture);
    const srcwatch::Signs signs = SignsOf(evidence);
    Json::Value json;
    json["name"] = NameOf(index);
    json["port"] = device.port;
    json["type"] = Classify(evidence, srcwatch::Profiles()).deviceType;
    json["vendor"] = signs.vendor;
    json["product"] = signs.product;
    json["osd"] = signs.osd;
    json["vendor_id"] = signs.vendorId;
    return json;
}

void List(Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{"NAME", "INPUT", "TYPE", "VENDOR", "PRODUCT", "OSD NAME", "VENDOR ID"}, {}};
    const srcwatch::UnknownDevices devices = Load();
    for (std::size_t i = 0; i < devices.All().size(); ++i) {
        const Json::Value json = Describe(i, devices.All()[i]);
        document.append(json);
        table.rows.push_back({CellText(json["name"]), PortName(json["port"].asInt()), NameOfType(json["type"].asInt()),
                              CellText(json["vendor"]), CellText(json["product"]), CellText(json["osd"]),
                              CellText(json["vendor_id"])});
    }
    output.Write(document, table);
}

void Confirm(const char* command, std::size_t count, const std::string& sentence, Output& output)
{
    Json::Value document;
    document["command"] = command;
    document["devices"] = static_cast<Json::UInt64>(count);
    output.Confirm(document, sentence);
}

void Save(const std::string& directory, Output& output)
{
    const srcwatch::UnknownDevices devices = Load();
    for (std::size_t i = 0; i < devices.All().size(); ++i) {
        SaveCapture(directory + "/" + NameOf(i), devices.All()[i].capture);
    }
    const std::size_t count = devices.All().size();
    Confirm("unknown save", count, "saved " + std::to_string(count) + " capture(s) in " + directory, output);
}

void Clear(Output& output)
{
    const std::size_t count = Load().All().size();
    WriteText(SRCWATCH_UNKNOWN_DEVICES_KEY, srcwatch::UnknownDevices("").Text());
    Confirm("unknown clear", count, "cleared " + std::to_string(count) + " device(s)", output);
}

}  // namespace

void AddUnknownCommands(cli::Command app, Output& output)
{
    const auto directory = std::make_shared<std::string>();
    const cli::Command unknown = app.AddCommand("unknown", "Show, save or clear the devices that no profile matched");
    unknown.RequireCommand();
    unknown.AddCommand("list", "List them").Runs([&output] { List(output); });
    const cli::Command save = unknown.AddCommand("save", "Save them as captures, ready for a profile");
    save.AddArgument("DIR", directory.get(), "Directory of the new captures").Required();
    save.Runs([=, &output] { Save(*directory, output); });
    unknown.AddCommand("clear", "Forget them").Runs([&output] { Clear(output); });
}

}  // namespace ctl
