// SPDX-License-Identifier: Apache-2.0
//
// For a service whose CEC adapter is a directory: it takes the place of the system calls when the program is linked.
// A file in the directory is a device, its name the logical address, its lines what the device answers.
#include "DeviceCalls.h"
#include "FakeCecBus.h"
#include "Process.h"

#include <filesystem>
#include <sstream>

#include <linux/cec.h>
#include <sys/ioctl.h>

namespace srcwatch {

namespace {

srcwatch_test::FakeCecBus& TheBus()
{
    static srcwatch_test::FakeCecBus bus;
    return bus;
}

std::string& TheDirectory()
{
    static std::string directory;
    return directory;
}

std::vector<std::string> LinesOf(const std::string& path)
{
    std::istringstream text(srcwatch_test::ReadFile(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

void ReadDevices()
{
    constexpr int kAddresses = 15;
    for (int address = 0; address < kAddresses; ++address) {
        const std::string path = TheDirectory() + "/" + std::to_string(address);
        if (std::filesystem::exists(path)) {
            TheBus().Plug(address, LinesOf(path));
        } else {
            TheBus().Unplug(address);
        }
    }
}

}  // namespace

int DeviceCalls::Open(const std::string& path)
{
    TheDirectory() = path;
    TheBus().mayMonitor = false;
    if (std::filesystem::exists(path)) TheBus().PutBack();
    return TheBus().Open(path);
}

int DeviceCalls::Control(int descriptor, unsigned long request, void* argument)
{
    if (!std::filesystem::exists(TheDirectory())) TheBus().PullOut();
    if (request == CEC_TRANSMIT) ReadDevices();
    return TheBus().Control(descriptor, request, argument);
}

void DeviceCalls::Close(int descriptor) { TheBus().Close(descriptor); }

}  // namespace srcwatch
