// SPDX-License-Identifier: Apache-2.0
#include "CecImport.h"

#include "CecLog.h"
#include "Hex.h"
#include "Prefix.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <sstream>
#include <string_view>

namespace srcwatch {

namespace {

// How cec-ctl shows the operands of the messages in which a device describes itself.
struct Operands {
    std::uint8_t opcode;
    const char* name;  // of the value, before ": "
    Bytes (*parse)(const std::string& value);
};

// The last number in hexadecimal digits, as of "playback (0x04)", in this many bytes.
template <std::size_t Size>
Bytes ParseNumber(const std::string& value)
{
    const std::size_t at = value.rfind("0x");
    if (at == std::string::npos) return {};
    const std::string digits = value.substr(at + 2, value.find_first_not_of("0123456789abcdefABCDEF", at + 2) - at - 2);
    const std::string padded = digits.size() % 2 == 0 ? digits : "0" + digits;
    Bytes bytes = FromHex(padded).value_or(Bytes());
    if (bytes.size() > Size) bytes.erase(bytes.begin(), bytes.end() - Size);
    bytes.insert(bytes.begin(), Size - bytes.size(), std::uint8_t{0});
    return bytes;
}

// In a form, h stands for a lower-case hexadecimal digit and H for any.
bool Fits(char c, char form)
{
    if (form != 'h' && form != 'H') return c == form;
    return std::isxdigit(static_cast<unsigned char>(c)) != 0 && (form == 'H' || c < 'A' || c > 'F');
}

// "1.0.0.0"
Bytes ParseAddress(const std::string& value)
{
    constexpr std::string_view kForm = "h.h.h.h";
    const auto at = std::search(value.begin(), value.end(), kForm.begin(), kForm.end(), Fits);
    if (at == value.end()) return {};
    return FromHex({at[0], at[2], at[4], at[6]}).value_or(Bytes());
}

Bytes ParseText(const std::string& value) { return {value.begin(), value.end()}; }

constexpr Operands kOperands[] = {
    {CEC_MSG_SET_OSD_NAME, "name", ParseText},
    {CEC_MSG_REPORT_PHYSICAL_ADDR, "phys-addr", ParseAddress},
    {CEC_MSG_REPORT_PHYSICAL_ADDR, "prim-devtype", ParseNumber<1>},
    {CEC_MSG_DEVICE_VENDOR_ID, "vendor-id", ParseNumber<3>},
    {CEC_MSG_CEC_VERSION, "cec-version", ParseNumber<1>},
    {CEC_MSG_FEATURE_ABORT, "abort-msg", ParseNumber<1>},
    {CEC_MSG_FEATURE_ABORT, "reason", ParseNumber<1>},
};

// "Received from Playback Device 1 to TV (4 to 0): SET_OSD_NAME (0x47):"; "Transmitted by" is what the TV sends.
struct Header {
    bool isReceived = false;
    int initiator = 0;
    int destination = 0;
    std::optional<std::uint8_t> opcode;
};

std::optional<std::uint8_t> LastOpcode(std::string_view text)
{
    constexpr std::string_view kForm = "(0xHH)";
    const auto* const at = std::find_end(text.begin(), text.end(), kForm.begin(), kForm.end(), Fits);
    return at != text.end() ? ByteFromHex({at[3], at[4]}) : std::nullopt;
}

// Nothing of a line that is none. The last pair of addresses counts: names may have brackets, too.
std::optional<Header> ReadHeader(const std::string& line)
{
    constexpr std::string_view kReceived = "Received from ";
    constexpr std::string_view kSent = "Transmitted by ";
    const std::size_t start = std::min(line.find(kReceived), line.find(kSent));
    if (start == std::string::npos) return std::nullopt;
    std::string_view text = std::string_view(line).substr(start);
    const bool isReceived = TakePrefix(kReceived, text);
    static_cast<void>(isReceived || TakePrefix(kSent, text));
    std::optional<Header> header;
    for (std::size_t at = 0; (at = text.find(" (")) != std::string_view::npos;) {
        text.remove_prefix(at + 2);
        std::string_view rest = text;
        const std::string initiator = TakeDigits(rest, 2);
        if (initiator.empty() || !TakePrefix(" to ", rest)) continue;
        const std::string destination = TakeDigits(rest, 2);
        if (destination.empty() || !TakePrefix("): ", rest)) continue;
        header = {isReceived, std::stoi(initiator), std::stoi(destination), LastOpcode(rest)};
    }
    return header;
}

std::string WithoutSpaces(std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\t' || c == '\r'; }),
               text.end());
    return text;
}

class Importer {
public:
    void Take(const std::string& line)
    {
        ++m_line;
        if (line.find("TRAFFIC:") != std::string::npos) return TakeTraffic(line);
        if (TakeHeader(line)) return;
        // What belongs to a message is indented under it.
        const std::size_t start = line.find_first_not_of(" \t");
        if (start == 0 || start == std::string::npos) return EndMessage();
        if (m_message.empty()) return;
        const std::string detail = line.substr(start);
        if (detail.rfind("Raw:", 0) == 0) {
            TakeRaw(detail.substr(4));
        } else if (!m_isRaw) {
            TakeDetail(detail);
        }
    }

    Decoded<ImportedLog> Finish()
    {
        EndMessage();
        if (m_log.messages > 0) return {m_log, m_remarks};
        if (m_remarks.empty()) m_remarks = OnlyRemark("no received message of cec-ctl --monitor or cec-client");
        return {std::nullopt, m_remarks};
    }

private:
    // "TRAFFIC: [  123]  >> 40:47:42"; "<<" is what cec-client itself sends.
    void TakeTraffic(const std::string& line)
    {
        EndMessage();
        const std::size_t arrow = line.find(">>");
        if (arrow == std::string::npos) return;
        std::string digits = WithoutSpaces(line.substr(arrow + 2));
        digits.erase(std::remove(digits.begin(), digits.end(), ':'), digits.end());
        const std::optional<Bytes> message = FromHex(digits);
        if (!message || message->empty()) return Remark("not hexadecimal bytes with ':' between");
        Begin(*message);
        EndMessage();
    }

    bool TakeHeader(const std::string& line)
    {
        const std::optional<Header> header = line.size() <= kLongestHeader ? ReadHeader(line) : std::nullopt;
        if (!header) return false;
        EndMessage();
        const auto& [isReceived, initiator, destination, opcode] = *header;
        if (!isReceived) return true;
        if (initiator > 15 || destination > 15) {
            Remark("not a logical address");
            return true;
        }
        Bytes message = {static_cast<std::uint8_t>(initiator << 4 | destination)};
        if (opcode) message.push_back(*opcode);
        Begin(message);
        return true;
    }

    void TakeRaw(const std::string& text)
    {
        std::istringstream words(text);
        Bytes message;
        for (std::string word; words >> word;) {
            const auto byte = word.rfind("0x", 0) == 0 ? ByteFromHex(word.substr(2)) : std::nullopt;
            if (!byte) return Remark("not the bytes of a message");
            message.push_back(*byte);
        }
        if (!message.empty()) m_message = message;
        m_isRaw = true;
    }

    void TakeDetail(const std::string& detail)
    {
        const std::size_t colon = detail.find(": ");
        if (colon == std::string::npos || m_message.size() < 2) return;
        for (const Operands& operands : kOperands) {
            if (operands.opcode != m_message[1] || detail.compare(0, colon, operands.name) != 0) continue;
            std::string value = detail.substr(colon + 2);
            while (!value.empty() && (value.back() == '\r' || value.back() == ' ')) value.pop_back();
            const Bytes bytes = operands.parse(value);
            m_message.insert(m_message.end(), bytes.begin(), bytes.end());
        }
    }

    void Begin(const Bytes& message)
    {
        m_message = message;
        m_messageLine = m_line;
        m_isRaw = false;
    }

    void EndMessage()
    {
        if (m_message.size() > CEC_MAX_MSG_SIZE) {
            m_remarks.push_back({"", m_messageLine, "more than 16 bytes"});
        } else if (!m_message.empty()) {
            m_log.text += ToHex(m_message, ":") + "\n";
            ++m_log.messages;
        }
        m_message.clear();
    }

    void Remark(const char* text) { m_remarks.push_back({"", m_line, text}); }

    static constexpr std::size_t kLongestHeader = 200;  // far above what cec-ctl writes

    ImportedLog m_log;
    Remarks m_remarks;
    int m_line = 0;
    int m_messageLine = 0;
    Bytes m_message;  // empty between messages
    bool m_isRaw = false;
};

}  // namespace

Decoded<ImportedLog> ImportCecLog(const std::string& text)
{
    Importer importer;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) importer.Take(line);
    return importer.Finish();
}

}  // namespace srcwatch
