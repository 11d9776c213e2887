// SPDX-License-Identifier: Apache-2.0
#include "Remark.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace srcwatch {

Remarks OnlyRemark(std::string text) { return {{"", 0, std::move(text)}}; }

std::string InOneLine(const Remarks& remarks)
{
    constexpr std::size_t kShown = 4;
    const std::size_t shown = std::min(remarks.size(), kShown);
    std::string text;
    for (std::size_t i = 0; i < shown; ++i) {
        const std::string place = remarks[i].line > 0 ? "line " + std::to_string(remarks[i].line) + ": " : "";
        text += (i == 0 ? "" : "; ") + place + remarks[i].text;
    }
    if (shown < remarks.size()) text += "; and " + std::to_string(remarks.size() - shown) + " more";
    return text;
}

std::string Printable(const std::string& text)
{
    constexpr std::size_t kLimit = 200;
    std::string printable;
    for (const char c : text) {
        if (printable.size() >= kLimit) return printable + "...";
        if (c >= 0x20 && c <= 0x7e && c != '\\') {
            printable += c;
            continue;
        }
        char escaped[8];
        static_cast<void>(std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c)));  // 4 bytes
        printable += escaped;
    }
    return printable;
}

}  // namespace srcwatch
