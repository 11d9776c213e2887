// SPDX-License-Identifier: Apache-2.0
//
// plug, unplug: devices of the reference detection service, which are directories of captures.
#include "Arguments.h"
#include "Captures.h"
#include "Commands.h"
#include "FindCapture.h"
#include "Inputs.h"
#include "Ports.h"

#include <memory>

namespace ctl {

namespace {

void Confirm(int port, const std::string& input, const std::string& capture, const std::string& what, Output& output)
{
    Json::Value document;
    document["port"] = port;
    document["input"] = input;
    document["capture"] = capture;
    output.Confirm(document, what + PortName(port));
}

void Plug(int port, const std::string& capture, const std::string& path, const std::string& captures, Output& output)
{
    RequirePort(port);
    const srcwatch::InputsDirectory inputs = OpenInputs(path);
    const std::string device = FindCapture(capture, captures);
    Require(inputs.Link(port, device));
    Confirm(port, inputs.PathOf(port), device, "plugged " + device + " into ", output);
}

void Unplug(int port, const std::string& path, Output& output)
{
    const srcwatch::InputsDirectory inputs = OpenInputs(path);
    const std::string device = inputs.TargetOf(port);
    Require(inputs.Unplug(port));
    Confirm(port, inputs.PathOf(port), device, "unplugged " + device + " from ", output);
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
