// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-service: command line, and the end of the program.
#include "Log.h"
#include "Service.h"
#include "srcwatch-version.h"

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

constexpr unsigned kMostMilliseconds = 60000;

void DefineOptions(CLI::App& app, srcwatch::Options& options)
{
    const CLI::Range milliseconds(1U, kMostMilliseconds);
    app.set_version_flag("--version", "srcwatch-service " SRCWATCH_VERSION);
    app.add_option("--inputs", options.inputs, "Directory of the inputs: hdmi1 to hdmi8 and optical")
        ->required()
        ->type_name("DIR");
    app.add_option("--profiles", options.profiles,
                   "File of profiles, or directory of such files, instead of the installed ones; the first wins")
        ->type_name("PATH");
    app.add_option("--scan-step-ms", options.scanStepMilliseconds, "Time that a scan takes for each input")
        ->check(milliseconds)
        ->capture_default_str()
        ->type_name("MS");
    app.add_option("--quiet-ms", options.quietMilliseconds, "Time without a change before a device is read")
        ->check(milliseconds)
        ->capture_default_str()
        ->type_name("MS");
}

// Nothing can be done if this fails.
void Report(const char* failure) { static_cast<void>(std::fprintf(stderr, "srcwatch-service: %s\n", failure)); }

int Serve(const srcwatch::Options& options)
{
    srcwatch::Service service(options);
    const std::string failure = service.Run();
    if (failure.empty()) return kDone;
    SWLOG(DLOG_ERROR, "%s", failure.c_str());
    Report(failure.c_str());
    return service.WasTakenOver() ? kDone : kFailed;  // a supervisor must not start a rival of the new one
}

}  // namespace

int main(int argc, char** argv)
try {
    CLI::App app("Detects the devices on the TV's inputs and announces them to applications.", "srcwatch-service");
    srcwatch::Options options;
    DefineOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kDone : kUsage;
    }
    return Serve(options);
} catch (const std::exception& e) {
    Report(e.what());
    return kFailed;
}
