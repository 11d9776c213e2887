// SPDX-License-Identifier: Apache-2.0
//
// The options in a text, to compare the help of a program with its manual page.
#ifndef SRCWATCH_TESTS_OPTIONS_H
#define SRCWATCH_TESTS_OPTIONS_H

#include <regex>
#include <set>
#include <string>

namespace srcwatch_test {

using Options = std::set<std::string>;

inline Options OptionsIn(const std::string& text)
{
    static const std::regex kOption("(^|[ ,|(\"])(--?[a-z][a-z-]*)");
    Options options;
    for (std::sregex_iterator it(text.begin(), text.end(), kOption), end; it != end; ++it) options.insert((*it)[2]);
    return options;
}

}  // namespace srcwatch_test

#endif
