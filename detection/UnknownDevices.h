// SPDX-License-Identifier: Apache-2.0
//
// Devices that no profile matched, kept as captures for those who write profiles: a bounded JSON document.
#ifndef SRCWATCH_DETECTION_UNKNOWNDEVICES_H
#define SRCWATCH_DETECTION_UNKNOWNDEVICES_H

#include "Capture.h"

#include <cstddef>
#include <string>
#include <vector>

namespace srcwatch {

struct UnknownDevice {
    int port = 0;
    Capture capture;
};

class UnknownDevices {
public:
    static constexpr std::size_t kMost = 64;

    /// Reads a stored text, which may be empty. What cannot be read is no device.
    explicit UnknownDevices(const std::string& text);

    /// Returns true if all of the text could be read.
    bool AreAll() const { return m_areAll; }

    /// Returns the text to store.
    std::string Text() const;

    /// Adds a device unless one of the same model is there: one that differs in AKSV and address only. The oldest goes
    /// when there are too many. @return True if it was added.
    bool Add(int port, const Capture& capture);

    /// Returns the devices, the oldest first.
    const std::vector<UnknownDevice>& All() const { return m_devices; }

private:
    std::vector<UnknownDevice> m_devices;
    bool m_areAll;
};

}  // namespace srcwatch

#endif
