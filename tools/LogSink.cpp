// SPDX-License-Identifier: Apache-2.0
//
// Where the program's log goes: nowhere, or to standard error with --log. The library logs while it is being loaded, so
// the arguments are read from the process and not from main().
#include "srcwatch-host.h"

#include <fstream>
#include <string>

__attribute__((visibility("default"))) const char* srcwatch_host_log_sink()
{
    std::ifstream arguments("/proc/self/cmdline");
    for (std::string argument; std::getline(arguments, argument, '\0') && argument != "--";) {
        if (argument == "--log") return "stderr";
    }
    return "none";
}
