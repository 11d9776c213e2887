// SPDX-License-Identifier: Apache-2.0
//
// Reading a text from its beginning. What was read is taken off it.
#ifndef SRCWATCH_DETECTION_PREFIX_H
#define SRCWATCH_DETECTION_PREFIX_H

#include <algorithm>
#include <string>
#include <string_view>

namespace srcwatch {

/// Returns false, and takes nothing, if a text begins otherwise.
inline bool TakePrefix(std::string_view prefix, std::string_view& text)
{
    if (text.substr(0, prefix.size()) != prefix) return false;
    text.remove_prefix(prefix.size());
    return true;
}

/// Takes decimal digits, at most this many. Returns them; there may be none.
inline std::string TakeDigits(std::string_view& text, std::size_t most = std::string_view::npos)
{
    std::string digits(text.substr(0, std::min(text.find_first_not_of("0123456789"), most)));
    text.remove_prefix(digits.size());
    return digits;
}

}  // namespace srcwatch

#endif
