// SPDX-License-Identifier: Apache-2.0
//
// Extended regular expressions, as gtest's matchers have them.
#ifndef SRCWATCH_TESTS_PATTERN_H
#define SRCWATCH_TESTS_PATTERN_H

#include <stdexcept>
#include <string>
#include <vector>

#include <regex.h>

namespace srcwatch_test {

/// Returns the first match of a pattern in a text and behind it its groups; nothing if there is none.
inline std::vector<std::string> FindPattern(const std::string& pattern, const std::string& text)
{
    regex_t form;
    if (regcomp(&form, pattern.c_str(), REG_EXTENDED) != 0) throw std::invalid_argument(pattern);
    std::vector<regmatch_t> found(form.re_nsub + 1);
    const bool isFound = regexec(&form, text.c_str(), found.size(), found.data(), 0) == 0;
    regfree(&form);
    std::vector<std::string> parts;
    for (const regmatch_t& part : found) {
        const auto start = static_cast<std::size_t>(part.rm_so);  // -1 of a group without a match
        if (isFound)
            parts.push_back(part.rm_so < 0 ? "" : text.substr(start, static_cast<std::size_t>(part.rm_eo) - start));
    }
    return parts;
}

/// Returns a text with each part of it replaced that is another text.
inline std::string Replaced(std::string text, const std::string& old, const std::string& by)
{
    for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += by.size()) {
        text.replace(at, old.size(), by);
    }
    return text;
}

}  // namespace srcwatch_test

#endif
