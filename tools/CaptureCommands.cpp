// SPDX-License-Identifier: Apache-2.0
//
// capture: captures of what is plugged in, of what other programs recorded, and of options.
#include "Arguments.h"
#include "Captures.h"
#include "CecImport.h"
#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "InputName.h"
#include "Ports.h"

#include <algorithm>
#include <cctype>
#include <memory>

namespace ctl {

namespace {

void Confirm(const std::string& directory, const std::string& sentence, Output& output)
{
    Json::Value document;
    document["capture"] = directory;
    document["sentence"] = sentence;
    output.Confirm(document, sentence);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is on a port

// A device that an adapter knows has no directory.
void CopyPort(int port, const std::string& inputs, const std::string& directory, Output& output)
{
    const std::string input = inputs + "/" + srcwatch::InputName(port);
    srcwatch::Remarks remarks;
    srcwatch::Capture capture = srcwatch::ReadCapture(input, remarks);
    if (!remarks.empty()) throw Failure(input + "/" + remarks[0].file + ": " + srcwatch::InOneLine({remarks[0]}));
    if (capture.IsEmpty()) capture = AskForCapture(port).value_or(capture);
    if (capture.IsEmpty()) throw Failure("no device data on " + PortName(port) + ": " + input);
    SaveCapture(directory, capture);
    Confirm(directory, "captured " + PortName(port) + " in " + directory, output);
}

// ---------------------------------------------------------------------------------------------------------------------
// What other programs recorded

void Import(const std::string& file, const std::string& directory, Output& output)
{
    const auto imported = srcwatch::ImportCecLog(ReadFile(file, kDocumentLimit));
    if (!imported.value) throw Failure(file + ": " + srcwatch::InOneLine(imported.remarks));
    srcwatch::Capture capture;
    capture.cec = imported.value->text;
    SaveCapture(directory, capture);
    std::string sentence = "imported " + std::to_string(imported.value->messages) + " message(s) into " + directory;
    if (!imported.remarks.empty()) sentence += "; ignored in " + file + ": " + srcwatch::InOneLine(imported.remarks);
    Confirm(directory, sentence, output);
}

// ---------------------------------------------------------------------------------------------------------------------
// What options say

struct NewOptions {
    std::string directory;
    std::string vendor;
    std::string product;
    std::optional<int> spdCode;
    std::string osdName;
    std::optional<int> deviceType;
    std::optional<std::string> physicalAddress;
    std::optional<std::string> vendorId;
};

srcwatch::CecDevice DeviceOf(const NewOptions& options)
{
    srcwatch::CecDevice device;
    device.primaryDeviceType = options.deviceType.value_or(CEC_OP_PRIM_DEVTYPE_PLAYBACK);
    device.logicalAddress = srcwatch::LogicalAddressFor(*device.primaryDeviceType);
    device.osdName = options.osdName;
    std::string address = options.physicalAddress.value_or("1.0.0.0");
    address.erase(std::remove(address.begin(), address.end(), '.'), address.end());
    device.physicalAddress = static_cast<std::uint16_t>(std::stoul(address, nullptr, 16));
    if (options.vendorId) device.vendorId = static_cast<std::uint32_t>(std::stoul(*options.vendorId, nullptr, 16));
    return device;
}

void Compose(const NewOptions& options, Output& output)
{
    const bool hasSpd = !options.vendor.empty() || !options.product.empty() || options.spdCode;
    const bool hasCec = !options.osdName.empty() || options.deviceType || options.physicalAddress || options.vendorId;
    if (!hasSpd && !hasCec) throw Failure("the device has no data: give at least one option", kUsage);
    srcwatch::Capture capture;
    if (hasSpd) {
        srcwatch::SpdInfoFrame frame;
        frame.vendor = options.vendor;
        frame.product = options.product;
        frame.sourceInformation = options.spdCode.value_or(0);
        capture.spd = ComposeSpdInfoFrame(frame);
    }
    if (hasCec) capture.cec = srcwatch::ComposeCecLog({DeviceOf(options)});
    SaveCapture(options.directory, capture);
    Confirm(options.directory, "composed " + options.directory, output);
}

cli::Check IsText(std::size_t most)
{
    const auto validate = [=](const std::string& text) {
        const bool isPrintable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
        const bool fits = !text.empty() && text.size() <= most && isPrintable;
        return fits ? ""
                    : "'" + text + "' is not a text of 1 to " + std::to_string(most) + " printable ASCII characters";
    };
    return {validate};
}

// The form is one in which x stands for a hexadecimal digit.
cli::Check IsOfForm(const std::string& form, const std::string& what)
{
    const auto validate = [=](const std::string& text) {
        const bool fits = std::equal(form.begin(), form.end(), text.begin(), text.end(), [](char f, char c) {
            return f == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : f == c;
        });
        return fits ? "" : "'" + text + "' is not " + what;
    };
    return {validate};
}

void AddNew(cli::Command capture, Output& output)
{
    const auto options = std::make_shared<NewOptions>();
    const cli::Command compose = capture.AddCommand("new", "Compose the capture of a device");
    compose.AddArgument("DIR", &options->directory, "Directory of the new capture").Required();
    compose.AddOption("--vendor", &options->vendor, "TEXT", "Vendor name of the SPD InfoFrame").CheckedBy(IsText(8));
    compose.AddOption("--product", &options->product, "TEXT", "Product description of the SPD InfoFrame")
        .CheckedBy(IsText(16));
    compose.AddOption("--spd-code", &options->spdCode, "NUMBER", "Source information of the SPD InfoFrame")
        .CheckedBy(IsNumber(0, 255));
    compose.AddOption("--osd-name", &options->osdName, "TEXT", "OSD name of HDMI-CEC").CheckedBy(IsText(14));
    compose
        .AddOption("--device-type", &options->deviceType, "NUMBER",
                   "Primary device type of HDMI-CEC (4, playback device)")
        .CheckedBy(IsNumber(1, 7));
    compose
        .AddOption("--physical-address", &options->physicalAddress, "ADDRESS", "Physical address of HDMI-CEC (1.0.0.0)")
        .CheckedBy(IsOfForm("x.x.x.x", "a physical address, such as 1.0.0.0"));
    compose.AddOption("--vendor-id", &options->vendorId, "ID", "Vendor id of HDMI-CEC")
        .CheckedBy(IsOfForm("xxxxxx", "six hexadecimal digits"));
    compose.Runs([=, &output] { Compose(*options, output); });
}

}  // namespace

void AddCaptureCommands(cli::Command app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto inputs = std::make_shared<std::string>();
    const auto file = std::make_shared<std::string>();
    const auto directory = std::make_shared<std::string>();
    const cli::Command capture =
        app.AddCommand("capture", "Make a capture of what is on a port, or of what other programs recorded");
    const cli::Option given = AddPort(capture, "PORT", *port).Required(false);
    capture.AddArgument("DIR", directory.get(), "Directory of the new capture");
    AddInputs(capture, *inputs);
    capture.Runs([=, &output] {
        if (capture.HasCommand()) return;
        if (given.Count() == 0 || directory->empty()) throw Failure("PORT and DIR are required; see --help", kUsage);
        CopyPort(*port, *inputs, *directory, output);
    });

    const cli::Command reading = capture.AddCommand("import", "Read what cec-ctl --monitor or cec-client recorded");
    reading.AddArgument("FILE", file.get(), "Output of cec-ctl --monitor, or traffic log of cec-client").Required();
    reading.AddArgument("DIR", directory.get(), "Directory of the new capture").Required();
    reading.Runs([=, &output] { Import(*file, *directory, output); });

    AddNew(capture, output);
}

}  // namespace ctl
