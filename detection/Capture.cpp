// SPDX-License-Identifier: Apache-2.0
#include "Capture.h"

#include "Aksv.h"
#include "Hex.h"

#include <algorithm>
#include <fstream>
#include <numeric>
#include <utility>

namespace srcwatch {

namespace {

constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kVendorSize = 8;
constexpr std::size_t kProductSize = 16;
constexpr std::size_t kOsdNameSize = 14;

// The messages of one device, with the initiator in front.
class Messages {
public:
    explicit Messages(int initiator) : m_initiator(static_cast<unsigned>(initiator)) {}

    void Add(unsigned destination, std::uint8_t opcode, const Bytes& operands)
    {
        Bytes message = operands;
        message.insert(message.begin(), {static_cast<std::uint8_t>(m_initiator << 4U | destination), opcode});
        m_text += ToHex(message, ":") + "\n";
    }
    const std::string& Text() const { return m_text; }

private:
    const unsigned m_initiator;
    std::string m_text;
};

std::uint8_t Byte(unsigned value) { return static_cast<std::uint8_t>(value & 0xffU); }

std::string Describe(const CecDevice& device)
{
    Messages messages(device.logicalAddress);
    if (device.physicalAddress && device.primaryDeviceType) {
        const unsigned address = *device.physicalAddress;
        messages.Add(CEC_LOG_ADDR_BROADCAST, CEC_MSG_REPORT_PHYSICAL_ADDR,
                     {Byte(address >> 8U), Byte(address), Byte(static_cast<unsigned>(*device.primaryDeviceType))});
    }
    if (device.vendorId) {
        messages.Add(CEC_LOG_ADDR_BROADCAST, CEC_MSG_DEVICE_VENDOR_ID,
                     {Byte(*device.vendorId >> 16U), Byte(*device.vendorId >> 8U), Byte(*device.vendorId)});
    }
    if (!device.osdName.empty()) {
        const std::string name = device.osdName.substr(0, kOsdNameSize);
        messages.Add(CEC_LOG_ADDR_TV, CEC_MSG_SET_OSD_NAME, Bytes(name.begin(), name.end()));
    }
    if (device.version) {
        messages.Add(CEC_LOG_ADDR_TV, CEC_MSG_CEC_VERSION, {Byte(static_cast<unsigned>(*device.version))});
    }
    return messages.Text();
}

Bytes ReadItem(const std::string& directory, const char* file, std::size_t limit, Excess excess, Remarks& remarks)
{
    const auto read = ReadBoundedFile(directory + "/" + file, limit, excess);
    if (!read) return {};
    for (const Remark& remark : read->remarks) remarks.push_back({file, remark.line, remark.text});
    return read->value.value_or(Bytes());
}

// Nothing for what is not a text; absent is empty.
std::optional<std::string> TextOf(const Json::Value& value)
{
    if (value.isNull()) return "";
    return value.isString() ? std::make_optional(value.asString()) : std::nullopt;
}

std::optional<Bytes> BytesOf(const Json::Value& value)
{
    const std::optional<std::string> text = TextOf(value);
    return text ? FromHex(*text) : std::nullopt;
}

}  // namespace

Capture ReadCapture(const std::string& directory, Remarks& remarks)
{
    Capture capture;
    capture.spd = ReadItem(directory, kSpdFile, kBinaryLimit, Excess::kRefused, remarks);
    const Bytes cec = ReadItem(directory, kCecFile, kCecLimit, Excess::kKeepsEnd, remarks);
    capture.cec.assign(cec.begin(), cec.end());
    capture.aksv = ReadItem(directory, kAksvFile, kBinaryLimit, Excess::kRefused, remarks);
    return capture;
}

Json::Value ToJson(const Capture& capture)
{
    Json::Value object;
    object["spd"] = ToHex(capture.spd);
    object["cec"] = capture.cec;
    object["aksv"] = ToHex(capture.aksv);
    return object;
}

std::optional<Capture> CaptureOf(const Json::Value& object)
{
    if (!object.isObject()) return std::nullopt;
    const std::optional<Bytes> spd = BytesOf(object["spd"]);
    const std::optional<std::string> cec = TextOf(object["cec"]);
    const std::optional<Bytes> aksv = BytesOf(object["aksv"]);
    if (!spd || !cec || !aksv) return std::nullopt;
    return Capture{*spd, *cec, *aksv};
}

Capture ComposeCapture(const Evidence& evidence)
{
    Capture capture;
    if (const SpdInfoFrame* const spd = ValueOf(evidence.spd)) capture.spd = ComposeSpdInfoFrame(*spd);
    if (const CecLog* const cec = ValueOf(evidence.cec)) capture.cec = ComposeCecLog(cec->devices);
    if (const std::string* const aksv = ValueOf(evidence.aksv)) capture.aksv = FromHex(*aksv).value_or(Bytes());
    return capture;
}

Bytes ComposeSpdInfoFrame(const SpdInfoFrame& frame)
{
    Bytes bytes = {0x83, 0x01, kVendorSize + kProductSize + 1, 0x00};
    bytes.resize(kHeaderSize + kVendorSize + kProductSize);
    const std::string vendor = frame.vendor.substr(0, kVendorSize);
    const std::string product = frame.product.substr(0, kProductSize);
    std::copy(vendor.begin(), vendor.end(), bytes.begin() + kHeaderSize);
    std::copy(product.begin(), product.end(), bytes.begin() + kHeaderSize + kVendorSize);
    bytes.push_back(Byte(static_cast<unsigned>(frame.sourceInformation)));
    bytes[3] = Byte(0x100U - std::accumulate(bytes.begin(), bytes.end(), 0U) % 0x100U);
    return bytes;
}

int LogicalAddressFor(int deviceType)
{
    switch (deviceType) {
        case CEC_OP_PRIM_DEVTYPE_RECORD:
            return CEC_LOG_ADDR_RECORD_1;
        case CEC_OP_PRIM_DEVTYPE_TUNER:
            return CEC_LOG_ADDR_TUNER_1;
        case CEC_OP_PRIM_DEVTYPE_PLAYBACK:
            return CEC_LOG_ADDR_PLAYBACK_1;
        case CEC_OP_PRIM_DEVTYPE_AUDIOSYSTEM:
            return CEC_LOG_ADDR_AUDIOSYSTEM;
        default:
            return CEC_LOG_ADDR_SPECIFIC;
    }
}

std::string ComposeCecLog(const std::vector<CecDevice>& devices)
{
    std::string log;
    for (const CecDevice& device : devices) log += Describe(device);
    return log;
}

Evidence EvidenceOf(const Capture& capture, int hdmiInput)
{
    Evidence evidence;
    evidence.hdmiInput = hdmiInput;
    if (!capture.spd.empty()) evidence.spd = DecodeSpdInfoFrame(capture.spd);
    if (!capture.cec.empty()) evidence.cec = DecodeCecLog({capture.cec.begin(), capture.cec.end()});
    if (!capture.aksv.empty()) evidence.aksv = DecodeAksv(capture.aksv);
    return evidence;
}

}  // namespace srcwatch
