// SPDX-License-Identifier: Apache-2.0
//
// The decoders of SPD InfoFrames, CEC logs and AKSVs, against decoders of its own.
//
// Input: which decoder, how far the rest is made valid before, then the bytes.
#include "Aksv.h"
#include "CecLog.h"
#include "Fuzz.h"
#include "SpdInfoFrame.h"

#include <map>

namespace {

using fuzz::Input;
using fuzz::Require;
using srcwatch::Bytes;

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// Fit for a log: ASCII, one line, and short.
void CheckRemarks(const srcwatch::Remarks& remarks)
{
    for (const srcwatch::Remark& remark : remarks) {
        Require(std::all_of(remark.text.begin(), remark.text.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "a remark is one line of ASCII");
        Require(!remark.text.empty() && remark.text.size() < 200, "a remark is short");
    }
    Require(srcwatch::InOneLine(remarks).size() < 1000, "a line of remarks is short");
}

template <typename Value>
void CheckFault(const srcwatch::Decoded<Value>& decoded)
{
    Require(decoded.value || !decoded.remarks.empty(), "what is refused is refused for a reason");
    CheckRemarks(decoded.remarks);
}

// A padded field of printable characters; others are left out, and so are spaces at both ends.
std::string FieldText(const Bytes& bytes, std::size_t start, std::size_t size)
{
    std::string text;
    for (std::size_t i = start; i < start + size && bytes[i] != 0; ++i) {
        if (bytes[i] >= ' ' && bytes[i] <= '~') text += static_cast<char>(bytes[i]);
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    while (!text.empty() && text.front() == ' ') text.erase(0, 1);
    return text;
}

// --- SPD InfoFrame

bool IsFrame(const Bytes& bytes)
{
    if (bytes.size() < 29 || bytes[0] != 0x83 || bytes[1] != 1 || bytes[2] < 25) return false;
    unsigned sum = 0;
    for (const std::uint8_t byte : bytes) sum += byte;
    return bytes.size() == 4U + bytes[2] && (sum & 0xffU) == 0;
}

// Makes length and checksum right, which chance hardly ever does.
void Complete(Bytes& bytes)
{
    constexpr std::uint8_t kHeader[] = {0x83, 1};
    bytes.resize(std::clamp<std::size_t>(bytes.size(), 29, 259));
    std::copy(std::begin(kHeader), std::end(kHeader), bytes.begin());
    bytes[2] = static_cast<std::uint8_t>(bytes.size() - 4);
    bytes[3] = 0;
    unsigned sum = 0;
    for (const std::uint8_t byte : bytes) sum += byte;
    bytes[3] = static_cast<std::uint8_t>(0x100U - (sum & 0xffU));
}

void CheckSpd(Input& input)
{
    const bool complete = input.Below(4) != 0;
    Bytes bytes = BytesOf(input.Rest());
    if (complete) Complete(bytes);
    const auto decoded = srcwatch::DecodeSpdInfoFrame(bytes);
    CheckFault(decoded);
    const auto& frame = decoded.value;
    Require(frame.has_value() == IsFrame(bytes), "frames are taken, other bytes are refused");
    if (!frame) return;
    Require(frame->vendor == FieldText(bytes, 4, 8), "the vendor name of a frame");
    Require(frame->product == FieldText(bytes, 12, 16), "the product description of a frame");
    Require(frame->sourceInformation == bytes[28], "the source information of a frame");
}

// --- AKSV

void CheckAksv(Input& input)
{
    const Bytes bytes = BytesOf(input.Rest());
    const auto decoded = srcwatch::DecodeAksv(bytes);
    CheckFault(decoded);
    int bits = 0;
    std::string digits;
    for (std::uint8_t byte : bytes) {
        char two[3];
        static_cast<void>(std::snprintf(two, sizeof(two), "%02x", byte));
        digits += two;
        for (; byte != 0; byte = static_cast<std::uint8_t>(byte & (byte - 1U))) ++bits;
    }
    const auto& text = decoded.value;
    Require(text.has_value() == (bytes.size() == 5 && bits == 20), "five bytes with half of their bits are taken");
    Require(!text || *text == digits, "the text of a key selection vector");
}

// --- CEC log

struct Sender {
    std::string name;
    long vendor = -1;
    long address = -1;
    long type = -1;
    long version = -1;
    std::vector<std::pair<int, int>> aborts;
};

struct Heard {
    std::map<int, Sender> senders;  // by logical address
    std::size_t understood = 0;
    std::size_t skipped = 0;
    std::size_t refused = 0;
};

int Digit(char c)
{
    const char* const digits = "0123456789abcdef";
    const char* const found = c == '\0' ? nullptr : std::strchr(digits, c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
    return found == nullptr ? -1 : static_cast<int>(found - digits);
}

// A line without its comment, and with each run of spaces, with a ':' or without, as one ':'.
std::string Normal(const std::string& line)
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    const std::string text = line.substr(0, line.find('#'));
    const std::size_t end = text.find_last_not_of(" \t\r") + 1;
    std::string normal;
    for (std::size_t i = text.find_first_not_of(" \t"); i < end; ++i) {
        if (!isBlank(text[i])) {
            normal += text[i];
        } else if (!isBlank(text[i + 1]) && text[i + 1] != ':' && normal.back() != ':') {
            normal += ':';
        }
    }
    return normal;
}

// The bytes of a line; none if it is not a message.
Bytes MessageOf(const std::string& line)
{
    if (line.size() % 3 != 2 || line.size() > 47) return {};
    Bytes message;
    for (std::size_t i = 0; i < line.size(); i += 3) {
        const int high = Digit(line[i]);
        const int low = Digit(line[i + 1]);
        if (high < 0 || low < 0 || (i > 0 && line[i - 1] != ':')) return {};
        message.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return message;
}

void HearOperands(const Bytes& message, Sender& heard)
{
    const auto operand = [&](std::size_t i) { return long{message[i + 2]}; };
    switch (message[1]) {
        case 0x47:
            heard.name = FieldText(message, 2, message.size() - 2);
            break;
        case 0x87:
            heard.vendor = operand(0) * 65536 + operand(1) * 256 + operand(2);
            break;
        case 0x84:
            heard.address = operand(0) * 256 + operand(1);
            heard.type = operand(2);
            break;
        case 0x9e:
            heard.version = operand(0);
            break;
        default:
            heard.aborts.emplace_back(operand(0), operand(1));
    }
}

void HearLine(const std::string& line, Heard& heard)
{
    static const std::map<int, std::size_t> needed = {{0x47, 1}, {0x87, 3}, {0x84, 3}, {0x9e, 1}, {0x00, 2}};
    if (line.empty()) return;
    const Bytes message = MessageOf(line);
    const auto kind = message.size() < 2 ? needed.end() : needed.find(message[1]);
    const bool isKnown = kind != needed.end() && message[0] / 16 != 0;
    if (message.empty() || (isKnown && message.size() - 2 < kind->second)) {
        ++heard.refused;
    } else if (!isKnown) {
        ++heard.skipped;
    } else {
        HearOperands(message, heard.senders[message[0] / 16]);
        ++heard.understood;
    }
}

Heard HearAll(const std::string& text)
{
    Heard heard;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        HearLine(Normal(text.substr(start, end - start)), heard);
        start = end + 1;
    }
    return heard;
}

// Lines of messages that a device might send, made of bytes.
std::string LogText(Input& input)
{
    constexpr std::uint8_t kOpcodes[] = {0x47, 0x87, 0x84, 0x9e, 0x00, 0x8f};
    std::string text;
    while (input.Left() > 0) {
        const std::uint8_t opcode = kOpcodes[input.Below(std::size(kOpcodes))];
        std::string message = std::string(1, static_cast<char>(input.Byte())) + static_cast<char>(opcode);
        message += input.Text(20);
        for (std::size_t i = 0; i < message.size(); ++i) {
            if (i > 0) text += input.Below(8) == 0 ? " : " : ":";
            char digits[3];
            static_cast<void>(std::snprintf(digits, sizeof(digits), i > 0 ? "%02x" : "%02X",
                                            static_cast<unsigned>(static_cast<std::uint8_t>(message[i]))));
            text += digits;
        }
        if (input.Below(8) == 0) text += " # " + input.Text(3);
        text += input.Below(4) == 0 ? "\r\n" : "\n";
    }
    return text;
}

template <typename Value>
long Or(const std::optional<Value>& value)
{
    return value ? static_cast<long>(*value) : -1;
}

// The remarks that are about a line.
std::size_t CountLines(const srcwatch::Remarks& remarks)
{
    return static_cast<std::size_t>(
        std::count_if(remarks.begin(), remarks.end(), [](const srcwatch::Remark& remark) { return remark.line > 0; }));
}

void CheckDevice(const srcwatch::CecDevice& device, const Sender& heard)
{
    Require(device.osdName == heard.name, "the name of a device");
    Require(Or(device.vendorId) == heard.vendor, "the vendor of a device");
    Require(Or(device.physicalAddress) == heard.address, "the address of a device");
    Require(Or(device.primaryDeviceType) == heard.type, "the type of a device");
    Require(Or(device.version) == heard.version, "the version of a device");
    Require(
        std::equal(device.featureAborts.begin(), device.featureAborts.end(), heard.aborts.begin(), heard.aborts.end(),
                   [](const auto& a, const auto& b) { return a.opcode == b.first && a.reason == b.second; }),
        "the refusals of a device");
}

void CheckCec(Input& input)
{
    const std::string text = input.Below(2) == 0 ? input.Rest() : LogText(input);
    const auto decoded = srcwatch::DecodeCecLog(BytesOf(text));
    CheckFault(decoded);
    const Heard heard = HearAll(text);
    const auto& log = decoded.value;
    const bool isLog = heard.understood + heard.skipped > 0 || heard.refused == 0;
    Require(log.has_value() == isLog, "a log with a message is taken");
    if (!log) return;
    Require(log->understood == heard.understood && log->skipped == heard.skipped, "the messages of a log");
    Require(log->devices.size() == heard.senders.size(), "the devices of a log");
    auto device = log->devices.begin();
    for (const auto& [address, sender] : heard.senders) {
        Require(device->logicalAddress == address, "the logical addresses of a log");
        CheckDevice(*device++, sender);
    }
    Require(CountLines(decoded.remarks) == heard.refused, "every refused line is remarked on, and no other");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    switch (input.Below(4)) {
        case 0:
            CheckSpd(input);
            break;
        case 1:
            CheckAksv(input);
            break;
        default:
            CheckCec(input);
    }
    return 0;
}
