// SPDX-License-Identifier: Apache-2.0
#include "Early.h"

#include "Promise.h"

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace conformance {

namespace {

std::filesystem::path ThisProgram() { return std::filesystem::canonical("/proc/self/exe"); }

// Beside the program in a build tree, among the libraries when it is installed.
std::string EarlyLibrary()
{
    const std::filesystem::path directory = ThisProgram().parent_path();
    for (const char* const place : {"", SRCWATCH_PLATFORM_TEST_LIBRARIES}) {
        const std::filesystem::path file = directory / place / "srcwatch-platform-test-early.so";
        if (exists(file)) return std::filesystem::canonical(file);
    }
    throw Broken("srcwatch-platform-test-early.so is not where it was installed");
}

}  // namespace

// Libraries that do not need each other are initialised from the last to the first.
void CallEarly(const std::string& library, const char* what)
{
    Require(
        setenv("LD_PRELOAD", (library + " " + EarlyLibrary()).c_str(), 1) == 0 && setenv(kEarlyVariable, what, 1) == 0,
        "the environment cannot be changed");
    execl(ThisProgram().c_str(), "srcwatch-platform-test", "--version", nullptr);
    throw Broken("this program cannot be started again");
}

}  // namespace conformance
