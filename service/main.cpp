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

void SetSpdFiles(const std::vector<std::string>& arguments, srcwatch::Options& options)
{
    for (const std::string& argument : arguments) {
        const bool isFile = argument.size() > 2 && argument[0] >= '0' && argument[0] <= '7' && argument[1] == '=';
        if (!isFile) throw CLI::ValidationError("--spd", "'" + argument + "' is not of the form PORT=FILE");
        options.spdFiles[argument[0] - '0'] = argument.substr(2);
    }
}

void DefineOptions(CLI::App& app, srcwatch::Options& options)
{
    const CLI::Range milliseconds(1U, kMostMilliseconds);
    app.set_version_flag("--version", "srcwatch-service " SRCWATCH_VERSION);
    app.add_option("--inputs", options.inputs, "Directory of the inputs: hdmi1 to hdmi8 and optical")->type_name("DIR");
    app.add_option("--cec", options.cecAdapters, "CEC adapter, such as /dev/cec0; may be repeated")
        ->type_name("DEVICE")
        ->allow_extra_args(false);
    app.add_option("--cec-round-ms", options.cecRoundMilliseconds, "Time in which an adapter polls all addresses")
        ->check(milliseconds)
        ->capture_default_str()
        ->type_name("MS");
    app.add_option_function<std::vector<std::string>>(
           "--spd", [&options](const std::vector<std::string>& files) { SetSpdFiles(files, options); },
           "File in which a driver shows the SPD InfoFrame of a port, 0 to 7; may be repeated")
        ->type_name("PORT=FILE")
        ->allow_extra_args(false);
    app.add_option("--power", options.receivers,
                   "Video device of an HDMI receiver that tells which inputs have +5 V; may be repeated")
        ->type_name("DEVICE")
        ->allow_extra_args(false);
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

void SetKey(const std::string& file, srcwatch::Origin& origin)
{
    if (file.empty()) return;
    const srcwatch::AksvKey read = srcwatch::ReadAksvKey(file);
    if (!read.failure.empty()) throw std::runtime_error(read.failure);
    origin.aksvKey = read.key;
}

void DefineFleetOptions(CLI::App& app, srcwatch::Options& options, std::string& keyFile)
{
    CLI::Option* const detections =
        app.add_option("--detections", options.detections,
                       "File to which a line of JSON is appended for each detection, or - for standard output")
            ->type_name("FILE");
    options.origin.tv = srcwatch::DefaultTv();
    options.origin.firmware = srcwatch::DefaultFirmware();
    app.add_option("--tv", options.origin.tv, "Id of the TV in these lines, instead of one made of its machine-id")
        ->needs(detections)
        ->check(srcwatch::CheckOriginText)
        ->type_name("ID");
    app.add_option("--firmware", options.origin.firmware, "Version in these lines, instead of that in os-release")
        ->needs(detections)
        ->check(srcwatch::CheckOriginText)
        ->type_name("VERSION");
    app.add_option("--aksv-key", keyFile,
                   "File with the secret with which AKSVs in these lines are hashed; without, they are left out")
        ->needs(detections)
        ->type_name("FILE");
}

// Nothing can be done if this fails.
void Report(const char* failure) { static_cast<void>(std::fprintf(stderr, "srcwatch-service: %s\n", failure)); }

int Serve(const srcwatch::Options& options)
{
    srcwatch::Service service(options);
    const std::string failure = service.Run();
    if (failure.empty()) return kDone;
    SWLOG(kLogError, "%s", failure.c_str());
    Report(failure.c_str());
    return service.WasTakenOver() ? kDone : kFailed;  // a supervisor must not start a rival of the new one
}

}  // namespace

int main(int argc, char** argv)
try {
    CLI::App app("Detects the devices on the TV's inputs and announces them to applications.", "srcwatch-service");
    srcwatch::Options options;
    DefineOptions(app, options);
    std::string keyFile;
    DefineFleetOptions(app, options, keyFile);
    try {
        app.parse(argc, argv);
        if (!options.HasInputs()) throw CLI::RequiredError("--inputs, --cec, --spd or --power");
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? kDone : kUsage;
    }
    SetKey(keyFile, options.origin);
    return Serve(options);
} catch (const std::exception& e) {
    Report(e.what());
    return kFailed;
}
