// SPDX-License-Identifier: Apache-2.0
#include "CecLog.h"

#include "AsciiField.h"
#include "Hex.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace srcwatch {

namespace {

constexpr std::size_t kHeaderAndOpcode = 2;

constexpr const char* kNotHex = "not hexadecimal bytes with ':' between";

bool IsSpace(char c) { return c == ' ' || c == '\t'; }

// Without a comment, and without the spaces around the bytes.
std::string MessagePartOf(const std::string& line)
{
    std::string text = line.substr(0, line.find('#'));
    while (!text.empty() && (IsSpace(text.back()) || text.back() == '\r')) text.pop_back();
    const auto first = std::find_if_not(text.begin(), text.end(), IsSpace);
    return {first, text.end()};
}

// Between two bytes stands a ':', or spaces, or both. Returns the place of the next byte; npos if nothing separates it.
std::size_t SkipSeparator(const std::string& text, std::size_t at)
{
    std::size_t next = at;
    while (next < text.size() && IsSpace(text[next])) ++next;
    if (next < text.size() && text[next] == ':') ++next;
    while (next < text.size() && IsSpace(text[next])) ++next;
    return next == at || next == text.size() ? std::string::npos : next;
}

Decoded<Bytes> ParseMessage(const std::string& text)
{
    Bytes message;
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = ByteFromHex(text.substr(at, 2));
        const std::size_t end = at + 2;
        at = end >= text.size() ? end : SkipSeparator(text, end);
        if (!byte || at == std::string::npos) return {std::nullopt, OnlyRemark(kNotHex)};
        if (message.size() == CEC_MAX_MSG_SIZE) return {std::nullopt, OnlyRemark("more than 16 bytes")};
        message.push_back(*byte);
    }
    return {message, {}};
}

using Operands = Bytes;

void SetOsdName(const Operands& operands, CecDevice& device, Remarks& remarks)
{
    device.osdName = DecodeAscii("<Set OSD Name>", operands.data(), operands.size(), remarks);
}

void SetVendorId(const Operands& operands, CecDevice& device, Remarks& /*remarks*/)
{
    device.vendorId = static_cast<std::uint32_t>(operands[0] << 16 | operands[1] << 8 | operands[2]);
}

void SetPhysicalAddress(const Operands& operands, CecDevice& device, Remarks& /*remarks*/)
{
    device.physicalAddress = static_cast<std::uint16_t>(operands[0] << 8 | operands[1]);
    device.primaryDeviceType = operands[2];
}

void SetVersion(const Operands& operands, CecDevice& device, Remarks& /*remarks*/) { device.version = operands[0]; }

void AddFeatureAbort(const Operands& operands, CecDevice& device, Remarks& /*remarks*/)
{
    device.featureAborts.push_back(CecFeatureAbort{operands[0], operands[1]});
}

// The messages that describe their sender. More operands than needed are ignored, as the standard requires.
struct MessageKind {
    std::uint8_t opcode;
    const char* name;
    std::size_t operandCount;
    void (*apply)(const Operands& operands, CecDevice& device, Remarks& remarks);
};
constexpr MessageKind kKinds[] = {
    {CEC_MSG_SET_OSD_NAME, "<Set OSD Name>", 1, SetOsdName},
    {CEC_MSG_DEVICE_VENDOR_ID, "<Device Vendor ID>", 3, SetVendorId},
    {CEC_MSG_REPORT_PHYSICAL_ADDR, "<Report Physical Address>", 3, SetPhysicalAddress},
    {CEC_MSG_CEC_VERSION, "<CEC Version>", 1, SetVersion},
    {CEC_MSG_FEATURE_ABORT, "<Feature Abort>", 2, AddFeatureAbort},
};

int InitiatorOf(const Bytes& message) { return message[0] >> 4U; }

// Messages of the TV describe no device on the port, nor does a lone header, which is a poll.
const MessageKind* FindKind(const Bytes& message)
{
    if (message.size() < kHeaderAndOpcode || InitiatorOf(message) == CEC_LOG_ADDR_TV) return nullptr;
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const MessageKind& k) { return k.opcode == message[1]; });
    return kind == std::end(kKinds) ? nullptr : kind;
}

CecDevice& DeviceAt(int logicalAddress, CecLog& log)
{
    const auto place = std::find_if(log.devices.begin(), log.devices.end(),
                                    [&](const CecDevice& device) { return device.logicalAddress >= logicalAddress; });
    if (place != log.devices.end() && place->logicalAddress == logicalAddress) return *place;
    CecDevice device;
    device.logicalAddress = logicalAddress;
    return *log.devices.insert(place, std::move(device));
}

void ApplyMessage(const Bytes& message, int line, CecLog& log, Remarks& remarks)
{
    const MessageKind* const kind = FindKind(message);
    if (kind == nullptr) {
        ++log.skipped;
        return;
    }
    const Operands operands(message.begin() + kHeaderAndOpcode, message.end());
    if (operands.size() < kind->operandCount) {
        remarks.push_back({"", line, std::string(kind->name) + " is too short"});
        return;
    }
    kind->apply(operands, DeviceAt(InitiatorOf(message), log), remarks);
    ++log.understood;
}

void ApplyLine(const std::string& line, int number, CecLog& log, Remarks& remarks)
{
    const std::string text = MessagePartOf(line);
    if (text.empty()) return;
    const Decoded<Bytes> message = ParseMessage(text);
    if (message.value) {
        ApplyMessage(*message.value, number, log, remarks);
    } else {
        remarks.push_back({"", number, message.remarks.front().text});
    }
}

}  // namespace

bool DescribesSender(const Bytes& message) { return !message.empty() && FindKind(message) != nullptr; }

Decoded<CecLog> DecodeCecLog(const Bytes& bytes)
{
    CecLog log;
    Remarks remarks;
    int number = 1;
    for (auto start = bytes.begin(); start != bytes.end(); ++number) {
        const auto end = std::find(start, bytes.end(), std::uint8_t{'\n'});
        ApplyLine(std::string(start, end), number, log, remarks);
        start = end == bytes.end() ? end : end + 1;
    }
    if (log.understood + log.skipped == 0 && !remarks.empty()) return {std::nullopt, remarks};
    return {log, remarks};
}

}  // namespace srcwatch
