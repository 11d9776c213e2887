// SPDX-License-Identifier: Apache-2.0
//
// The system calls on the device of a CEC adapter or an HDMI receiver. Tests have others.
#ifndef SRCWATCH_SERVICE_DEVICECALLS_H
#define SRCWATCH_SERVICE_DEVICECALLS_H

#include <string>

namespace srcwatch {

class DeviceCalls {
public:
    DeviceCalls() = default;
    virtual ~DeviceCalls() = default;
    DeviceCalls(const DeviceCalls&) = delete;
    DeviceCalls& operator=(const DeviceCalls&) = delete;

    /// Opens a device so that nothing waits for it. @return Its descriptor, or the negative error.
    virtual int Open(const std::string& path);
    /// @return 0, or the error.
    virtual int Control(int descriptor, unsigned long request, void* argument);
    virtual void Close(int descriptor);
};

}  // namespace srcwatch

#endif
