// SPDX-License-Identifier: Apache-2.0
//
// plug, unplug: devices of the reference detection service, which are directories of captures.
#include "Arguments.h"
#include "Captures.h"
#include "Commands.h"
#include "Failure.h"
#include "FindCapture.h"
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

Json::Value ToJson(int port, const std::string& input, const std::string& capture)
{
    Json::Value document;
    document["port"] = port;
    document["input"] = input;
    document["capture"] = capture;
    return document;
}

void Plug(int port, const std::string& capture, const std::string& inputs, const std::string& captures, Output& output)
{
    RequirePort(port);
    RequireInputs(inputs);
    const std::string device = FindCapture(capture, captures);
    const std::string input = inputs + "/" + srcwatch::InputName(port);
    // Creating the link is also the test: anything that has the name stays as it is.
    if (symlink(device.c_str(), input.c_str()) != 0) {
        if (errno == EEXIST) throw Failure("a device is already plugged into " + PortName(port) + ": " + input);
        throw Failure("cannot create the link " + input + ": " + strerrordesc_np(errno));
    }
    output.Confirm(ToJson(port, input, device), "plugged " + device + " into " + PortName(port));
}

// Only links are removed: a directory has data that may be nowhere else.
void Unplug(int port, const std::string& inputs, Output& output)
{
    RequireInputs(inputs);
    const std::string input = inputs + "/" + srcwatch::InputName(port);
    std::error_code error;
    const auto status = std::filesystem::symlink_status(input, error);
    if (!std::filesystem::exists(status)) throw Failure("nothing is plugged into " + PortName(port));
    if (!std::filesystem::is_symlink(status)) {
        throw Failure(input + " is not a link that 'plug' made; move it away to unplug the device");
    }
    const std::string device = std::filesystem::read_symlink(input, error);
    if (unlink(input.c_str()) != 0) throw Failure("cannot remove the link " + input + ": " + strerrordesc_np(errno));
    output.Confirm(ToJson(port, input, device), "unplugged " + device + " from " + PortName(port));
}

}  // namespace

void AddInputCommands(cli::Command app, Output& output)
{
    // Each command has its own inputs: an option takes its environment variable even if its command is not used.
    const auto port = std::make_shared<int>();
    const auto capture = std::make_shared<std::string>();
    const auto inputs = std::make_shared<std::string>();
    const auto unplugInputs = std::make_shared<std::string>();
    const auto captures = std::make_shared<std::string>(SRCWATCH_CAPTURES_DIR);

    const cli::Command plug = app.AddCommand("plug", "Plug a captured device into a port of the detection service");
    AddPort(plug, "PORT", *port);
    plug.AddArgument("CAPTURE", capture.get(), "Directory of a capture, or the name of one among the captures")
        .Required();
    AddInputs(plug, *inputs);
    plug.AddOption("--captures", captures.get(), "DIR", "Directory of the captures")
        .ReadsVariable(kCapturesVariable)
        .ShowsDefault();
    plug.Runs([=, &output] { Plug(*port, *capture, *inputs, *captures, output); });

    const cli::Command unplug = app.AddCommand("unplug", "Unplug the device that 'plug' plugged into a port");
    AddPort(unplug, "PORT", *port);
    AddInputs(unplug, *unplugInputs);
    unplug.Runs([=, &output] { Unplug(*port, *unplugInputs, output); });
}

}  // namespace ctl
