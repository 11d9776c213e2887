// SPDX-License-Identifier: Apache-2.0
#include "Statistics.h"

#include "srcwatch-protocol.h"

#include <algorithm>

#include <json/json.h>

namespace srcwatch {

namespace {

constexpr const char* kEntries = "Auto";
constexpr Json::ArrayIndex kEntriesPerPort = 8;

// Other programs may have written entries: anything unexpected reads as nothing.
int ReadPort(const Json::Value& entry)
{
    if (!entry.isObject() || !entry["port"].isInt()) return -1;
    return entry["port"].asInt();
}

std::string ReadText(const Json::Value& value) { return value.isString() ? value.asString() : ""; }

Identity ReadIdentity(const Json::Value& entry)
{
    Identity identity;
    identity.aksv = ReadText(entry["aksv"]);
    identity.vendorId = ReadText(entry["vendor_id"]);
    const Json::Value& spd = entry["spd"];
    if (spd.isArray() && spd.size() == 3) {
        identity.vendor = ReadText(spd[0]);
        identity.product = ReadText(spd[1]);
        identity.osdName = ReadText(spd[2]);
    }
    return identity;
}

Json::Value TextList(const std::string& first, const std::string& second, const std::string& third)
{
    Json::Value list(Json::arrayValue);
    for (const std::string& text : {first, second, third}) list.append(text);
    return list;
}

// The texts that applications show for a device, and its type.
Json::Value ResultTexts(const Classification& classification)
{
    const bool stb = classification.deviceType == SRCWATCH_DEVICE_SET_TOP_BOX;
    return TextList(stb ? classification.providerName : classification.deviceName,
                    stb ? classification.unknownType : classification.brandName, classification.deviceTypeText);
}

// What a record does not have. Most devices have none behind them.
void WriteCec(const Classification& classification, Json::Value& entry)
{
    entry["vendor_id"] = classification.vendorId;
    entry.removeMember("behind");
    for (const CecDevice& device : classification.behind) entry["behind"].append(DescribeBehind(device));
}

// Keeps the last entries of a port, and those of all other ports.
void Trim(Json::Value& entries, int port)
{
    const auto count = std::count_if(entries.begin(), entries.end(),
                                     [&](const Json::Value& entry) { return ReadPort(entry) == port; });
    auto surplus = count - static_cast<std::ptrdiff_t>(kEntriesPerPort);
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& entry : entries) {
        if (ReadPort(entry) == port && surplus-- > 0) continue;
        kept.append(entry);
    }
    entries = std::move(kept);
}

}  // namespace

Json::Value DescribeBehind(const CecDevice& device)
{
    Json::Value json;
    json["logical_address"] = device.logicalAddress;
    json["physical_address"] = device.physicalAddress ? PhysicalAddressText(*device.physicalAddress) : "";
    json["osd_name"] = device.osdName;
    json["vendor_id"] = device.vendorId ? VendorIdText(*device.vendorId) : "";
    json["device_type"] = CecDeviceTypeName(device);
    return json;
}

Statistics::Statistics() : m_document(Json::objectValue) { m_document[kEntries] = Json::arrayValue; }

Statistics::Statistics(Json::Value document) : m_document(std::move(document)) {}

std::string Statistics::Text() const { return Json::writeString(Json::StreamWriterBuilder(), m_document); }

void Statistics::Add(int port, const Classification& classification, int milliseconds)
{
    Json::Value entry;
    entry["port"] = port;
    entry["pri"] = static_cast<int>(classification.method);
    entry["t"] = milliseconds;
    entry["spd"] = TextList(classification.manufacturerName, classification.modelName, classification.cecName);
    entry["result"] = ResultTexts(classification);
    entry["aksv"] = classification.aksv;
    WriteCec(classification, entry);
    m_document[kEntries].append(entry);
    Trim(m_document[kEntries], port);
}

bool Statistics::Refresh(int port, const Classification& classification)
{
    Json::Value& entries = m_document[kEntries];
    for (Json::ArrayIndex i = entries.size(); i-- > 0;) {
        if (ReadPort(entries[i]) != port) continue;
        const Json::Value before = entries[i];
        WriteCec(classification, entries[i]);
        return entries[i] != before;
    }
    return false;
}

Json::Value Statistics::LastOn(int port) const
{
    const Json::Value& entries = m_document[kEntries];
    for (Json::ArrayIndex i = entries.size(); i-- > 0;) {
        if (ReadPort(entries[i]) == port) return entries[i];
    }
    return Json::nullValue;
}

Json::Value Statistics::BehindOn(int port) const
{
    const Json::Value entry = LastOn(port);
    return entry["behind"].isArray() ? entry["behind"] : Json::Value(Json::arrayValue);
}

Past Statistics::FindPast(int port, const Identity& identity, const std::function<bool(int)>& isOccupied) const
{
    // From the last entry backwards: the last one of this port, the last one of the device elsewhere.
    const Json::Value& entries = m_document[kEntries];
    bool portSeen = false;
    bool sameAsLastHere = false;
    int previousPort = -1;
    bool movedSince = false;
    for (Json::ArrayIndex i = entries.size(); i-- > 0;) {
        const Json::Value& entry = entries[i];
        const int entryPort = ReadPort(entry);
        if (entryPort < 0) continue;
        const bool same = identity.Matches(ReadIdentity(entry));
        if (entryPort == port) {
            if (!portSeen) sameAsLastHere = same;
            portSeen = true;
        } else if (same && previousPort < 0 && !isOccupied(entryPort)) {
            previousPort = entryPort;
            movedSince = !portSeen || !sameAsLastHere;
        }
    }
    if (movedSince) return Past{previousPort, SRCWATCH_CHANGED_MOVED};
    return Past{previousPort, sameAsLastHere ? SRCWATCH_CHANGED_NOT : SRCWATCH_CHANGED_NEW};
}

}  // namespace srcwatch
