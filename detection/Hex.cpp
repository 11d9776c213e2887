// SPDX-License-Identifier: Apache-2.0
#include "Hex.h"

#include <charconv>

namespace srcwatch {

std::string ToHex(const Bytes& bytes, const char* separator)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) text += separator;
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text;
}

std::optional<std::uint8_t> ByteFromHex(const std::string& digits)
{
    std::uint8_t byte = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, byte, 16);
    if (digits.size() != 2 || error != std::errc() || last != end) return std::nullopt;
    return byte;
}

std::optional<Bytes> FromHex(const std::string& digits)
{
    Bytes bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::optional<std::uint8_t> byte = ByteFromHex(digits.substr(at, 2));
        if (!byte) return std::nullopt;
        bytes.push_back(*byte);
    }
    return bytes;
}

}  // namespace srcwatch
