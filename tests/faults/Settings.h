// SPDX-License-Identifier: Apache-2.0
//
// All settings of the host platform at one moment.
#ifndef SRCWATCH_TESTS_SETTINGS_H
#define SRCWATCH_TESTS_SETTINGS_H

#include <map>
#include <string>

namespace srcwatch_test {

/// Key and value; a number as its digits with a '#' before them.
using Settings = std::map<std::string, std::string>;

Settings ReadSettings();

/// Makes the settings what they were, by writes to those that differ.
void RestoreSettings(const Settings& settings);

/// What is wrong when each setting has to be as before or as after; empty when nothing is.
std::string Mixture(const Settings& now, const Settings& before, const Settings& after);

}  // namespace srcwatch_test

#endif
