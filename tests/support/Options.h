// SPDX-License-Identifier: Apache-2.0
//
// The options in a text, to compare the help of a program with its manual page.
#ifndef SRCWATCH_TESTS_OPTIONS_H
#define SRCWATCH_TESTS_OPTIONS_H

#include "Pattern.h"

#include <set>
#include <string>
#include <vector>

namespace srcwatch_test {

using Options = std::set<std::string>;

inline Options OptionsIn(const std::string& text)
{
    Options options;
    std::string rest = text;
    for (std::vector<std::string> found; found = FindPattern("(^|[ ,|(\"])(--?[a-z][a-z-]*)", rest), !found.empty();) {
        options.insert(found[2]);
        rest.erase(0, rest.find(found[0]) + found[0].size());
    }
    return options;
}

}  // namespace srcwatch_test

#endif
