// SPDX-License-Identifier: Apache-2.0
#include "Capture.h"

#include "Aksv.h"

#include <algorithm>
#include <charconv>
#include <numeric>

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
        Bytes message = {static_cast<std::uint8_t>(m_initiator << 4U | destination), opcode};
        message.insert(message.end(), operands.begin(), operands.end());
        std::string line;
        for (const std::uint8_t byte : message) line += (line.empty() ? "" : ":") + ToHex({byte});
        m_text += line + "\n";
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

}  // namespace

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

std::string ComposeCecLog(const std::vector<CecDevice>& devices)
{
    std::string log;
    for (const CecDevice& device : devices) log += Describe(device);
    return log;
}

Evidence EvidenceOf(const Capture& capture)
{
    Evidence evidence;
    if (!capture.spd.empty()) evidence.spd = DecodeSpdInfoFrame(capture.spd);
    if (!capture.cec.empty()) evidence.cec = DecodeCecLog({capture.cec.begin(), capture.cec.end()});
    if (!capture.aksv.empty()) evidence.aksv = DecodeAksv(capture.aksv);
    return evidence;
}

std::string ToHex(const Bytes& bytes)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text;
}

std::optional<Bytes> FromHex(const std::string& digits)
{
    if (digits.size() % 2 != 0) return std::nullopt;
    Bytes bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        std::uint8_t byte = 0;
        const char* const end = digits.data() + at + 2;
        const auto [last, error] = std::from_chars(digits.data() + at, end, byte, 16);
        if (error != std::errc() || last != end) return std::nullopt;
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace srcwatch
