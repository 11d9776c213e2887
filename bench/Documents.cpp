// SPDX-License-Identifier: Apache-2.0
#include "Documents.h"

#include <cstddef>

namespace bench {
namespace {

struct Device {
    int type;
    const char* brand;
    const char* device;
    const char* provider;
    const char* codeset;
    const char* cecName;
    const char* aksv;
};

constexpr Device kDevices[] = {
    {1, "Korvane", "HD Recorder 500", "Northlight Cable", "KV0412", "Recorder 1", "B1A2C3D4E5"},
    {3, "Mirelda", "Blu-ray Player BP350", "", "MI2291", "Blu-ray", "0F1E2D3C4B"},
    {6, "Halvoren", "Game Console X", "", "", "Console", "5A6B7C8D9E"},
    {9, "", "Desktop PC", "", "", "", ""},
    {5, "Sundrift", "Streaming Box 4K", "", "SD1177", "Stream Box", "1122334455"},
    {4, "Mirelda", "Home Theatre HT-9", "", "MI5510", "Theatre", "A5A5A5A5A5"},
    {1, "Calvix", "STB", "STB Provider", "CX0001", "STB", "C0FFEE1234"},
    {7, "Unbranded", "Camcorder", "", "", "Camera", ""},
};
constexpr std::size_t kDeviceCount = sizeof kDevices / sizeof *kDevices;

Json::Value Texts(const char* first, const char* second, const char* third)
{
    Json::Value texts;
    for (const char* text : {first, second, third}) texts.append(text);
    return texts;
}

}  // namespace

std::vector<Record> Records(int count)
{
    std::vector<Record> records;
    for (int port = 0; port < count; ++port) {
        const Device& device = kDevices[static_cast<std::size_t>(port) % kDeviceCount];
        records.push_back({port, device.type, device.brand, device.device, device.provider, device.codeset,
                           device.cecName, device.aksv});
    }
    return records;
}

Json::Value Document(const Record& record)
{
    using Name = Json::StaticString;  // is not copied
    Json::Value document;
    document[Name("PortNum")] = record.port;
    document[Name("BName")] = record.brand;
    document[Name("CName")] = record.codeset;
    document[Name("DevType")] = record.type;
    document[Name("DevName")] = record.device;
    document[Name("PRName")] = record.provider;
    document[Name("sDevType")] = "HDMI";
    document[Name("CDevName")] = record.cecName;
    document[Name("AKSV")] = record.aksv;
    document[Name("UnknownType")] = "";
    document[Name("MFName")] = record.brand;
    document[Name("ModelName")] = record.device;
    document[Name("CECName")] = record.cecName;
    document[Name("ScanState")] = 2;
    document[Name("DenyCount")] = 0;
    document[Name("DMethod")] = 3;
    document[Name("PrevPort")] = record.port;
    document[Name("Changed")] = 1;
    return document;
}

Json::Value ActivityDocument(int records)
{
    Json::Value document;
    for (const Record& record : Records(records)) document["activity"].append(Document(record));
    return document;
}

Json::Value StatisticsDocument(int entries)
{
    Json::Value document;
    for (int i = 0; i < entries; ++i) {
        const Device& device = kDevices[static_cast<std::size_t>(i) % kDeviceCount];
        Json::Value entry;
        entry["port"] = i % 8;
        entry["pri"] = 3;
        entry["t"] = 1250 + i;
        entry["spd"] = Texts(device.brand, device.device, "1");
        entry["result"] = Texts(device.device, device.brand, "");
        document["Auto"].append(entry);
    }
    return document;
}

std::string TextOf(const Json::Value& document) { return Json::writeString(Json::StreamWriterBuilder(), document); }

}  // namespace bench
