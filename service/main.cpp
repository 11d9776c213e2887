// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-service: from the command line to the end of the program.
#include "Configuration.h"
#include "Log.h"
#include "Service.h"

#include <cstdio>
#include <exception>
#include <iostream>

namespace {

enum ExitCode { kDone = 0, kFailed = 1 };

// Nothing can be done if this fails.
void Report(const char* failure) { static_cast<void>(std::fprintf(stderr, "srcwatch-service: %s\n", failure)); }

// Of a configuration that is only checked, the faults are the answer, which programs read.
int Check(const srcwatch::Configuration& configuration)
{
    for (const std::string& fault : configuration.faults) std::cerr << fault << '\n';
    if (!configuration.faults.empty()) return kFailed;
    std::cout << configuration.file << ": no faults\n";
    return kDone;
}

int Serve(const srcwatch::Configuration& configuration, std::function<srcwatch::Configuration()> readAgain)
{
    for (const std::string& fault : configuration.faults) {
        SWLOG(kLogError, "%s", fault.c_str());
        Report(fault.c_str());
    }
    if (!configuration.faults.empty()) return kFailed;
    srcwatch::Service service(configuration, std::move(readAgain));
    const std::string failure = service.Run();
    if (failure.empty()) return kDone;
    SWLOG(kLogError, "%s", failure.c_str());
    Report(failure.c_str());
    return service.WasTakenOver() ? kDone : kFailed;  // a supervisor must not start a rival of the new one
}

}  // namespace

int main(int argc, char** argv)
try {
    const auto read = [argc, argv] { return srcwatch::ReadConfiguration(argc, argv); };
    const srcwatch::Configuration configuration = read();
    if (configuration.exitCode) return *configuration.exitCode;
    return configuration.isToBeChecked ? Check(configuration) : Serve(configuration, read);
} catch (const std::exception& e) {
    Report(e.what());
    return kFailed;
}
