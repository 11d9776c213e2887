// SPDX-License-Identifier: Apache-2.0
#include "UnknownDevices.h"

#include "Classification.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <tuple>

#include <json/json.h>

namespace srcwatch {

namespace {

constexpr const char* kDevices = "devices";

auto ModelOf(const Capture& capture)
{
    const Signs signs = SignsOf(EvidenceOf(capture));
    return std::make_tuple(signs.vendor, signs.product, signs.osd, signs.vendorId, signs.sourceInformation,
                           signs.deviceType);
}

// Returns the list of the devices; null if there is none.
Json::Value Parse(const std::string& text)
try {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    std::string errors;
    const bool isJson = reader->parse(text.data(), text.data() + text.size(), &root, &errors);
    return isJson && root.isObject() && root[kDevices].isArray() ? root[kDevices] : Json::Value();
} catch (const Json::Exception&) {  // nested too deep
    return {};
}

std::optional<UnknownDevice> Read(const Json::Value& entry)
{
    if (!entry.isObject() || !entry["port"].isInt()) return std::nullopt;
    const std::optional<Capture> capture = CaptureOf(entry);
    if (!capture || capture->IsEmpty()) return std::nullopt;
    return UnknownDevice{entry["port"].asInt(), *capture};
}

}  // namespace

UnknownDevices::UnknownDevices(const std::string& text)
{
    const Json::Value list = Parse(text);
    for (const Json::Value& entry : list) {
        if (const std::optional<UnknownDevice> device = Read(entry)) m_devices.push_back(*device);
    }
    m_areAll = text.empty() || (list.isArray() && m_devices.size() == list.size());
}

std::string UnknownDevices::Text() const
{
    Json::Value root;
    root[kDevices] = Json::arrayValue;
    for (const UnknownDevice& device : m_devices) {
        Json::Value entry = ToJson(device.capture);
        entry["port"] = device.port;
        root[kDevices].append(entry);
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, root);
}

bool UnknownDevices::Add(int port, const Capture& capture)
{
    const auto model = ModelOf(capture);
    const bool isThere = std::any_of(m_devices.begin(), m_devices.end(),
                                     [&](const UnknownDevice& device) { return ModelOf(device.capture) == model; });
    if (capture.IsEmpty() || isThere) return false;
    m_devices.push_back({port, capture});
    if (m_devices.size() > kMost) {
        m_devices.erase(m_devices.begin(), m_devices.end() - static_cast<std::ptrdiff_t>(kMost));
    }
    return true;
}

}  // namespace srcwatch
