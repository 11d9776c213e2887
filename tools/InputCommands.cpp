// SPDX-License-Identifier: Apache-2.0
//
// plug, unplug: devices of the reference detection service, which are directories of captures.
#include "Commands.h"
#include "Failure.h"
#include "InputName.h"
#include "Inputs.h"
#include "Ports.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include <unistd.h>

namespace ctl {

namespace {

constexpr const char* kInputsVariable = "SRCWATCH_INPUTS";
constexpr const char* kDefaultInputs = "/run/srcwatch/inputs";
constexpr const char* kCapturesVariable = "SRCWATCH_CAPTURES";

// The path of a directory without links, or nothing.
std::string CanonicalDirectory(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::canonical(path, error);
    return !error && IsDirectory(canonical) ? canonical.string() : "";
}

// A directory, or the name of one among the captures.
std::string FindCapture(const std::string& capture, const std::string& captures)
{
    std::string found = CanonicalDirectory(capture);
    if (!found.empty()) return found;
    const bool isPath = capture.find('/') != std::string::npos;
    if (isPath) throw Failure("there is no capture directory " + capture);
    found = CanonicalDirectory(std::filesystem::path(captures) / capture);
    if (!found.empty()) return found;
    throw Failure("there is no capture directory " + capture + ", nor one of this name in " + captures);
}

void RequireInputs(const std::string& inputs)
{
    if (IsDirectory(inputs)) return;
    throw Failure("there is no inputs directory " + inputs + "; --inputs or " + kInputsVariable + " names it");
}

void Plug(int port, const std::string& capture, const std::string& inputs, const std::string& captures, Output& output)
{
    RequireInputs(inputs);
    const std::string device = FindCapture(capture, captures);
    const std::string input = inputs + "/" + srcwatch::InputName(port);
    // Creating the link is the test: whatever has the name stays as it is.
    if (symlink(device.c_str(), input.c_str()) != 0) {
        if (errno == EEXIST) throw Failure("something is plugged into " + PortName(port) + " already: " + input);
        throw Failure("cannot make the link " + input + ": " + strerrordesc_np(errno));
    }
    Json::Value document;
    document["port"] = port;
    document["input"] = input;
    document["capture"] = device;
    output.Say(document, "plugged " + device + " into " + PortName(port));
}

// Only links are removed: a directory is somebody's data.
void Unplug(int port, const std::string& inputs, Output& output)
{
    RequireInputs(inputs);
    const std::string input = inputs + "/" + srcwatch::InputName(port);
    std::error_code error;
    const auto status = std::filesystem::symlink_status(input, error);
    if (!std::filesystem::exists(status)) throw Failure("nothing is plugged into " + PortName(port));
    if (!std::filesystem::is_symlink(status)) {
        throw Failure(input + " is no link that 'plug' made; move it away to unplug the device");
    }
    const std::filesystem::path device = std::filesystem::read_symlink(input, error);
    if (unlink(input.c_str()) != 0) throw Failure("cannot remove the link " + input + ": " + strerrordesc_np(errno));

    Json::Value document;
    document["port"] = port;
    document["input"] = input;
    document["capture"] = device.string();
    output.Say(document, "unplugged " + device.string() + " from " + PortName(port));
}

}  // namespace

CLI::Option* AddInputs(CLI::App* command, std::string& directory)
{
    directory = kDefaultInputs;
    return command->add_option("--inputs", directory, "Inputs directory of the detection service")
        ->envname(kInputsVariable)
        ->type_name("DIR")
        ->capture_default_str();
}

CLI::Option* AddProfiles(CLI::App* command, std::vector<std::string>& paths)
{
    paths = {SRCWATCH_PROFILES_FILE};
    if (IsDirectory(SRCWATCH_PROFILES_DIR)) paths.insert(paths.begin(), SRCWATCH_PROFILES_DIR);
    return command->add_option("--profiles", paths, "Profiles to classify by, a file or a directory; the first wins")
        ->type_name("PATH")
        ->allow_extra_args(false);
}

bool IsDirectory(const std::string& path)
{
    std::error_code error;  // what cannot be examined is no directory that could be used
    return std::filesystem::is_directory(path, error);
}

void AddInputCommands(CLI::App& app, Output& output)
{
    // Each command has its own: an option takes its environment variable also where its command was not given.
    const auto port = std::make_shared<int>();
    const auto capture = std::make_shared<std::string>();
    const auto inputs = std::make_shared<std::string>();
    const auto unplugInputs = std::make_shared<std::string>();
    const auto captures = std::make_shared<std::string>(SRCWATCH_CAPTURES_DIR);

    CLI::App* const plug = app.add_subcommand("plug", "Plug a captured device into a port of the detection service");
    AddPort(plug, "PORT", *port);
    plug->add_option("CAPTURE", *capture, "Directory of a capture, or the name of one among the captures")
        ->required()
        ->type_name("");
    AddInputs(plug, *inputs);
    plug->add_option("--captures", *captures, "Directory of the captures")
        ->envname(kCapturesVariable)
        ->type_name("DIR")
        ->capture_default_str();
    plug->callback([=, &output] { Plug(*port, *capture, *inputs, *captures, output); });

    CLI::App* const unplug = app.add_subcommand("unplug", "Unplug the device that 'plug' plugged into a port");
    AddPort(unplug, "PORT", *port);
    AddInputs(unplug, *unplugInputs);
    unplug->callback([=, &output] { Unplug(*port, *unplugInputs, output); });
}

}  // namespace ctl
