// SPDX-License-Identifier: Apache-2.0
#include "Remark.h"

#include <algorithm>

namespace srcwatch {

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

}  // namespace srcwatch
