// SPDX-License-Identifier: Apache-2.0
//
// A library whose constructor calls the platform before the platform's own constructors have run, as those of a library
// do that is initialised first. It reports as a test does, and ends the process.
#ifndef SRCWATCH_PLATFORM_TEST_EARLY_H
#define SRCWATCH_PLATFORM_TEST_EARLY_H

#include <string>

namespace conformance {

/// Environment variable that says what is called.
constexpr const char* kEarlyVariable = "SRCWATCH_PLATFORM_TEST_EARLY";
constexpr const char* kEarlyLog = "log";
constexpr const char* kEarlyInputs = "inputs";

/// Becomes a program that loads the platform's library, and before it the one that calls it.
[[noreturn]] void CallEarly(const std::string& library, const char* what);

}  // namespace conformance

#endif
