// SPDX-License-Identifier: Apache-2.0
#include "DeviceCalls.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace srcwatch {

int DeviceCalls::Open(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    return descriptor < 0 ? -errno : descriptor;
}

int DeviceCalls::Control(int descriptor, unsigned long request, void* argument)
{
    return ioctl(descriptor, request, argument) < 0 ? errno : 0;
}

// Nothing was written that could be lost.
void DeviceCalls::Close(int descriptor) { static_cast<void>(close(descriptor)); }

}  // namespace srcwatch
