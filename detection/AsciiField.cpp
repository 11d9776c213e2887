// SPDX-License-Identifier: Apache-2.0
#include "AsciiField.h"

#include <algorithm>

namespace srcwatch {

namespace {

bool IsPrintable(std::uint8_t byte) { return byte >= 0x20 && byte <= 0x7e; }

std::string Trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::string DecodeAscii(const char* fieldName, const std::uint8_t* bytes, std::size_t size, Remarks& remarks)
{
    const std::uint8_t* const end = bytes + size;
    const std::uint8_t* const zero = std::find(bytes, end, std::uint8_t{0});
    std::string text;
    std::copy_if(bytes, zero, std::back_inserter(text), IsPrintable);

    const auto dropped = static_cast<std::size_t>(zero - bytes) - text.size();
    if (dropped > 0) {
        remarks.push_back(
            {"", 0, fieldName + (": " + std::to_string(dropped)) + " byte(s) outside 0x20 to 0x7e dropped"});
    }
    if (std::any_of(zero, end, [](std::uint8_t byte) { return byte != 0; })) {
        remarks.push_back({"", 0, std::string(fieldName) + ": bytes after the terminating zero ignored"});
    }
    return Trimmed(text);
}

}  // namespace srcwatch
