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
    if (capture.IsEmpty()) throw Failure("nothing that a device said is on " + PortName(port) + ": " + input);
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
    if (!hasSpd && !hasCec) throw Failure("the device says nothing: give at least one option", kUsage);
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

CLI::Validator IsText(std::size_t most)
{
    const auto validate = [=](const std::string& text) {
        const bool isPrintable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
        const bool fits = !text.empty() && text.size() <= most && isPrintable;
        return fits ? ""
                    : "'" + text + "' is not a text of 1 to " + std::to_string(most) + " printable ASCII characters";
    };
    return CLI::Validator(validate, "");
}

// The form is one in which x stands for a hexadecimal digit.
CLI::Validator IsOfForm(const std::string& form, const std::string& what)
{
    const auto validate = [=](const std::string& text) {
        const bool fits = std::equal(form.begin(), form.end(), text.begin(), text.end(), [](char f, char c) {
            return f == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : f == c;
        });
        return fits ? "" : "'" + text + "' is not " + what;
    };
    return CLI::Validator(validate, "");
}

void AddNew(CLI::App& capture, Output& output)
{
    const auto options = std::make_shared<NewOptions>();
    CLI::App* const compose = capture.add_subcommand("new", "Compose the capture of a device");
    compose->add_option("DIR", options->directory, "Directory of the new capture")->required()->type_name("");
    compose->add_option("--vendor", options->vendor, "Vendor name of the SPD InfoFrame")
        ->type_name("TEXT")
        ->check(IsText(8));
    compose->add_option("--product", options->product, "Product description of the SPD InfoFrame")
        ->type_name("TEXT")
        ->check(IsText(16));
    compose->add_option("--spd-code", options->spdCode, "Source information of the SPD InfoFrame")
        ->type_name("NUMBER")
        ->transform(IsNumber(0, 255));
    compose->add_option("--osd-name", options->osdName, "OSD name of HDMI-CEC")->type_name("TEXT")->check(IsText(14));
    compose->add_option("--device-type", options->deviceType, "Primary device type of HDMI-CEC (4, playback device)")
        ->type_name("NUMBER")
        ->transform(IsNumber(1, 7));
    compose->add_option("--physical-address", options->physicalAddress, "Physical address of HDMI-CEC (1.0.0.0)")
        ->type_name("ADDRESS")
        ->check(IsOfForm("x.x.x.x", "a physical address, such as 1.0.0.0"));
    compose->add_option("--vendor-id", options->vendorId, "Vendor id of HDMI-CEC")
        ->type_name("ID")
        ->check(IsOfForm("xxxxxx", "six hexadecimal digits"));
    compose->callback([=, &output] { Compose(*options, output); });
}

}  // namespace

void AddCaptureCommands(CLI::App& app, Output& output)
{
    const auto port = std::make_shared<int>();
    const auto inputs = std::make_shared<std::string>();
    const auto file = std::make_shared<std::string>();
    const auto directory = std::make_shared<std::string>();
    CLI::App* const capture =
        app.add_subcommand("capture", "Make a capture of what is on a port, or of what other programs recorded");
    capture->require_subcommand(0, 1);
    const CLI::Option* const given = AddPort(capture, "PORT", *port)->required(false);
    capture->add_option("DIR", *directory, "Directory of the new capture")->type_name("");
    AddInputs(capture, *inputs);
    capture->callback([=, &output] {
        if (!capture->get_subcommands().empty()) return;
        if (given->count() == 0 || directory->empty()) throw Failure("PORT and DIR are required; see --help", kUsage);
        CopyPort(*port, *inputs, *directory, output);
    });

    CLI::App* const reading = capture->add_subcommand("import", "Read what cec-ctl --monitor or cec-client recorded");
    reading->add_option("FILE", *file, "Output of cec-ctl --monitor, or traffic log of cec-client")
        ->required()
        ->type_name("");
    reading->add_option("DIR", *directory, "Directory of the new capture")->required()->type_name("");
    reading->callback([=, &output] { Import(*file, *directory, output); });

    AddNew(*capture, output);
}

}  // namespace ctl
