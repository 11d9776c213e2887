// SPDX-License-Identifier: Apache-2.0
#include "CecLog.h"

#include "AsciiField.h"

#include <algorithm>

#include <linux/cec.h>

namespace srcwatch {

namespace {

constexpr std::size_t kHeaderAndOpcode = 2;

std::optional<unsigned> HexDigit(char c)
{
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

Decoded<Bytes> ParseMessage(const std::string& line)
{
    Bytes message;
    for (std::size_t at = 0; at < line.size(); at += 3) {
        const auto high = HexDigit(line[at]);
        const auto low = at + 1 < line.size() ? HexDigit(line[at + 1]) : std::nullopt;
        if (!high || !low) return Fault{"not hexadecimal bytes with ':' between"};
        if (at + 2 < line.size() && (line[at + 2] != ':' || at + 3 == line.size())) {
            return Fault{"not hexadecimal bytes with ':' between"};
        }
        if (message.size() == CEC_MAX_MSG_SIZE) return Fault{"more than 16 bytes"};
        message.push_back(static_cast<std::uint8_t>(*high << 4U | *low));
    }
    return message;
}

using Operands = Bytes;

void SetOsdName(const Operands& operands, CecLog& log)
{
    log.osdName = DecodeAscii("<Set OSD Name>", operands.data(), operands.size(), log.remarks);
}

void SetVendorId(const Operands& operands, CecLog& log)
{
    log.vendorId = static_cast<std::uint32_t>(operands[0] << 16 | operands[1] << 8 | operands[2]);
}

void SetPhysicalAddress(const Operands& operands, CecLog& log)
{
    log.physicalAddress = static_cast<std::uint16_t>(operands[0] << 8 | operands[1]);
    log.primaryDeviceType = operands[2];
}

void SetVersion(const Operands& operands, CecLog& log) { log.version = operands[0]; }

void AddFeatureAbort(const Operands& operands, CecLog& log)
{
    log.featureAborts.push_back(CecFeatureAbort{operands[0], operands[1]});
}

// The messages that say something of the device. More operands than needed are ignored, as the standard asks.
struct MessageKind {
    std::uint8_t opcode;
    const char* name;
    std::size_t operandCount;
    void (*apply)(const Operands& operands, CecLog& log);
};
constexpr MessageKind kKinds[] = {
    {CEC_MSG_SET_OSD_NAME, "<Set OSD Name>", 1, SetOsdName},
    {CEC_MSG_DEVICE_VENDOR_ID, "<Device Vendor ID>", 3, SetVendorId},
    {CEC_MSG_REPORT_PHYSICAL_ADDR, "<Report Physical Address>", 3, SetPhysicalAddress},
    {CEC_MSG_CEC_VERSION, "<CEC Version>", 1, SetVersion},
    {CEC_MSG_FEATURE_ABORT, "<Feature Abort>", 2, AddFeatureAbort},
};

// What the TV sends says nothing of the device. A lone header is a poll, also without contents.
const MessageKind* FindKind(const Bytes& message)
{
    if (message.size() < kHeaderAndOpcode || message[0] >> 4U == CEC_LOG_ADDR_TV) return nullptr;
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [&](const MessageKind& k) { return k.opcode == message[1]; });
    return kind == std::end(kKinds) ? nullptr : kind;
}

void ApplyMessage(const Bytes& message, int line, CecLog& log)
{
    const MessageKind* const kind = FindKind(message);
    if (kind == nullptr) {
        ++log.skipped;
        return;
    }
    const Operands operands(message.begin() + kHeaderAndOpcode, message.end());
    if (operands.size() < kind->operandCount) {
        log.remarks.push_back({"", line, std::string(kind->name) + " is too short"});
        return;
    }
    kind->apply(operands, log);
    ++log.understood;
}

void ApplyLine(std::string line, int number, CecLog& log)
{
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) return;
    const Decoded<Bytes> message = ParseMessage(line);
    if (const auto* fault = std::get_if<Fault>(&message)) {
        log.remarks.push_back({"", number, fault->remarks.front().text});
        return;
    }
    ApplyMessage(std::get<Bytes>(message), number, log);
}

}  // namespace

Decoded<CecLog> DecodeCecLog(const Bytes& bytes)
{
    CecLog log;
    int number = 1;
    for (auto start = bytes.begin(); start != bytes.end(); ++number) {
        const auto end = std::find(start, bytes.end(), std::uint8_t{'\n'});
        ApplyLine(std::string(start, end), number, log);
        start = end == bytes.end() ? end : end + 1;
    }
    if (log.understood + log.skipped == 0 && !log.remarks.empty()) return Fault(std::move(log.remarks));
    return log;
}

}  // namespace srcwatch
