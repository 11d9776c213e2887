// SPDX-License-Identifier: Apache-2.0
#include "Composer.h"

#include "Hex.h"
#include "Json.h"

#include <algorithm>
#include <cctype>

namespace panel {

namespace {

constexpr std::size_t kAksvBytes = 5;

struct TextField {
    const char* name;
    std::size_t most;
};
constexpr TextField kTexts[] = {{"vendor", 8}, {"product", 16}, {"osd", 14}};

struct NumberField {
    const char* name;
    int least;
    int most;
};
constexpr NumberField kNumbers[] = {{"source_information", 0, 255}, {"device_type", 0, 7}};

bool IsPrintable(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string FaultOf(const Json::Value& form)
{
    for (const auto& [name, most] : kTexts) {
        if (form[name].isNull()) continue;
        const auto text = TextIn(form, name);
        if (text && text->size() <= most && IsPrintable(*text)) continue;
        return std::string(name) + " is not a text of at most " + std::to_string(most) + " printable ASCII characters";
    }
    for (const auto& [name, least, most] : kNumbers) {
        if (form[name].isNull()) continue;
        const auto number = NumberIn(form, name);
        if (number && *number >= least && *number <= most) continue;
        return std::string(name) + " is not a number from " + std::to_string(least) + " to " + std::to_string(most);
    }
    const auto aksv = form["aksv"].isNull() ? std::string() : TextIn(form, "aksv");
    const auto bytes = aksv ? srcwatch::FromHex(*aksv) : std::nullopt;
    return bytes && bytes->size() <= kAksvBytes ? "" : "aksv is not ten hexadecimal digits";
}

std::string TextOf(const Json::Value& form, const char* name) { return TextIn(form, name).value_or(""); }

srcwatch::Bytes ComposeSpd(const Json::Value& form)
{
    srcwatch::SpdInfoFrame frame;
    frame.vendor = TextOf(form, "vendor");
    frame.product = TextOf(form, "product");
    frame.sourceInformation = NumberIn(form, "source_information").value_or(0);
    const bool isAbsent = frame.vendor.empty() && frame.product.empty() && form["source_information"].isNull();
    return isAbsent ? srcwatch::Bytes() : srcwatch::ComposeSpdInfoFrame(frame);
}

std::string ComposeCec(const Json::Value& form)
{
    srcwatch::CecDevice device;
    device.osdName = TextOf(form, "osd");
    if (device.osdName.empty() && form["device_type"].isNull()) return "";
    device.primaryDeviceType = NumberIn(form, "device_type").value_or(CEC_OP_PRIM_DEVTYPE_PLAYBACK);
    device.logicalAddress = srcwatch::LogicalAddressFor(*device.primaryDeviceType);
    device.physicalAddress = 0x1000;
    return srcwatch::ComposeCecLog({device});
}

}  // namespace

ComposedDevice ComposeDevice(const Json::Value& form)
{
    if (!form.isObject()) return {std::nullopt, "device is not an object"};
    const std::string fault = FaultOf(form);
    if (!fault.empty()) return {std::nullopt, fault};
    const srcwatch::Capture capture{ComposeSpd(form), ComposeCec(form),
                                    srcwatch::FromHex(TextOf(form, "aksv")).value_or(srcwatch::Bytes())};
    if (capture.IsEmpty()) return {std::nullopt, "the device has no data: fill in at least one field"};
    return {capture, ""};
}

}  // namespace panel
